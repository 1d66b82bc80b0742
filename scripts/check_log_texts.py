#!/usr/bin/env python3
"""check_log_texts.py [DOCUMENT] - docs/troubleshooting.md holds every text that stands in a log, and no other.

Log texts are whole literals where they are raised. Those of the library and of platform_linux, with their levels, are
compared with the tables of the document: a row begins with one text or several, each as `code`, and its second column
is the level. The reasons that platform_linux gives for its failures are put together of pieces; each piece has to stand
somewhere in the document.
"""
import glob
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LIBRARY = ["common", "conference_channel", "face_detect", "http_adapter", "thread_pool", "utility"]
PLATFORM = ["platform_linux"]

LEVELS = {"ERROR": "error", "WARNING": "warning", "INFO": "information"}
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
LEVEL = re.compile(r'QUOR_OM_LOG_LEVEL_(ERROR|WARNING|INFO)\b')
# Macros that write records of one level, from the headers that define them, and the platform's own function.
MACRO = re.compile(r'#define (\w+)\(\.\.\.\)((?:[^\n]*\\\n)*[^\n]*)')
RECORDERS = ("QUOR_MODULE_LOG", "QUOR_GENERAL_LOG", "QuorOmLogStormLogRecord")
PLATFORM_RECORDER = "LogHost"
TRACES = re.compile(r'\b(?:QUOR_TRACE\w*|HTTP_TRACE|FACE_TRACE|QuorAiTracePrintf)\s*\(')
# A log text that reaches its record through a table, where the record's own literal is "%s".
TABLE_TEXT = re.compile(r'<:?\w+(?:::\w+)?>')
# Pieces of a failure's reason that are no words: patterns of dates and lists for protocols.
NO_WORDS = re.compile(r'%Y|stomp,|^ALL:|SECLEVEL|^quor_platform sealed|^platform_linux: %s')


def without_comments(text):
    """The text with its comments blanked out, line by line."""
    def blank(match):
        return match[0] if match[0].startswith('"') else re.sub(r'[^\n]', ' ', match[0])
    return re.sub(r'"(?:[^"\\\n]|\\.)*"|//[^\n]*|/\*.*?\*/', blank, text, flags=re.S)


def sources(folders):
    for folder in folders:
        for path in sorted(glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True)):
            if path.endswith((".cpp", ".h")):
                with open(path, encoding="utf-8") as source:
                    yield os.path.relpath(path, ROOT), without_comments(source.read())


def arguments(text, start):
    """The text of a call's arguments; start is behind the opening parenthesis."""
    depth, at = 1, start
    while depth != 0:
        literal = LITERAL.match(text, at)
        if literal:
            at = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        at += 1
    return text[start:at - 1]


def joined_literal(text):
    """The first literal of a call's arguments together with those that directly follow it; None without one."""
    first = LITERAL.search(text)
    if first is None:
        return None
    value, at = first[1], first.end()
    while following := re.compile(r'\s*' + LITERAL.pattern).match(text, at):
        value, at = value + following[1], following.end()
    return value


def recorders(files):
    """The macros that write a record, each with its level."""
    found = {}
    for _, text in files:
        for name, body in MACRO.findall(text):
            level = LEVEL.search(body)
            if level and any(recorder in body for recorder in RECORDERS):
                found[name] = LEVELS[level[1]]
    return found


def raised(files, levels):
    """(place, text, level) of every record; the level is None for a text from a table."""
    names = re.compile(r'\b(' + "|".join([*levels, PLATFORM_RECORDER]) + r')\s*\(')
    for path, text in files:
        code = re.sub(r'^\s*#\s*define.*(?:\\\n.*)*', lambda match: re.sub(r'[^\n]', ' ', match[0]), text, flags=re.M)
        spans = []
        for match in names.finditer(code):
            inside = arguments(code, match.end())
            spans.append((match.end(), match.end() + len(inside)))
            if match[1] == PLATFORM_RECORDER and not LEVEL.search(inside):
                continue  # its declaration and definition, and the record of an abort
            value = joined_literal(inside)
            place = f"{path}:{code.count(chr(10), 0, match.start()) + 1}"
            level = levels.get(match[1]) or LEVELS[LEVEL.search(inside)[1]]
            if value is None:
                yield place, None, level
            elif value != "%s":
                yield place, value, level
        for match in TRACES.finditer(code):
            spans.append((match.end(), match.end() + len(arguments(code, match.end()))))
        for match in LITERAL.finditer(code):
            if TABLE_TEXT.match(match[1]) and not any(start <= match.start() < end for start, end in spans):
                yield f"{path}:{code.count(chr(10), 0, match.start()) + 1}", match[1], None


def reasons(files):
    """(place, piece) of every text with words in it that platform_linux gives for a failure."""
    for path, text in files:
        for match in LITERAL.finditer(text):
            line = text[text.rfind("\n", 0, match.start()) + 1:text.find("\n", match.start())]
            words = match[1].strip(" :;,.").replace('\\"', '"')
            if " " in words and not re.match(r'\s*(#include|static_assert)', line) and not NO_WORDS.search(words):
                yield f"{path}:{text.count(chr(10), 0, match.start()) + 1}", words


def documented(text):
    """{text: levels} of the tables."""
    rows = {}
    for line in text.split("\n"):
        cells = [cell.strip() for cell in line.split(" | ")]
        if not line.startswith("| `") or len(cells) < 3 or cells[1] not in LEVELS.values():
            continue
        for value in re.findall(r'`([^`]+)`', cells[0]):
            rows.setdefault(value.rstrip(), set()).add(cells[1])
    return rows


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "docs", "troubleshooting.md")
    with open(path, encoding="utf-8") as document:
        text = document.read()
    library, platform = list(sources(LIBRARY)), list(sources(PLATFORM))
    rows, complaints, seen = documented(text), [], set()
    records = list(raised(library + platform, recorders(library)))
    for place, value, level in records:
        if value is None:
            complaints.append(f"{place}: a record without a literal text")
            continue
        value = value.replace('\\"', '"').rstrip()
        seen.add(value)
        if value not in rows:
            complaints.append(f"{place}: not in the document: {value}")
        elif level is not None and level not in rows[value]:
            complaints.append(f"{place}: the document has another level than {level}: {value}")
    for value in sorted(rows.keys() - seen):
        complaints.append(f"{os.path.basename(path)}: nothing logs this text: {value}")
    for place, piece in reasons(platform):
        if piece not in text:
            complaints.append(f"{place}: not in the document: {piece}")
    print("\n".join(complaints + [f"{len(seen)} log texts in {len(records)} places, {len(complaints)} complaints"]))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
