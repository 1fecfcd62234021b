"""Links to files of this tree, and to headings in them, lead somewhere. Other hosts are not asked."""
import re


def problems(document, anchors_of):
    """Yields (line, what) for each link that leads nowhere. `anchors_of(path)` gives a document's anchors."""
    for line, target in document.links:
        if re.match(r"[a-z][a-z0-9+.-]*:", target):
            continue
        name, _, anchor = target.partition("#")
        path = (document.path.parent / name).resolve() if name else document.path
        if not path.exists():
            yield line, f"the link '{target}' leads nowhere: there is no {name}"
        elif anchor and path.suffix == ".md" and anchor not in anchors_of(path):
            yield line, f"the link '{target}' leads nowhere: no heading gives '#{anchor}'"
