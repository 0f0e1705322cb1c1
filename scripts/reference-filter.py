# SPDX-License-Identifier: MIT
"""Prints a public header as Doxygen wants to read it (scripts/reference). The headers' plain comments
become its own kind: one before a declaration belongs to it, and to those that follow it without an
empty line; one behind a field or a value belongs to that; one with an empty line below belongs to
the file."""

import pathlib
import re
import sys

FURTHER = re.compile(r"(?:extern|enum) |[a-z].*\(")
BEHIND = re.compile(r"^(\s*[^\s/*#].*?)/\* ")


def escaped(text):
    """Doxygen's own characters, and code in backticks."""
    text = re.sub(r"([#@<>\\])", r"\\\1", text)
    return re.sub(r"`([^`]+)`", r"<tt>\1</tt>", text)


def blocks(lines):
    """Comments that begin a line, as lists of lines, and all other lines as strings."""
    at = 0
    while at < len(lines):
        begin = at
        if re.match(r"\s*/\* (?!SPDX)", lines[at]) or BEHIND.match(lines[at]):
            while "*/" not in lines[at]:
                at += 1
        at += 1
        yield lines[begin:at]


def behind(block):
    """A field or a value with its comment behind it."""
    code = BEHIND.match(block[0])
    comment = escaped("\n".join(block)[code.end():])
    return [f"{code[1]}/**< {comment}"]


def before(block, following, brief):
    """A comment that begins a line."""
    text = escaped("\n".join(block).lstrip()[3:])
    if not following.strip():
        return ["/** \\file\n * " + text]
    # An attribute for one compiler may stand in between.
    if following != "#ifdef __GNUC__" and following.startswith(("#", "}")):
        return block
    if BEHIND.match(following) and not brief:
        return block
    return ["/** " + text]


def filtered(lines):
    result, last = [], None
    stream = list(blocks(lines))
    for at, block in enumerate(stream):
        following = stream[at + 1][0] if at + 1 < len(stream) else ""
        if BEHIND.match(block[0]):
            result += behind(block)
        elif re.match(r"\s*/\* (?!SPDX)", block[0]):
            last = before(block, following, block[0].startswith("/*"))
            result += last
        else:
            if not block[0].strip():
                last = None
            # Another function, array or enumeration under the same comment.
            elif last and result[-1].endswith(";") and FURTHER.match(block[0]):
                result += last
            result += block
    return result


if __name__ == "__main__":
    print("\n".join(filtered(pathlib.Path(sys.argv[1]).read_text().splitlines())))
