"""System calls of a program, as strace saw them."""

import collections
import re
import subprocess
import sys
import tempfile

# thread: the kernel's number. name: of the call, "" for a signal or an exit. text: the line, with the arguments and,
# where the call was interrupted by another thread's line, both halves. The order is that of the calls' beginnings.
Call = collections.namedtuple("Call", "thread name text")

MARKER = '"/mnt/mtd/sign/Debug.sign"'  # what every message looks for
BEGUN = " <unfinished ...>"
RESUMED = re.compile(r"<\.\.\. \w+ resumed>")


def fail(message):
    sys.exit("FAILED: " + message)


def trace(command):
    """Runs the command, which must succeed, and returns its calls and those of all that it starts."""
    with tempfile.NamedTemporaryFile("r", prefix="calls-") as output:
        # Threads that a debugger or a sandbox will not have traced show up as a failure here, not as few calls.
        run = subprocess.run(["strace", "-f", "-qq", "-s", "256", "-o", output.name] + command, check=False,
                             stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if run.returncode != 0:
            fail("%s ended with %d:\n%s" % (" ".join(command), run.returncode, run.stderr))
        return parse(output.read().splitlines())


def parse(lines):
    calls = []
    open_call = {}  # by thread: the position of a call that has begun
    for line in lines:
        thread, text = line.split(None, 1)
        if RESUMED.match(text):
            position = open_call.pop(thread)
            calls[position] = calls[position]._replace(text=calls[position].text + RESUMED.sub("", text))
            continue
        if text.endswith(BEGUN):
            text = text[:-len(BEGUN)]
            open_call[thread] = len(calls)
        name = re.match(r"(\w+)\(", text)
        calls.append(Call(thread, name.group(1) if name else "", text))
    return calls
