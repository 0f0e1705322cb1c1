# SPDX-License-Identifier: MIT
"""Turns a terminal's screen with its colours (standard input, as `tmux capture-pane -e -p` prints it)
into a picture (SVG, standard output). Block elements become rectangles, because fonts leave gaps
between them."""

import re
import sys
import xml.sax.saxutils

WIDTH, HEIGHT, MARGIN = 9, 19, 14
COLOURS = ("#3b4252", "#e06c75", "#98c379", "#e5c07b", "#61afef", "#c678dd", "#56b6c2", "#d8dee9")
FOREGROUND, BACKGROUND = "#d8dee9", "#1e222a"
# Each block element as the part of a cell that it fills: x, y, width, height.
BLOCKS = {chr(0x2580 + n): (0, 1 - n / 8, 1, n / 8) for n in range(1, 9)}
BLOCKS |= {chr(0x2590 - n): (0, 0, n / 8, 1) for n in range(1, 8)}
BLOCKS["\u2580"] = (0, 0, 1, 0.5)


class Pen:
    """The attributes that escape sequences set."""

    def __init__(self):
        self.colour, self.bold, self.dim, self.reverse = FOREGROUND, False, False, False

    def apply(self, codes):
        for code in codes:
            if code == 0:
                self.__init__()
            elif code in (1, 2, 7):
                setattr(self, {1: "bold", 2: "dim", 7: "reverse"}[code], True)
            elif 30 <= code <= 37:
                self.colour = COLOURS[code - 30]
            elif 90 <= code <= 97:
                self.colour = COLOURS[code - 90]
            elif code == 39:
                self.colour = FOREGROUND

    def style(self):
        return (f' fill="{self.colour}"' + (' font-weight="bold"' if self.bold else "") +
                (' opacity="0.6"' if self.dim else ""))


def cells(line, pen):
    """The characters of a line, each with its style."""
    for part in re.finditer(r"\x1b\[([\d;]*)m|\x1b\][^\x07]*\x07|\x1b\(B|[\x0e\x0f]|(.)", line):
        if part[2]:
            yield part[2], pen.style()
        elif part[1] is not None:
            pen.apply([int(code or 0) for code in part[1].split(";")])


def runs(line, pen):
    """Stretches of one style and kind: column, text, style."""
    column, start, text, before = 0, 0, "", None
    for character, style in cells(line, pen):
        kind = (style, character if character in BLOCKS else character == " ")
        if kind != before:
            if text.strip():
                yield start, text, before[0]
            start, text, before = column, "", kind
        text += character
        column += 1
    if text.strip():
        yield start, text, before[0]


def element(row, column, text, style):
    x, y = MARGIN + column * WIDTH, MARGIN + row * HEIGHT
    if text[0] in BLOCKS:
        left, top, wide, high = BLOCKS[text[0]]
        width = (len(text) - 1 + wide) * WIDTH
        return (f'<rect x="{x + left * WIDTH:g}" y="{y + top * HEIGHT:g}" width="{width:g}" '
                f'height="{high * HEIGHT:g}"{style}/>')
    return (f'<text x="{x}" y="{y + HEIGHT - 5}" textLength="{len(text) * WIDTH}"{style}>'
            f"{xml.sax.saxutils.escape(text)}</text>")


def main():
    lines = sys.stdin.read().rstrip("\n").split("\n")
    pen = Pen()
    elements = [element(row, *run) for row, line in enumerate(lines) for run in runs(line, pen)]
    plain = [re.sub(r"\x1b\[[\d;]*m", "", line) for line in lines]
    width = 2 * MARGIN + max(map(len, plain)) * WIDTH
    height = 2 * MARGIN + len(lines) * HEIGHT
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
          f'width="{width}" height="{height}" font-family="DejaVu Sans Mono, monospace" font-size="15" '
          f'shape-rendering="crispEdges">')
    print("<!-- SPDX-License-Identifier: MIT -->")
    print(f'<rect width="100%" height="100%" rx="8" fill="{BACKGROUND}"/>')
    print("\n".join(elements))
    print("</svg>")


if __name__ == "__main__":
    main()
