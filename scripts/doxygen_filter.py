#!/usr/bin/env python3
"""doxygen_filter.py HEADER - prints a header as doxygen wants it, line by line; docs/Doxyfile runs it on each one.

The headers carry plain comments. This is what makes them documentation:

- the comment that a file begins with is the file's;
- a comment directly above a declaration is that declaration's;
- a comment behind a declaration, on its line, is that declaration's.

A comment that an empty line, the end of a conditional or another comment follows is nobody's, nor is one that
begins with "----". Comments are text: what doxygen would take for a command or a tag stands in it as it is. Deleted
members are left out, because there is nothing to say about them.
"""
import os
import re
import sys

# What doxygen or HTML would read as more than text.
SPECIAL = re.compile(r'[\\@<>#&%]')
TRAILING = re.compile(r'^(?P<code>.*?[;,{(})\w]\s*)(?P<mark>//|/\*)(?P<text>.*)$')
CONDITIONAL = re.compile(r'\s*#\s*(else|elif|endif|include|pragma|undef)\b')
DELETED = re.compile(r'= delete;$')


def escaped(text):
    return SPECIAL.sub(lambda match: '\\' + match[0], text)


def blocks_of(lines):
    """Cuts lines into ("comment", lines) and ("code", line). A comment stands alone on its lines."""
    at = 0
    while at < len(lines):
        first = lines[at].strip()
        if first.startswith('//'):
            end = at
            while end < len(lines) and lines[end].strip().startswith('//'):
                end += 1
            yield 'comment', lines[at:end]
            at = end
        elif first.startswith('/*'):
            end = at
            while '*/' not in lines[end]:
                end += 1
            yield 'comment', lines[at:end + 1]
            at = end + 1
        else:
            end = at
            trailing = TRAILING.match(lines[at])
            if trailing and trailing['mark'] == '/*':
                while '*/' not in lines[end]:
                    end += 1
            yield 'code', lines[at:end + 1]
            at = end + 1


def documented(block, prefix):
    """A comment block as documentation; prefix begins its text."""
    result = []
    for number, line in enumerate(block):
        indent = line[:len(line) - len(line.lstrip())]
        text = line.strip()
        start = prefix if number == 0 else ''
        if text.startswith('//'):
            result.append(f'{indent}/// {start}{escaped(text[2:].lstrip() if start else text[3:])}')
        elif number == 0:
            result.append(f'{indent}/** {start}{close_escaped(text[2:].lstrip())}')
        else:
            result.append(indent + close_escaped(text))
    return result


def close_escaped(text):
    """The text of a line of a block comment, which may end the comment."""
    if text.endswith('*/'):
        return escaped(text[:-2]) + '*/'
    return escaped(text)


def behind(lines):
    """A declaration with a comment behind it."""
    match = TRAILING.match(lines[0])
    if match['mark'] == '//':
        return [f"{match['code']}///<{escaped(match['text'])}"]
    return [f"{match['code']}/**<{close_escaped(match['text'])}"] + [close_escaped(line) for line in lines[1:]]


def belongs_to(kind, lines):
    """Whether a comment directly above this is its documentation."""
    return kind == 'code' and lines[0].strip() != '' and not CONDITIONAL.match(lines[0])


def filtered(name, lines):
    blocks = list(blocks_of(lines))
    result = []
    for number, (kind, block) in enumerate(blocks):
        following = blocks[number + 1] if number + 1 < len(blocks) else ('code', [''])
        if kind == 'comment':
            words = block[0].strip().lstrip('/* ')
            if number == 0:  # doxygen puts the file's name there itself
                block = [line.replace(f'{name} - ', '', 1) for line in block[:2]] + block[2:]
                block = documented(block, f'\\file {name} ')
            elif belongs_to(*following) and not words.startswith('----'):
                block = documented(block, '')
        elif DELETED.search(block[0]):
            block = [''] * len(block)
        elif TRAILING.match(block[0]):
            block = behind(block)
        result.extend(block)
    return result


def main():
    path = sys.argv[1]
    with open(path, encoding='utf-8') as source:
        lines = source.read().split('\n')
    print('\n'.join(filtered(os.path.basename(path), lines)), end='')


if __name__ == '__main__':
    main()
