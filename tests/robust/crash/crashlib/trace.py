"""Reads what strace wrote: one Event a finished system call, in the order in which they finished."""

import re
from dataclasses import dataclass

# Everything by which a program can change a file tree or bring it to the disk, and the existence tests that carry
# marks. What is not in this list and changes the tree all the same shows as a difference between the model and the
# real tree at the end of a recording.
WATCHED = (
    "execve access faccessat faccessat2 open openat creat close write pwrite64 writev pwritev pwritev2 lseek ftruncate "
    "truncate rename renameat renameat2 unlink unlinkat rmdir mkdir mkdirat link linkat symlink symlinkat fsync "
    "fdatasync sync syncfs").split()

MARK_FOLDER = "/trace-mark/"

_FINISHED = re.compile(r"^(\d+) +(\w+)\((.*)\) += (-?\d+|\?)(?:<([^>]*)>)?")
_UNFINISHED = re.compile(r"^(\d+) +(\w+)\((.*) <unfinished \.\.\.>$")
_RESUMED = re.compile(r"^(\d+) +<\.\.\. (\w+) resumed>(.*)$")
_ARGUMENT_WITH_PATH = re.compile(r"^(-?\w+)<([^>]*)>")


@dataclass
class Event:
    thread: int
    call: str
    arguments: list  # as strace prints them
    result: int      # -1 on failure

    def text(self, index):
        """A text argument; bytes, because file names and data are."""
        return _bytes_of(self.arguments[index])

    def path(self, index):
        return self.text(index).decode("utf-8", "surrogateescape")

    def number(self, index):
        return int(self.arguments[index], 0)

    def descriptor(self, index=0):
        """The number of a descriptor and the path that it stands for; AT_FDCWD is None."""
        match = _ARGUMENT_WITH_PATH.match(self.arguments[index])
        if not match:
            return int(self.arguments[index]), ""
        name, path = match.groups()
        text = _unescaped(path).decode("utf-8", "surrogateescape")
        return (None if name == "AT_FDCWD" else int(name)), text

    def data(self, index):
        """The bytes of a buffer or of a vector of buffers."""
        return b"".join(_unescaped(part) for part in re.findall(r'"([^"]*)"', self.arguments[index]))

    def mark(self):
        """The name of a mark, or None."""
        if self.call not in ("access", "faccessat", "faccessat2"):
            return None
        path = self.path(0 if self.call == "access" else 1)
        return path[len(MARK_FOLDER):] if path.startswith(MARK_FOLDER) else None


def command(output, program):
    """The command that runs a program and records it."""
    return ["strace", "-f", "-q", "-y", "-xx", "-s", str(1 << 24), "-e", "trace=" + ",".join("?" + c for c in WATCHED),
            "-e", "signal=none", "-o", output, "--"] + program


def read(path):
    """The events of a recording."""
    begun = {}
    with open(path, encoding="ascii") as lines:
        for line in lines:
            line = line.rstrip("\n")
            match = _UNFINISHED.match(line)
            if match:
                begun[match.group(1)] = match.group(3)
                continue
            match = _RESUMED.match(line)
            if match:
                thread, call, rest = match.groups()
                line = f"{thread} {call}({begun.pop(thread, '')}{rest}"
            match = _FINISHED.match(line)
            if match and match.group(4) != "?":
                thread, call, arguments, result, _ = match.groups()
                yield Event(int(thread), call, _split(arguments), int(result))


def _split(text):
    """Cuts at the commas that stand in no bracket. Texts are hexadecimal and hold neither."""
    parts, depth, start = [], 0, 0
    for at, letter in enumerate(text):
        if letter in "[{(":
            depth += 1
        elif letter in "]})":
            depth -= 1
        elif letter == "," and depth == 0:
            parts.append(text[start:at].strip())
            start = at + 1
    parts.append(text[start:].strip())
    return parts


def _unescaped(text):
    return bytes.fromhex(text.replace("\\x", ""))


def _bytes_of(argument):
    return _unescaped(argument[1:argument.index('"', 1)])
