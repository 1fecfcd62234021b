"""Tries a document's fenced blocks, one after the other, as a reader would.

A block's first word is its language. What may follow it:
  from=PATH    the block is an excerpt of that file, line by line, and is not run
  file=NAME    the reader saves it under that name; a later command uses it
  varying      numbers in the output differ from run to run
  background   the command goes on, as in another terminal, until the document ends
"""
import json
import os
import subprocess
import tempfile
import xml.etree.ElementTree

import exceptions
import output
import shell

MARKS = {"from", "file", "varying", "background"}


def commands_of(block):
    """(line, command, shown output) of each command; `$ ` begins one, `> ` or a backslash before goes on with it."""
    commands = []
    for number, line in enumerate(block.lines, block.line + 1):
        if line.startswith("$ "):
            commands.append((number, line[2:], []))
        elif commands and not commands[-1][2] and (line.startswith("> ") or commands[-1][1].endswith("\\")):
            commands[-1] = (commands[-1][0], commands[-1][1] + "\n" + line.removeprefix("> "), [])
        elif commands:
            commands[-1][2].append(line)
    return commands


class Reader:
    """Tries blocks in a folder that looks like a built clone. Each `try_` function yields (line, what is wrong)."""

    def __init__(self, place, document):
        self.place = place
        self.document = document
        self.folder = tempfile.TemporaryDirectory(prefix="corvalux-docs.")
        place.furnish(self.folder.name)
        self.shell = shell.Shell(place.path_of(self.folder.name), place.environment(self.folder.name))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.shell.close()
        self.folder.cleanup()

    def problems(self):
        for block in self.document.blocks:
            yield from self.try_block(block)
            if self.shell.lost:
                break

    def try_block(self, block):
        unknown = set(block.marks) - MARKS
        if unknown:
            yield block.line, f"a block cannot be marked '{min(unknown)}'"
        elif "from" in block.marks:
            yield from self.try_excerpt(block)
        elif "file" in block.marks:
            yield from self.save(block)
        elif not (attempt := getattr(self, f"try_{block.language}", None)):
            yield block.line, f"no test knows what to do with the language '{block.language}'"
        else:
            yield from attempt(block)

    # ---- Excerpts and files ----

    def try_excerpt(self, block):
        file = self.place.root / block.marks["from"]
        if not file.is_file():
            yield block.line, f"an excerpt of {block.marks['from']}, which is not there"
        elif f"\n{block.text}" not in "\n" + file.read_text(encoding="utf-8"):
            yield block.line, f"these lines are not in {block.marks['from']}"

    def save(self, block):
        name = block.marks["file"]
        uses = [later for later in self.document.blocks if later.line > block.line and name in later.text]
        if not uses:
            yield block.line, f"no later block uses {name}"
        (self.place.path_of(self.folder.name) / name).write_text(self.place.here(block.text, self.folder.name))

    # ---- Languages ----

    def try_console(self, block):
        commands = commands_of(block)
        if not commands:
            yield block.line, "a console without a command; a command begins with '$ '"
        for line, command, shown in commands:
            if not self.shell.lost:
                yield from self.try_command(line, command, shown, block.marks)

    def try_command(self, line, command, shown, marks):
        varying, name = "varying" in marks, command.splitlines()[0]
        here = [self.place.here(text, self.folder.name) for text in shown]
        instead = exceptions.instead_of(command)
        actual = self.place.here(command if instead is None else instead, self.folder.name)
        if "background" in marks:
            printed, enough = self.shell.leave_running(
                actual, lambda lines: output.matches(here, lines, varying, to_the_end=False))
            if not enough:
                yield line, f"`{name}` has not printed what is shown, but:\n" + "\n".join(printed)
            return
        printed, status = self.shell.run(actual)
        if status != 0:
            ended = f"ended with {status}" if status else "did not end in time, so that what follows was not tried"
            yield line, f"`{name}` {ended}:\n" + "\n".join(printed)
        elif instead is None and not output.matches(here, printed, varying):
            yield line, f"`{name}` printed something else:\n" + "\n".join(printed)

    def try_sh(self, block):
        printed, status = self.shell.run(f"( set -e\n{self.place.here(block.text, self.folder.name)})")
        if status != 0:
            yield block.line, "these commands failed:\n" + "\n".join(printed)

    def try_python(self, block):
        yield from self.feed(block, ["/usr/bin/python3", "-"])

    def try_c(self, block):
        yield from self.feed(block, [os.environ.get("CC", "cc"), "-std=c11", "-x", "c", *self.place.compile_options])

    def try_cpp(self, block):
        yield from self.feed(block, [os.environ.get("CXX", "c++"), "-std=c++20", "-x", "c++", "-DGRPC_USE_PROTO_LITE",
                                     *self.place.compile_options])

    def feed(self, block, command):
        try:
            done = subprocess.run(command, input=self.place.here(block.text, self.folder.name), text=True, check=False,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=shell.LIMIT,
                                  cwd=self.place.path_of(self.folder.name))
        except subprocess.TimeoutExpired:
            yield block.line, f"this {block.language} did not end in time"
            return
        if done.returncode != 0:
            yield block.line, f"this {block.language} failed:\n{done.stdout}"

    def try_xml(self, block):
        try:
            xml.etree.ElementTree.fromstring(block.text)
        except xml.etree.ElementTree.ParseError as error:
            yield block.line, f"this is no XML: {error}"

    def try_json(self, block):
        try:
            json.loads(block.text)
        except ValueError as error:
            yield block.line, f"this is no JSON: {error}"

    def try_text(self, block):
        """A picture, or a form to fill in."""
        for number, line in enumerate(block.lines, block.line + 1):
            if line.startswith("$ "):
                yield number, "a command in a block of text: call the block a console"
