"""What was tried and what failed."""

import os
import sys
import time


class Report:
    """Counts of one scenario in one mode. keep: a folder for the trees of failed states, or None."""

    FAILURES_SHOWN = 10

    def __init__(self, name, blobs, keep):
        self.name = name
        self.operations = 0
        self.states = 0
        self.failures = 0
        self._blobs = blobs
        self._keep = keep
        self._started = time.monotonic()

    def fail(self, where, problems, tree):
        self.failures += 1
        if self.failures > self.FAILURES_SHOWN:
            return
        print(f"FAILED {self.name}: {where}", file=sys.stderr)
        for problem in problems:
            print(f"    {problem}", file=sys.stderr)
        if self._keep:
            print(f"    kept: {self._write(tree)}", file=sys.stderr)

    def finish(self):
        seconds = time.monotonic() - self._started
        print(f"{self.name}: {self.operations} operations, {self.states} states, {self.failures} failures "
              f"({seconds:.1f} s)", flush=True)

    def _write(self, tree):
        folder = os.path.join(self._keep, self.name.replace("/", "-").replace(":", "-"), str(self.failures))
        for path, name in sorted(tree, key=lambda entry: entry[0]):
            target = folder + path
            if name is None:
                os.makedirs(target, exist_ok=True)
            else:
                os.makedirs(os.path.dirname(target), exist_ok=True)
                with open(target, "wb") as file:
                    file.write(self._blobs.by_name[name])
        return folder
