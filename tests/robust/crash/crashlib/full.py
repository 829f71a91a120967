"""A disk that is really full: the camera's tree on a memory disk of a few pages, with none to a few of them free."""

import json

from crashlib.camera import packed
from crashlib.faults import Operation, judge_error

DISK_BYTES = 64 * 4096
FREE_PAGES = range(8)  # from none to enough for every file of a first start


class FullDisk:
    def __init__(self, cameras, workers, blobs, recorder):
        self._cameras = cameras
        self._workers = workers
        self._blobs = blobs
        self._recorder = recorder

    def run(self, tree, program, report):
        """The program fills the disk before it starts and frees it at its end."""
        complete = self._recorder.complete(tree, program)
        start = packed(tree, self._blobs)
        worker = self._workers.of_size(DISK_BYTES)
        met = 0
        for pages in FREE_PAGES:
            steps = [{"argv": [*program, "--free-pages", str(pages)], "snapshot": True, "env": {"LC_ALL": "C"}},
                     self._cameras.verify_step()]
            results = worker.run(start, steps, self._blobs)
            after = packed(results[0].pop("tree"), self._blobs)
            operation = Operation(0, "crash_camera", f"{pages} pages free", "")
            wrong = judge_error(operation, results[0], complete, self._cameras.factory(start))
            wrong += self._cameras.problems(after, results[1])
            met += not wrong and bool(json.loads(results[0]["out"])["reports"])
            report.operations += 1
            report.states += 1
            if wrong:
                report.fail(f"a full disk, {pages} pages free", wrong, after)
        worker.close()
        if met == 0:
            report.fail("a full disk", ["nothing ever failed: it was not full"], start)
