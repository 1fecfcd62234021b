"""Reads a Markdown document: the anchors of its headings, its links, the code in its sentences, its fenced blocks."""
import re

from markdown_it import MarkdownIt


class Document:
    """Of links, code and blocks each comes with its line; a paragraph is one line here."""

    def __init__(self, path):
        self.path = path
        self.anchors, self.links, self.code, self.blocks = [], [], [], []
        tokens = MarkdownIt().enable("table").parse(path.read_text(encoding="utf-8"))
        for before, token in zip([None, *tokens], tokens):
            if token.type in ("fence", "code_block"):
                self.blocks.append((token.map[0] + 1, token.info, token.content))
            elif token.type == "inline":
                self._read_inline(token)
                if before.type == "heading_open":
                    self._add_anchor("".join(child.content for child in token.children))

    def _read_inline(self, token):
        for child in token.children:
            if target := child.attrGet("href") or child.attrGet("src"):
                self.links.append((token.map[0] + 1, target))
            elif child.type == "code_inline":
                self.code.append((token.map[0] + 1, child.content))

    def _add_anchor(self, heading):
        """As code hosts name it; a number tells headings with the same text apart."""
        name = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        count = sum(re.sub(r"-\d+$", "", known) == name for known in self.anchors)
        self.anchors.append(f"{name}-{count}" if count else name)
