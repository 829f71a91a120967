#!/usr/bin/env python3
"""An idle camera wakes up once a second and makes at most two system calls more than the sleep and the existence
tests that its turn's diagnostics demand.

idle_test.py <idle_camera> <model> <existence tests a turn>
"""

import re
import sys

from system_calls import MARKER, fail, trace

TURNS = 4
SETTLING = 2  # turns in which a switch may still be made
LEAVING = 1  # in which the camera is told to go down
CALLS_MAX = 2
DEADLINE = re.compile(r"\{tv_sec=(\d+), tv_nsec=(\d+)\}")


def is_sleep(call):
    return call.name in ("futex", "clock_nanosleep") and DEADLINE.search(call.text) is not None


def deadline(call):
    seconds, nanoseconds = DEADLINE.search(call.text).groups()
    return int(seconds) * 10**9 + int(nanoseconds)


def sensor_thread(calls):
    named = {call.thread for call in calls if call.name == "prctl" and '"SensorThread"' in call.text}
    if len(named) != 1:
        fail("%d threads call themselves SensorThread" % len(named))
    return named.pop()


def check_turn(calls, sleep, diagnostics):
    tests = [call for call in calls if MARKER in call.text]
    others = [call for call in calls if MARKER not in call.text]
    listing = "\n".join("  " + call.text for call in [sleep] + calls)
    if "ETIMEDOUT" not in sleep.text and not sleep.text.endswith("= 0"):
        fail("a sleep did not end by its time:\n" + listing)
    if len(tests) != diagnostics:
        fail("%d existence tests in a turn, not %d:\n%s" % (len(tests), diagnostics, listing))
    if len(others) > CALLS_MAX:
        fail("%d calls in a turn, at most %d are allowed:\n%s" % (len(others), CALLS_MAX, listing))


def main():
    program, model, diagnostics = sys.argv[1:]
    calls = trace([program, model, str(SETTLING + TURNS + LEAVING)])
    thread = sensor_thread(calls)
    idle = [i for i, call in enumerate(calls) if call.text.startswith('access("/idle"')]
    if len(idle) != 1:
        fail("%d times the camera was left alone" % len(idle))
    sleeps = [i for i, call in enumerate(calls) if i > idle[0] and call.thread == thread and is_sleep(call)]
    if len(sleeps) < SETTLING + TURNS + 1:
        fail("the sensor thread slept %d times only" % len(sleeps))
    sleeps = sleeps[SETTLING:SETTLING + TURNS + 1]
    for begin, end in zip(sleeps, sleeps[1:]):
        between = calls[begin + 1:end]
        strangers = [call for call in between if call.thread != thread]
        if strangers:
            fail("another thread woke up: " + strangers[0].text)
        if deadline(calls[end]) - deadline(calls[begin]) < 10**9:
            fail("two wake-ups within a second:\n  %s\n  %s" % (calls[begin].text, calls[end].text))
        check_turn(between, calls[begin], int(diagnostics))
        print("a turn:", *["  " + call.text for call in [calls[begin]] + between], sep="\n")


main()
