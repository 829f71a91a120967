#!/usr/bin/env python3
"""What the benchmarks compare is counted: every operation, and its floor, makes as many existence tests as its
contract has threshold tests, and what is no matter of files and documents makes no other system call. Where files
are read or written, a floor makes no call more often than its operation: more in it would hide the library's cost.

floors_test.py <count_calls>
"""

import collections
import re
import sys

from system_calls import MARKER, fail, trace

BEGIN = re.compile(r'access\("/(figure|floor)/([^/"]+)/(\d+)"')
END = 'access("/end"'
WITH_FILES = ("style", "start", "start_real", "flush", "flush_real")  # they print, read or write
FILE_CALLS = ("access", "openat", "newfstatat", "read", "write", "fsync", "rename", "close")
OPERATIONS = 15  # at least


def check(kind, name, expected, calls):
    tests = sum(MARKER in call.text for call in calls)
    if tests != expected:
        fail("%s of %s: %d existence tests, its contract demands %d" % (kind, name, tests, expected))
    others = [call for call in calls if MARKER not in call.text]
    if others and name not in WITH_FILES:
        fail("%s of %s makes another system call: %s" % (kind, name, others[0].text))
    print("%-6s %-20s %4d existence tests %4d other calls" % (kind, name, tests, len(others)))


def check_excess(name, figure, floor):
    of_figure, of_floor = (collections.Counter(call.name for call in calls) for calls in (figure, floor))
    for call in FILE_CALLS:
        if of_floor[call] > of_figure[call]:
            fail("the floor of %s calls %s %d times, the operation %d times" %
                 (name, call, of_floor[call], of_figure[call]))


def main():
    calls = trace([sys.argv[1]])
    checked = 0
    figures = {}  # by operation: its calls
    begin = None
    for i, call in enumerate(calls):
        mark = BEGIN.match(call.text)
        if mark:
            begin = (i, mark)
        elif call.text.startswith(END):
            start, mark = begin
            own = [inner for inner in calls[start + 1:i] if inner.thread == call.thread]
            kind, name, tests = mark.groups()
            check(kind, name, int(tests), own)
            if kind == "figure":
                figures[name] = own
            else:
                check_excess(name, figures[name], own)
            checked += 1
    if checked < 2 * OPERATIONS:
        fail("only %d measurements were seen" % checked)


main()
