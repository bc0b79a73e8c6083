"""The example that opens a public header: its code between "Example:" (or "Example in C++:") and "Output:", and what it prints."""

import re

languages = {"Example:": "c", "Example in C++:": "cpp"}


class HeaderExample:
    """Of a comment's lines, the stars before them taken off. Without an example all of them stand before it."""

    def __init__(self, lines):
        begin = next((n for n, line in enumerate(lines) if line in languages), None)
        self.language = None if begin is None else languages[lines[begin]]
        self.before, self.code, self.output, self.behind = lines, [], [], []
        if begin is None:
            return
        output = lines.index("Output:", begin)
        end = next((n for n in range(output + 1, len(lines)) if not lines[n].startswith("    ")), len(lines))
        self.before, self.behind = lines[:begin], lines[end:]
        self.code, self.output = ([line[4:] for line in lines[first + 1:last]] for first, last in ((begin, output), (output, end)))


def without_stars(lines):
    return [re.sub(r"^ *\* ?", "", line).rstrip() for line in lines]
