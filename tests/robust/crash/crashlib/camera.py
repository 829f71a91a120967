"""Trees that a camera can start on, and what is asserted of a camera that was started on one."""

import hashlib
import json
import os
import struct
import threading

from crashlib.paths import DIVERSITIES, FOLDERS, MACHINE_INFO, MODULE_CONFIG, STYLES, VERSION_FILE, scheme_file
from crashlib.recording import is_setting

RECORD = struct.Struct("<II")
KEY_BRIGHTNESS, KEY_CONTRAST = 34, 2353


def documents(share, model):
    """The tree of a camera fresh from the factory, contents by path, None for a folder."""
    tree = {}
    for folder in FOLDERS:
        parts = folder.strip("/").split("/")
        for depth in range(2, len(parts) + 1):
            tree["/" + "/".join(parts[:depth])] = None
    sources = {MACHINE_INFO: f"models/{model}/machineinfo.ini", MODULE_CONFIG: f"models/{model}/moduleConfig.xml"}
    for target, source in ((STYLES, "style"), (DIVERSITIES, "styleDiversity")):
        for name in sorted(os.listdir(os.path.join(share, source))):
            sources[f"{target}/{name}"] = f"{source}/{name}"
    for path, source in sources.items():
        with open(os.path.join(share, source), "rb") as file:
            tree[path] = file.read()
    return tree


def packed(tree, blobs):
    """Contents by path as pairs of path and blob."""
    return frozenset((path, None if content is None else blobs.name(content)) for path, content in tree.items())


def records(content):
    return [RECORD.unpack_from(content, at) for at in range(0, len(content) - RECORD.size + 1, RECORD.size)]


def bytes_of(digits):
    """A content as crash_camera prints it; None for a file that is missing."""
    return None if digits is None else bytes.fromhex(digits)


def described(content):
    """Short, for messages."""
    if content is None:
        return "missing"
    return f"{len(content)} bytes {hashlib.sha1(content).hexdigest()[:8]}"


class Cameras:
    """Starts cameras on trees and judges them. Thread-safe."""

    def __init__(self, program, workers, blobs):
        self.program = program
        self._workers = workers
        self._blobs = blobs
        self._factory = {}  # answers of a first start, by the documents
        self._lock = threading.Lock()

    def verify_step(self, limit=60):
        return {"argv": [self.program, "verify"], "limit": limit, "env": {"LC_ALL": "C"}}

    def start_steps(self, host):
        """host: an argv that makes a board's files again before the camera is started; empty where nobody does."""
        first = [{"argv": host, "snapshot": True, "limit": 60, "env": {"LC_ALL": "C"}}] if host else []
        return [*first, self.verify_step()]

    def start_problems(self, tree, results, complete):
        """What is wrong after start_steps on the tree; complete: by path what was there at the end of a healthy run."""
        *made, verified = results
        if not made:
            return self.problems(tree, verified)
        if made[0]["status"] != 0:
            return [f"the host did not come up: status {made[0]['status']} {made[0]['out']} {made[0]['err']}"]
        after = made[0]["tree"]
        wrong = [f"{path}: the host leaves {described(after.get(path))}" for path, content in complete.items()
                 if not is_setting(path) and after.get(path) != content]
        if wrong:
            return wrong
        # The settings must still be those of the tree.
        hosted = {entry for entry in packed(after, self._blobs) if not is_setting(entry[0])}
        return self.problems(frozenset(hosted | {entry for entry in tree if is_setting(entry[0])}), verified)

    def factory(self, tree):
        """What a first start on the tree's documents answers; None when they are incomplete."""
        contents = dict(tree)
        key = frozenset(entry for entry in tree if _is_document(entry[0]))
        if not {MACHINE_INFO, MODULE_CONFIG} <= contents.keys() or not any(p.startswith(STYLES + "/") for p in contents):
            return None
        with self._lock:
            if key not in self._factory:
                folders = {entry for entry in tree if entry[1] is None}
                result = self._workers.run(key | folders, [self.verify_step()], self._blobs)[0]
                answer = json.loads(result["out"]) if result["status"] == 0 else {"reports": True}
                self._factory[key] = None if answer["reports"] else answer
            return self._factory[key]

    def problems(self, tree, result):
        """What is wrong with a camera that was started on the tree; result is that of verify_step."""
        factory = self.factory(tree)
        if result["status"] != 0:
            return [f"the camera did not come up: status {result['status']} {result['out']} {result['err']}"]
        answer = json.loads(result["out"])
        contents = {path: self._blobs.by_name[name] for path, name in tree if name is not None}
        expected, is_sound = expected_files(contents, factory)
        found = []
        if is_sound:
            for key in ("reports", "flush_reports", "restart_reports"):
                if answer[key]:
                    found.append(f"{key}: {answer[key]}")
            found += wrong_files(answer, expected)
        elif answer["flush_reports"]:
            found.append(f"flush_reports: {answer['flush_reports']}")
        if answer["up"] != 1 or answer["flush"] != 0:
            found.append(f"up {answer['up']}, flush {answer['flush']}")
        if answer["remains"]:
            found.append(f"too much on the disk: {answer['remains']}")
        if answer["found"] != answer["wanted"]:
            found.append(f"saved brightness {answer['wanted']}, found {answer['found']} after a restart")
        return found


def expected_files(contents, factory):
    """The scheme files that a start must leave on these contents, and whether all that are there have their length."""
    version_is_right = contents.get(VERSION_FILE, b"")[:4].hex() == factory["version"]
    expected, is_sound = [], True
    for scheme, factory_file in enumerate(factory["files"]):
        content = contents.get(scheme_file(scheme)) if version_is_right else None
        expected.append(factory_file if content is None else content.hex())
        is_sound = is_sound and len(expected[-1]) == len(factory_file)
    return expected, is_sound


def wrong_files(answer, expected):
    """Differences between files and expectation, and between a file and what the camera says of its scheme."""
    found = []
    if answer["version"] != "08000000":
        found.append(f"version file {answer['version']!r}")
    for scheme, wanted in enumerate(expected):
        file = answer["files"][scheme]
        if file != wanted:
            found.append(f"scheme {scheme}: file {described(bytes_of(file))}, expected {described(bytes_of(wanted))}")
        values = dict(records(bytes.fromhex(wanted)))
        for key in (KEY_BRIGHTNESS, KEY_CONTRAST):
            if key in values and f"({key},{values[key]})" not in answer["schemes"][scheme]:
                found.append(f"scheme {scheme}: key {key} is not {values[key]} in {answer['schemes'][scheme]}")
    return found


def _is_document(path):
    return path in (MACHINE_INFO, MODULE_CONFIG) or path.startswith((STYLES + "/", DIVERSITIES + "/"))
