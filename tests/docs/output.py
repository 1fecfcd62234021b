"""Compares what a document shows with what a command printed."""
import re

BARS = "#▁▂▃▄▅▆▇█▉▊▋▌▍▎▏▒░·┃"
VARYING = [
    (re.compile(r"0x[0-9a-f]+"), "N"),
    (re.compile(r"\b[0-9a-f]{2}(?: [0-9a-f]{2})+\b"), "N"),  # bytes
    (re.compile(r"-?\d+(?:[.:]\d+)*(?:e[+-]?\d+)?"), "N"),
    (re.compile(f"[{BARS}]+"), ""),
    (re.compile(r"\s+"), " "),
]


def normalised(line, varying):
    line = line.rstrip()
    for pattern, replacement in VARYING if varying else []:
        line = pattern.sub(replacement, line)
    return line.strip() if varying else line


def pattern_of(line):
    """A shown line as a pattern; `...` stands for anything."""
    return ".*".join(re.escape(part) for part in line.split("..."))


def matches(shown, printed, varying, to_the_end=True):
    """Whether the lines printed are those shown. A line `...` stands for any number of lines. With `varying`, numbers,
    bytes, bars and the width of spaces may differ. Without `to_the_end`, more may follow."""
    pattern = "".join("(?:.*\n)*?" if line.strip() == "..." else pattern_of(normalised(line, varying)) + "\n"
                      for line in shown)
    text = "".join(normalised(line, varying) + "\n" for line in printed)
    return (re.fullmatch if to_the_end else re.match)(pattern, text) is not None
