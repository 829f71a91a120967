"""Runs programs under strace in a private tree."""

import tempfile

from crashlib import trace
from crashlib.camera import packed
from crashlib.disk import Disk
from crashlib.private_tree import ROOTS
from crashlib.recording import Recording


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

    def complete_contents(self, tree, program):
        """By path of each file that is kept all that stood there complete in a run, before, in between and at its end;
        None where it was missing."""
        disk = Disk(ROOTS, self._blobs)
        disk.load(tree)
        recording = Recording(disk, self.record(tree, program, {})[0])
        recording.timeline.take_over()
        for _ in recording.play():
            pass
        return {path: set(recording.timeline.ever(path)) for path in recording.timeline.paths()}
