#!/usr/bin/env python3
"""check_links.py - every relative link of the documents leads to a file, and to a heading where it names one.

Tables are looked at too: all rows of one have as many cells as its head.
"""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LINK = re.compile(r'\[[^\]]*\]\(([^)\s]+)\)')


def without_code(text):
    """The text without blocks of code, their lines kept, and without code in lines."""
    text = re.sub(r'^```.*?^```', lambda match: "\n" * match[0].count("\n"), text, flags=re.S | re.M)
    return re.sub(r'`[^`\n]*`', '`', text)


def anchors(path):
    """The names of a document's headings, as they are linked."""
    with open(os.path.join(ROOT, path), encoding="utf-8") as document:
        headings = re.findall(r'^#+ (.*)$', document.read(), flags=re.M)
    return {re.sub(r'[^\w\- ]', '', heading.lower()).replace(" ", "-") for heading in headings}


def link_complaints(path, text):
    for number, line in enumerate(text.split("\n"), 1):
        for target in LINK.findall(line):
            file, _, anchor = target.partition("#")
            if re.match(r'\w+:', target):
                continue
            other = os.path.normpath(os.path.join(os.path.dirname(path), file)) if file else path
            if not os.path.exists(os.path.join(ROOT, other)):
                yield f"{path}:{number}: there is no {other}"
            elif anchor and anchor not in anchors(other):
                yield f"{path}:{number}: {other} has no heading for #{anchor}"


def table_complaints(path, text):
    cells = None
    for number, line in enumerate(text.split("\n"), 1):
        if not line.startswith("|"):
            cells = None
            continue
        here = len(re.split(r'(?<!\\)\|', line.rstrip()))
        if cells is not None and here != cells:
            yield f"{path}:{number}: a row of {here - 2} cells in a table of {cells - 2}"
        cells = cells or here


def main():
    listing = subprocess.run([os.path.join(ROOT, "scripts/sources.sh"), "text"], check=True, text=True,
                             stdout=subprocess.PIPE)
    complaints, count = [], 0
    for path in listing.stdout.split("\n"):
        if path.endswith(".md"):
            count += 1
            with open(os.path.join(ROOT, path), encoding="utf-8") as document:
                text = without_code(document.read())
            complaints += [*link_complaints(path, text), *table_complaints(path, text)]
    print("\n".join(complaints + [f"{count} documents, {len(complaints)} complaints"]))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
