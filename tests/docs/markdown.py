"""Reads a Markdown document: anchors of its headings, links, code in sentences, and fenced blocks, with their lines."""
import dataclasses
import pathlib
import re

FENCE = re.compile(r"^( *)(`{3,})\s*(\S*)(.*)$")
HEADING = re.compile(r"^#{1,6} +(.*?)(?: +#+)?$")
LINK = re.compile(r"\]\(\s*<?([^)\s>]+)>?[^)]*\)")
CODE = re.compile(r"`([^`]+)`")


@dataclasses.dataclass
class Block:
    line: int  # of the opening fence
    language: str
    marks: dict  # what follows the language: `word` or `name=value`
    lines: list

    @property
    def text(self):
        return "".join(line + "\n" for line in self.lines)


@dataclasses.dataclass
class Document:
    path: pathlib.Path
    anchors: set = dataclasses.field(default_factory=set)
    links: list = dataclasses.field(default_factory=list)  # (line, target)
    code: list = dataclasses.field(default_factory=list)  # (line, text)
    blocks: list = dataclasses.field(default_factory=list)
    complaints: list = dataclasses.field(default_factory=list)  # (line, what)


def anchor(heading):
    """The anchor that code hosts give to a heading."""
    plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "").lower()
    return re.sub(r"[^\w\- ]", "", plain).replace(" ", "-")


def add_heading(document, heading):
    name = anchor(heading)
    count = sum(re.fullmatch(re.escape(name) + r"(-\d+)?", known) is not None for known in document.anchors)
    document.anchors.add(f"{name}-{count}" if count else name)


def marks_of(text):
    return {name: value for name, _, value in (word.partition("=") for word in text.split())}


def add_prose(document, number, line):
    if heading := HEADING.match(line):
        add_heading(document, heading[1])
    elif line.startswith("    ") and document.after_blank:
        document.complaints.append((number, "an indented block, which nothing checks: fence it"))
    without_code = CODE.sub("", line)
    document.links += [(number, match[1]) for match in LINK.finditer(without_code)]
    # A link whose text is code loses its text above, not its target.
    document.code += [(number, match[1]) for match in CODE.finditer(line)]
    document.after_blank = not line.strip()


def read(path):
    document = Document(path)
    document.after_blank = True
    block = fence = None
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if block and line.strip() == fence:
            document.blocks.append(block)
            block = None
        elif block:
            block.lines.append(line[indent:] if not line[:indent].strip() else line)
        elif opening := FENCE.match(line):
            indent, fence = len(opening[1]), opening[2]
            block = Block(number, opening[3], marks_of(opening[4]), [])
        else:
            add_prose(document, number, line)
    if block:
        document.complaints.append((block.line, "a block without an end"))
    return document
