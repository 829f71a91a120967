"""Runs programs under strace in a private tree."""

import tempfile
from dataclasses import dataclass

from crashlib import trace
from crashlib.camera import packed
from crashlib.disk import Disk
from crashlib.private_tree import ROOTS
from crashlib.recording import Recording


@dataclass(frozen=True)
class Complete:
    """What stood complete in a run, by path of each file that is kept; None where it was missing."""
    ever: dict  # sets: before, in between and at the end
    last: dict  # at the end
    calls: set  # by which the run changed its tree


class Recorder:
    """scratch: a folder that the workers can write to."""

    def __init__(self, workers, blobs, scratch):
        self._workers = workers
        self._blobs = blobs
        self._scratch = scratch

    def record(self, tree, program, environment):
        """The events of a run that begins with the tree, and the tree afterwards; RuntimeError when it fails."""
        with tempfile.NamedTemporaryFile(dir=self._scratch, suffix=".strace") as output:
            step = {"argv": trace.command(output.name, program), "snapshot": True, "limit": 600,
                    "env": {"LC_ALL": "C", **environment}}
            result = self._workers.run(packed(tree, self._blobs), [step], self._blobs)[0]
            if result["status"] != 0:
                raise RuntimeError(f"the run to be recorded failed: {result['status']}\n{result['out']}{result['err']}")
            return list(trace.read(output.name)), result["tree"]

    def complete(self, tree, program):
        disk = Disk(ROOTS, self._blobs)
        disk.load(tree)
        recording = Recording(disk, self.record(tree, program, {})[0])
        timeline = recording.timeline
        timeline.take_over()
        calls = set()
        for operation in recording.play():
            call, *paths = operation.split()
            calls |= {call} if paths and paths[0].startswith("/") else set()
            # Kept as of here: what follows the last operation that counts is no part of the run.
            contents = {path: list(timeline.ever(path)) for path in timeline.paths()}
        return Complete({path: set(found) for path, found in contents.items()},
                        {path: found[-1] for path, found in contents.items()}, calls)
