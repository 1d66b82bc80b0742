#!/usr/bin/env python3
"""check_porting.py [DOCUMENT [HEADERS]] - docs/porting.md has a row for every platform function, and for nothing else.

A row is a line of a table that begins with a function's name as `code`. It stands below the heading that names the
function's header.
"""
import glob
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DECLARATION = re.compile(r'^(?!typedef|return|#)[A-Za-z_][\w \*]*?[ \*](\w+)\((?=[^*])', re.M)
ANNOTATIONS = re.compile(r'QUOR_PLATFORM_(?:PRINTF|THREAD_ATTRIBUTE|STATIC_ASSERT)\b')


def declared(path):
    """The functions that a header declares, in their order."""
    with open(path, encoding="utf-8") as header:
        text = re.sub(r'/\*.*?\*/', '', header.read(), flags=re.S)
    text = re.sub(r'^\s*#.*(?:\\\n.*)*', '', text, flags=re.M)
    return [name for name in DECLARATION.findall(text) if not ANNOTATIONS.match(name)]


def documented(path):
    """(function, heading) of every row below a heading that names a header."""
    rows, heading = [], ""
    with open(path, encoding="utf-8") as document:
        for line in document:
            if line.startswith("#"):
                heading = line.strip("# \n")
            match = re.match(r'\| `(\w+)`', line)
            if match and ".h" in heading:
                rows.append((match[1], heading))
    return rows


def main():
    document = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "docs", "porting.md")
    headers = sys.argv[2] if len(sys.argv) > 2 else os.path.join(ROOT, "platform", "quor_platform")
    rows, complaints, count = documented(document), [], 0
    known = set()
    for path in sorted(glob.glob(os.path.join(headers, "*.h"))):
        name = os.path.basename(path)
        for function in declared(path):
            count += 1
            known.add(function)
            if not any(row == function and re.search(rf'\b{re.escape(name)}', heading) for row, heading in rows):
                complaints.append(f"{name}: {function} has no row below a heading with {name}")
    complaints += [f"no header declares {function}" for function, _ in rows if function not in known]
    print("\n".join(complaints + [f"{count} platform functions, {len(complaints)} complaints"]))
    return 1 if complaints or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
