"""Power cuts: records a run, builds every tree that a cut after each operation can leave, starts a camera on each."""

from crashlib.camera import described, packed
from crashlib.disk import Disk
from crashlib.private_tree import ROOTS
from crashlib.recording import Recording


class PowerCuts:
    """full_subsets: up to so many unsynced changes of names every subset of them is lost."""

    def __init__(self, cameras, workers, blobs, recorder, full_subsets):
        self._cameras = cameras
        self._workers = workers
        self._blobs = blobs
        self._recorder = recorder
        self._full_subsets = full_subsets

    def run(self, tree, program, report, environment=None, host=(), unsynced=()):
        """tree: contents by path; unsynced: folders of it that are not on the disk. program: what is recorded."""
        events, final = self._recorder.record(tree, program, environment or {})
        disk = Disk(ROOTS, self._blobs)
        disk.load({path: content for path, content in tree.items() if path not in unsynced})
        for path in unsynced:
            disk.make_folder(path)
        recording = Recording(disk, events)
        recording.timeline.take_over()
        states = {}  # tree of the state: where it was met first
        checked = set()
        for operation in recording.play():
            self._collect(disk, recording, operation, states, checked, report, host)
        report.operations += recording.operations
        self._compare(disk, final, report)
        complete = {path: recording.timeline.ever(path)[-1] for path in recording.timeline.paths()}
        self._start_cameras(states, report, host, complete)

    def _collect(self, disk, recording, operation, states, checked, report, host):
        allowed = {path: frozenset(None if content is None else self._blobs.name(content)
                                   for content in recording.timeline.allowed(path))
                   for path in recording.timeline.paths()}
        rules = frozenset(allowed.items())
        for state in disk.states(self._full_subsets):
            if (state, rules) in checked:
                continue
            checked.add((state, rules))
            where = f"power cut after operation {recording.operations}, {operation}"
            wrong = self._wrong_files(state, allowed)
            if wrong:
                report.fail(where, wrong, state)
            if host or self._cameras.factory(state) is not None:  # nobody can start a camera without its documents
                states.setdefault(state, where)
            elif not wrong:
                report.states += 1

    def _compare(self, disk, final, report):
        """A model that has lost track would prove nothing."""
        model = {path: content for path, content in disk.tree().items() if path not in ROOTS}
        if model != final:
            differing = sorted(path for path in set(model) | set(final) if model.get(path, 0) != final.get(path, 0))
            report.fail("the end of the recording", [f"the model of the disk differs from the disk: {differing}"],
                        packed(final, self._blobs))

    def _wrong_files(self, state, allowed):
        """The kept files of a state that are neither an old nor a new one, or not one that is new enough."""
        names = dict(state)
        return [f"{path}: {self._described(names.get(path))}; allowed: "
                f"{sorted(self._described(name) for name in right)}"
                for path, right in sorted(allowed.items()) if names.get(path) not in right]

    def _described(self, name):
        return described(None if name is None else self._blobs.by_name[name])

    def _start_cameras(self, states, report, host, complete):
        jobs = ((state, (state, self._cameras.start_steps(host))) for state in states)

        def judge(state, results):
            report.states += 1
            wrong = self._cameras.start_problems(state, results, complete)
            if wrong:
                report.fail(states[state], wrong, state)

        self._workers.run_all(jobs, self._blobs, judge)
