"""What a document tells a reader to do, as steps that a test can do.

A block's first word is its language. What may follow it:
  from=PATH    the block is an excerpt of that file
  file=NAME    the reader saves it under that name
  varying      numbers in the output differ from run to run
  background   the command goes on, as in another terminal, until the document ends
"""
import dataclasses
import re
import shlex

# What reads a block of code, and fails if the code is wrong.
READERS = {
    "python": "python3 -",
    "c": "cc -std=c11 -Wall -Wextra -Werror -c -o /dev/null -I host -x c -",
    "cpp": "c++ -std=c++20 -Wall -Wextra -Werror -c -o /dev/null -I build/dev/proto -DGRPC_USE_PROTO_LITE -x c++ -",
    "xml": "python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.stdin)'",
}


@dataclasses.dataclass
class Step:
    line: int
    command: str
    shown: list = None  # the output, if it is to be compared
    marks: tuple = ()


def knows(match):
    """Instead of running one of our programs: its help names the options."""
    return "knows " + shlex.join(shlex.split(match[0].removeprefix("sudo "), comments=True))


def presets(match):
    return " && ".join(f"cmake --list-presets=all | grep '\"{name}\"'" for name in re.findall(r"--preset (\S+)", match[0]))


# Commands that would fetch, install, build everything or never end, and the most that can be tried in their place.
INSTEAD = [(re.compile(pattern), instead) for pattern, instead in [
    (r"git clone \S+ (\S+)", r"ln -sfn . \1"),
    (r"(sudo )?scripts/[^|;&<>]*", knows),
    (r"cmake --preset \S+ && cmake --build --preset \S+( && ctest --preset \S+)?", presets),
    (r"sudo apt install \./(\S+?)_\S+ \./(\S+?)_\S+",
     r"scripts/package --help | grep '\1_.*deb' && scripts/package --help | grep '\2_.*deb'"),
    (r"examples/run (\w+)( \S+)?", r"examples/run --help | grep -w \1"),
    (r"npx [^;&<>]*/corvalux\.grpc\.(\w+)/(\w+)", r"grep -A 9 'service \1 ' proto/corvalux/grpc/*.proto | grep 'rpc \2('"),
    # Fills a terminal until somebody leaves it. Elsewhere it prints lines; one shows that it works.
    (r"(?:\S*/)?corvalux-monitor( [^ -]\S*)?", r"\g<0> --count 1"),
]]


def of_command(line, command, shown, marks):
    for pattern, instead in INSTEAD:
        if match := pattern.fullmatch(command):
            return Step(line, instead(match) if callable(instead) else match.expand(instead))
    return Step(line, command, shown, marks)


def of_console(line, lines, marks):
    """`$ ` begins a command; a line behind a backslash, or one that begins with `> `, goes on with it."""
    commands = []
    for number, text in enumerate(lines, line + 1):
        if text.startswith("$ "):
            commands.append((number, text[2:], []))
        elif commands and not commands[-1][2] and (text.startswith("> ") or commands[-1][1].endswith("\\")):
            number, command, _ = commands.pop()
            commands.append((number, command + "\n" + text.removeprefix("> "), []))
        else:
            commands[-1][2].append(text)
    return [of_command(*command, marks) for command in commands]


def of_block(line, info, text, root):
    language, *marks = info.split() or [""]
    values = dict(mark.partition("=")[::2] for mark in marks)
    if "from" in values:
        whole = (root / values["from"]).read_text(encoding="utf-8")
        same = re.sub(r"(?m)^ +", "", text) in re.sub(r"(?m)^ +", "", whole)
        return [] if same else [Step(line, f"echo 'these lines are not in {values['from']}'; false")]
    if language == "console":
        return of_console(line, text.splitlines(), marks)
    if language == "text" and "\n$ " not in "\n" + text:
        return []
    reader = f"cat >{values['file']}" if "file" in values else READERS.get(language)
    return [Step(line, f"{reader} <<'END OF BLOCK'\n{text}END OF BLOCK" if reader else
                 f"echo 'no test knows what to do with a block of \"{language}\"'; false")]


def of_sentence(line, code):
    """A sentence may name a script, or one of our programs with its options."""
    return [Step(line, knows([code]))] if re.match(r"(scripts/[\w-]+( |$)|corvalux-(devhost|monitor|gateway)( |$))", code) else []


def of_document(document, root):
    steps = [step for line, code in document.code for step in of_sentence(line, code)]
    return steps + [step for block in document.blocks for step in of_block(*block, root)]
