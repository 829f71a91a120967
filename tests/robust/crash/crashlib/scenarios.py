"""What the runner does to a camera: a tree to begin with, and a program that runs on it."""

import os
from dataclasses import dataclass, field

from crashlib.camera import documents, packed
from crashlib.paths import CONFIG_FOLDER, ERROR_LOG, MODEL_FILE, VERSION_FILE, scheme_file
from crashlib.private_tree import ROOTS, TREE_TOKEN

LOG_LINE = b"2026-01-01 12:00:00 [sensor assert] an older record\n"
NEARLY_FULL = 10100 // len(LOG_LINE)  # records, a few before the log is full
HALF_A_FILE = bytes(300)


@dataclass
class Scenario:
    name: str
    title: str
    action: str = ""  # of crash_camera
    program: tuple = ()  # and its arguments, instead of crash_camera; not for full disks
    host: tuple = ()  # and its arguments: makes a board's files again before a camera is started on what is left
    model: str = "fixed"
    prepared: bool = True  # whether the camera has its documents, and settings were saved before
    documents: bool = True  # whether it has its documents at least
    changes: dict = field(default_factory=dict)  # of the tree, after that
    unsynced: tuple = ()  # folders of it whose names are not yet on the disk

    def has(self, mode):
        """What is not on the disk shows in power cuts alone, and only crash_camera can fill a disk."""
        return mode == "power" or not self.unsynced and (mode != "full" or not self.program)


SENSORCAM = ("sensorcam", "--in-place", "--speed", "3600", "--model", "dome", "exec")


def _full_logs():
    return {ERROR_LOG: LOG_LINE * NEARLY_FULL, ERROR_LOG + ".1": LOG_LINE * NEARLY_FULL,
            ERROR_LOG + ".2": LOG_LINE * NEARLY_FULL}


SCENARIOS = {scenario.name: scenario for scenario in (
    Scenario("first-start", "the first start of a new camera", "start", prepared=False),
    Scenario("first-start-lpr", "the first start of a licence-plate camera", "start", model="lpr", prepared=False),
    Scenario("restart", "a start on saved settings", "start"),
    Scenario("flush", "changed values are saved", "flush"),
    Scenario("flush-again", "a save after two that were broken off", "flush",
             changes={scheme_file(0) + ".new": HALF_A_FILE, scheme_file(0) + ".new1": b""}),
    Scenario("flushes", "twelve saves in a row, over all schemes", "flushes"),
    Scenario("version-change", "the first start after an update with another file layout", "start",
             changes={VERSION_FILE: b"\7\0\0\0"}),
    Scenario("factory-reset", "a factory reset", "factory-reset"),
    Scenario("factory-reset-dome", "a factory reset of a camera with eight schemes", "factory-reset", model="dome"),
    Scenario("log-rotation", "reports until the log is rotated, and a save", "log-rotation",
             changes=_full_logs()),
    Scenario("sensorcam", "sensorcam makes its files on an empty board, and a user saves", prepared=False,
             documents=False, program=(*SENSORCAM, "set brightness=61", "save"), host=(*SENSORCAM, "get brightness")),
    Scenario("sensorcam-again", "the same after a start that was killed when it had made a folder", prepared=False,
             model="dome", changes={"/mnt/mtd/sensorcam": None, MODEL_FILE: b"dome\n"}, unsynced=(CONFIG_FOLDER,),
             program=(*SENSORCAM, "set brightness=61", "save"), host=(*SENSORCAM, "get brightness")),
)}


class Stage:
    """Lays the scenarios' trees out."""

    def __init__(self, share, program, workers, blobs):
        self._share = share
        self._program = program
        self._workers = workers
        self._blobs = blobs
        self._prepared = {}  # by model

    def tree(self, scenario):
        """Contents by path before the scenario."""
        if scenario.prepared:
            tree = self._saved(scenario.model)
        else:
            tree = documents(self._share, scenario.model) if scenario.documents else {}
        return {**tree, **scenario.changes}

    def program(self, scenario):
        """What runs on it."""
        return self._argv(scenario.program) or [self._program, scenario.action]

    def host(self, scenario):
        """What makes its files again; nothing where nobody does."""
        return self._argv(scenario.host)

    def _argv(self, words):
        return [os.path.join(os.path.dirname(self._program), words[0]), *words[1:]] if words else []

    def _saved(self, model):
        if model not in self._prepared:
            tree = packed(documents(self._share, model), self._blobs)
            step = {"argv": [self._program, "prepare"], "snapshot": True}
            result = self._workers.run(tree, [step], self._blobs)[0]
            if result["status"] != 0 or '"good":1' not in result["out"]:
                raise RuntimeError(f"no camera to begin with: {result}")
            self._prepared[model] = result["tree"]
        return self._prepared[model]


def test_tree():
    """The tree that a test program finds when it does not make one itself."""
    return {f"{root}/private-tree.token": TREE_TOKEN.encode() + b"\n" for root in ROOTS}


TEST_ENVIRONMENT = {"SENSORDLL_TEST_TREE": TREE_TOKEN}
