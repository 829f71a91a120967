"""Kills and errors: a run is broken off, or one of its operations fails, at every operation in turn."""

import json
import os
import re
from dataclasses import dataclass

from crashlib.camera import RECORD, bytes_of, described, packed
from crashlib.paths import FACTORY_FOLDER, VERSION_FILE, scheme_file
from crashlib.recording import is_setting

KILLED = 128 + 9
NO_DOCUMENTS = 3  # crash_camera: the host itself could not read which camera it is
HOST_STATUS = (0, 1, 3)  # sensorcam: done, a command failed, not started
REPORT = "~~~Assertion failed."
WINDOW_REFUSED = 507
ERRORS = ("ENOSPC", "EIO", "EROFS")

_OPERATION = re.compile(r"^(\d+) (\S+) (\w+) (\S+)$", re.MULTILINE)
_DOCUMENTS = ("/hd1/", FACTORY_FOLDER + "/", "/tmp/")  # the merged style lies in /tmp
_READING = ("access", "faccessat", "faccessat2", "open", "openat", "stat", "newfstatat", "statx", "fstat", "read",
            "pread64")


@dataclass(frozen=True)
class Operation:
    nth: int
    program: str
    call: str
    path: str

    def __str__(self):
        return f"operation {self.nth}, {self.program}: {self.call} {self.path}"

    def reads(self, path):
        return self.path == path and self.call in _READING

    def is_of_the_camera(self):
        return self.program in ("crash_camera", "sensorcam")

    def is_on_documents(self):
        """The library then has no style or half of it: what it saves is whole, but not what a healthy disk gives."""
        return self.path.startswith(_DOCUMENTS)


class Faults:
    def __init__(self, cameras, workers, blobs, recorder, injector):
        self._cameras = cameras
        self._workers = workers
        self._blobs = blobs
        self._recorder = recorder
        self._injector = injector

    def run(self, tree, program, fault, report, host=()):
        """fault: kill or one of ERRORS. host: as of Cameras.start_steps; the program is then a host, too."""
        complete = self._recorder.complete(tree, program)
        start = packed(tree, self._blobs)
        flags = ["--all"] if host else []
        operations = self._operations(start, program, fault, flags)
        if not operations:
            raise RuntimeError(f"the run has no operation that {fault} could hit")
        unknown = complete.calls - {operation.call for operation in operations} if fault == "kill" else set()
        if unknown:
            raise RuntimeError(f"{self._injector} does not know {unknown}")
        factory = self._cameras.factory(start)
        report.operations += len(operations)

        def finished(operation, results):
            report.states += 1
            after = packed(results[0]["tree"], self._blobs)
            if fault == "kill":
                wrong = _judge_kill(results[0], complete)
            else:
                judge = _judge_host if host else judge_error
                wrong = judge(operation, results[0], complete, factory)
            wrong += self._cameras.start_problems(after, results[1:], complete.last)
            if wrong:
                report.fail(f"{fault} at {operation}", wrong, after)

        jobs = ((operation, (start, [self._step(program, fault, operation.nth, flags),
                                     *self._cameras.start_steps(host)])) for operation in operations)
        self._workers.run_all(jobs, self._blobs, finished)

    def _step(self, program, fault, nth, flags):
        return {"argv": [self._injector, *flags, fault, str(nth), *program], "snapshot": True,
                "env": {"LC_ALL": "C"}}

    def _operations(self, tree, program, fault, flags):
        """What the fault can hit. Of the same operation on the same file, many times on end, the first and the last:
        such are the existence tests of the marker file."""
        result = self._workers.run(tree, [self._step(program, fault, 0, ["--list", *flags])], self._blobs)[0]
        if result["status"] != 0:
            raise RuntimeError(f"the run without a fault failed: {result['status']}\n{result['err']}")
        found = [Operation(int(nth), *rest) for nth, *rest in _OPERATION.findall(result["err"])]
        same = lambda one, other: (one.call, one.path) == (other.call, other.path)  # noqa: E731
        return [operation for at, operation in enumerate(found)
                if at in (0, len(found) - 1) or not same(operation, found[at - 1])
                or not same(operation, found[at + 1])]


def _kept(result, complete):
    return {path: result["tree"].get(path) for path in complete.ever}


def _judge_kill(result, complete):
    found = [] if result["status"] == KILLED else [f"not killed: {_told(result)}"]
    return found + _wrong_contents(_kept(result, complete), complete.ever)


def judge_error(operation, result, complete, factory):
    """What is wrong after a run of crash_camera in which an operation failed."""
    if result["status"] == NO_DOCUMENTS and operation.is_on_documents():
        return []
    if result["status"] != 0:
        return [f"the program did not survive: {_told(result)}"]
    answer = json.loads(result["out"])
    contents = {scheme_file(scheme): bytes_of(content) for scheme, content in enumerate(answer["files"])}
    contents[VERSION_FILE] = bytes_of(answer["version"])
    found = _wrong_files(operation, contents, bool(answer["reports"]), complete, factory)
    # Where the merged style cannot be saved an earlier one serves, and nobody loses anything.
    if operation.call in ("fsync", "fdatasync") and not operation.is_on_documents() and not answer["reports"]:
        found.append("what may not be on the disk was not reported")
    if not answer["parameters"] and answer["flush"] == WINDOW_REFUSED:
        return found  # contract: a camera without parameters saves nothing
    if answer["flush"] != 0 or answer["flush_reports"]:
        found.append(f"the next flush: {answer['flush']}, reports {answer['flush_reports']}")
    return found


def _judge_host(operation, result, complete, factory):
    """What is wrong after a run of a host in which an operation failed: it may give up, and says so."""
    if result["status"] not in HOST_STATUS:
        return [f"the program did not survive: {_told(result)}"]
    is_told = result["status"] != 0 or REPORT in result["err"]
    return _wrong_files(operation, _kept(result, complete), is_told, complete, factory)


def _wrong_files(operation, contents, is_told, complete, factory):
    """is_told: whether anybody said that something failed."""
    right, wanted = complete.ever, {path: {content} for path, content in complete.last.items()}
    found = []
    if operation.is_on_documents():
        # The parameters come from the documents: without one of them what is saved are fewer. They are whole.
        found += [f"{path} ends within a record" for path, content in contents.items()
                  if is_setting(path) and path != VERSION_FILE and content and len(content) % RECORD.size != 0]
        # What nobody saves stays all the same, and so do the documents.
        right = {path: choice for path, choice in right.items() if len(choice) == 1 or not is_setting(path)}
        contents = {path: contents[path] for path in contents.keys() & right.keys()}
    elif operation.reads(VERSION_FILE):
        # contract: a version that cannot be read is another version, and the schemes are made anew.
        wanted = right = {path: choice | {_factory_content(path, factory)} for path, choice in right.items()}
    found += _wrong_contents(contents, right)
    # contract: nobody looks at what became of the shell command that deletes.
    if not is_told and operation.is_of_the_camera():
        found += [f"{os.path.basename(path)}: {described(content)} is not what was to be saved, and nobody was told"
                  for path, content in contents.items() if content not in wanted.get(path, {None})]
    return found


def _wrong_contents(contents, right):
    return [f"{os.path.basename(path)}: {described(content)} is neither an old nor a new one"
            for path, content in contents.items() if content not in right.get(path, {None})]


def _factory_content(path, factory):
    """factory None: of a board without documents, where what a first start makes is the factory's."""
    number = re.search(r"sensor(\d+)\.cfg$", path)
    if factory is None or not is_setting(path):
        return None
    return bytes.fromhex(factory["files"][int(number.group(1))] if number else factory["version"])


def _told(result):
    return f"status {result['status']}\n{result['out']}\n{result['err'][-2000:]}"
