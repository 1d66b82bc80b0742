#!/usr/bin/env python3
"""man_page_test.py PAGE PROGRAM - a man page has every option, subcommand, command and exit status that the program's
help has, and no other. What stands in the section of a subcommand belongs to that subcommand.
"""
import re
import subprocess
import sys


def help_of(program, words):
    result = subprocess.run([program, *words, "--help"], check=True, text=True, stdout=subprocess.PIPE)
    return result.stdout


def block(text, title):
    """The lines of a help's block, without those that go on with another."""
    match = re.search(rf'^{title}.*:\n((?:  .*\n)+)', text, re.M)
    return [line for line in match[1].split("\n") if re.match(r'  \S', line)] if match else []


def options(text):
    """The names of all options of a help, wherever its blocks list them."""
    return {name for line in text.split("\n") if re.match(r'  -', line)
            for name in re.findall(r'(?<![\w-])--?[a-zA-Z][\w-]*', line.split("  ")[1])}


def statuses(text):
    return set(re.findall(r'^  (\d+) ', "\n".join(block(text, "Exit status")), re.M)) or \
        set(re.findall(r'(\d+) (?:ended|failure|wrong|the scenario)', text.partition("Exit codes:")[2]))


def helps(program, words=()):
    """{subcommand: help} of the program and all its subcommands, by their words."""
    text = help_of(program, words)
    found = {" ".join(words): text}
    for line in block(text, "Subcommands"):
        name = line.split()[0]
        if name != "help" or not words:
            found.update(helps(program, (*words, name)) if name not in ("help", "version") else
                         {name: help_of(program, (name,))})
    return found


class Page:
    def __init__(self, path):
        with open(path, encoding="utf-8") as source:
            self.sections, section = {}, ""
            for line in source.read().split("\n"):
                heading = re.match(r'\.S[hs] (.*)', line)
                if heading:
                    section = heading[1]
                self.sections.setdefault(section, []).append(line)

    def items(self, macro):
        """(section, name) of every item of a list that begins with the macro."""
        for section, lines in self.sections.items():
            for line in lines:
                if line.startswith(f".It {macro} "):
                    for part in line[4:].split(" , "):
                        word = re.match(rf'{macro} (\S+)', part)
                        if word:
                            yield section, ("-" + word[1] if macro == "Fl" else word[1])

    def statuses(self):
        return {line.split()[1] for line in self.sections.get("EXIT STATUS", []) if re.match(r'\.It \d', line)}


def compare(what, program, page):
    return [f"the page lacks {what} {name}" for name in sorted(program - page)] + \
           [f"the help has no {what} {name}" for name in sorted(page - program)]


def main():
    page, texts = Page(sys.argv[1]), helps(sys.argv[2])
    top = texts[""]
    described = list(page.items("Fl"))
    complaints = compare("option", set().union(*map(options, texts.values())), {name for _, name in described})
    complaints += compare("exit status", statuses(top), page.statuses())
    commands = {line.split()[0] for line in block(top, "Commands on standard input")}
    complaints += compare("command", commands, {name for _, name in page.items("Cm")})
    for words, text in texts.items():
        if words and not block(text, "Subcommands") and words not in page.sections:
            complaints.append(f"the page has no section {words}")
    for section, name in described:
        if section in texts and name not in options(texts[section]):
            complaints.append(f"'{section}' has no option {name}, which its section describes")
    print("\n".join(complaints + [f"{len(texts)} helps, {len(described)} options, {len(complaints)} complaints"]))
    return 1 if complaints or not described else 0


if __name__ == "__main__":
    sys.exit(main())
