"""What a document may tell a reader to do, but a test cannot: it would fetch, install, build everything or never end.
Each has another command, which is run in its place: the most that can be found out quickly and without a network."""
import re
import shlex

# The script is there, and its help names every option that the document uses.
SCRIPTS = "setup demo test test-newest package prove-packages release benchmark soak fuzz fresh-root".split()


def options_exist(command):
    """A command that fails when the program's help does not name an option, or a group, of the given command."""
    words = shlex.split(command, comments=True)
    words = words[1:] if words[0] == "sudo" else words
    options = [word.partition("=")[0] for word in words[1:] if word.startswith("-")]
    groups = words[1:] if words[0].endswith("setup") else []
    checks = [f"help=$({words[0]} --help) || exit_status=1"]
    for word in options + groups:
        checks.append(f"grep -qE -- '(^|[ ,\\[]){re.escape(word)}\\b' <<<\"$help\" || "
                      f"{{ echo \"the help of {words[0]} does not name {word}\" && exit_status=1; }}")
    return "exit_status=0\n" + "\n".join(checks) + "\n(exit $exit_status)"


def presets(match):
    checks = [f"cmake --list-presets={kind} | grep -qF '\"{name}\"'"
              for kind, pattern in (("configure", r"cmake --preset (\S+)"), ("build", r"--build --preset (\S+)"),
                                   ("test", r"ctest --preset (\S+)"))
              for name in re.findall(pattern, match[0])]
    return " && ".join(checks)


def present_packages(match):
    """The packages are those of the present version."""
    files = re.findall(r"\./(\S+)_([^_\s]+)_(\w+)\.deb", match[0])
    checks = [f"grep -q '^corvalux-grpc ({version})' packaging/changelog && "
              f"grep -qF '{name}_VERSION' <(scripts/package --help)" for name, version, _ in files]
    return " && ".join(checks) or "false"


EXCEPTIONS = [
    # Fetches. The tree that the tests run in takes the clone's place.
    (re.compile(r"git clone \S+ (\S+)$"), lambda match: f"ln -sfn . {match[1]}"),
    # Installs, builds all, or takes minutes.
    (re.compile(rf"(sudo )?scripts/({'|'.join(SCRIPTS)})(?= |$)[^|;&<>]*"), lambda match: options_exist(match[0])),
    (re.compile(r"cmake --preset \S+ && cmake --build --preset \S+( && ctest --preset \S+)?"), presets),
    (re.compile(r"sudo apt install .*\.deb"), present_packages),
    # Needs tools that may be missing, and never ends; tests/examples runs them.
    (re.compile(r"examples/run (\w+)( \S+)?"), lambda match: f"examples/run --help | grep -qw {match[1]}"),
    # Fetches; tests/buf calls it. The method is one of the schema's.
    (re.compile(r"npx [^;&<>]*/corvalux\.grpc\.(\w+)/(\w+)"),
     lambda match: f"sed '/^service {match[1]} /,/^}}/!d' proto/corvalux/grpc/streams.proto | grep 'rpc {match[2]}('"),
    # Fills a terminal until somebody leaves it. Elsewhere it prints lines; one shows that it works.
    (re.compile(r"((?:\S*/)?corvalux-monitor)( [^ -]\S*)?"), lambda match: match[0] + " --count 1"),
]


def instead_of(command):
    """The command to run in its place; None when there is no exception for it."""
    for pattern, replacement in EXCEPTIONS:
        if match := pattern.fullmatch(command):
            return replacement(match)
    return None
