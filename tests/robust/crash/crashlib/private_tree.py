"""Private file trees: the camera's absolute paths, on a memory disk of a worker's own."""

import base64
import json
import os
import queue
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import threading

SYSTEM_FOLDERS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../../app/box/SystemFolders.def")
ROOTS = ("/mnt", "/hd1", "/tmp")
WORKER_FLAG = "--worker"
STEP_LIMIT_SECONDS = 120
TREE_TOKEN = "crash-runner"


def _system_folders():
    arguments = ["--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc"]
    with open(SYSTEM_FOLDERS, encoding="ascii") as file:
        folders = re.findall(r'^"(.+)",$', file.read(), re.MULTILINE)
    for folder in folders:
        if os.path.islink(folder):
            arguments += ["--symlink", os.readlink(folder), folder]
        else:
            arguments += ["--ro-bind-try", folder, folder]
    return arguments + ["--ro-bind-try", "/run", "/run", "--ro-bind-try", "/sys", "/sys",
                        "--dev-bind", "/dev", "/dev", "--bind", "/proc", "/proc"]


def _command(runner, folders, disk_bytes, user_namespace):
    arguments = ["bwrap"] + (["--unshare-user"] if user_namespace else []) + _system_folders()
    for root in ROOTS:
        if disk_bytes and root == "/mnt":
            arguments += ["--size", str(disk_bytes)]
        arguments += ["--tmpfs", root]
    for folder in [sys.base_prefix, sys.prefix]:
        if not folder.startswith("/usr"):  # an interpreter of one's own
            arguments += ["--ro-bind", folder, folder]
    for folder in folders:
        arguments += ["--bind", folder, folder]
    return arguments + ["--die-with-parent", "--chdir", "/", "--", sys.executable, "-B", runner, WORKER_FLAG]


class Worker:
    """A process in a private tree that lays out trees and runs programs on them. One job at a time."""

    def __init__(self, runner, folders, disk_bytes=None):
        self._known = set()
        for user_namespace in (False, True):  # a container's root often needs one, and not everybody has any
            self._process = subprocess.Popen(_command(runner, folders, disk_bytes, user_namespace),
                                             stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
            if self._process.stdout.readline() == "ready\n":
                return
            self._process.wait()
        raise RuntimeError("bwrap could not make a private file tree: are user namespaces switched off?")

    def run(self, tree, steps, blobs):
        """tree: pairs of path and blob, None for a folder. Returns what came of each step."""
        missing = {name for _, name in tree if name is not None} - self._known
        self._known |= missing
        job = {"blobs": {name: _packed(blobs.by_name[name]) for name in missing},
               "tree": sorted(tree, key=lambda entry: entry[0]), "steps": steps}
        self._process.stdin.write(json.dumps(job) + "\n")
        self._process.stdin.flush()
        answer = self._process.stdout.readline()
        if not answer:
            raise RuntimeError("a worker has ended early")
        results = json.loads(answer)
        for result in results:
            if "tree" in result:
                result["tree"] = {path: _unpacked(content) for path, content in result["tree"].items()}
        return results

    def close(self):
        self._process.stdin.close()
        self._process.wait()


class Workers:
    """As many workers as there are processors, and the jobs spread over them. Thread-safe."""

    def __init__(self, runner, folders, count):
        self._runner = runner
        self._folders = folders
        self._idle = queue.Queue()
        self._all = []
        for _ in range(count):
            worker = Worker(runner, folders)
            self._all.append(worker)
            self._idle.put(worker)
        self.count = count

    def run(self, tree, steps, blobs):
        worker = self._idle.get()
        try:
            return worker.run(tree, steps, blobs)
        finally:
            self._idle.put(worker)

    def run_all(self, jobs, blobs, finished):
        """jobs: pairs of a key and (tree, steps). Calls finished(key, results), one call at a time."""
        jobs = iter(jobs)
        lock = threading.Lock()
        failures = []

        def work():
            while not failures:
                with lock:
                    job = next(jobs, None)
                if job is None:
                    return
                key, (tree, steps) = job
                try:
                    results = self.run(tree, steps, blobs)
                    with lock:
                        finished(key, results)
                except Exception as failure:  # pylint: disable=broad-except
                    failures.append(failure)

        threads = [threading.Thread(target=work) for _ in range(self.count)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if failures:
            raise failures[0]

    def of_size(self, disk_bytes):
        return Worker(self._runner, self._folders, disk_bytes)

    def close(self):
        for worker in self._all:
            worker.close()


# ---- the process inside ------------------------------------------------------------------------------------

def serve():
    blobs = {}
    print("ready", flush=True)
    for line in sys.stdin:
        job = json.loads(line)
        blobs.update({name: _unpacked(content) for name, content in job["blobs"].items()})
        _lay_out(job["tree"], blobs)
        print(json.dumps([_run_step(step) for step in job["steps"]]), flush=True)


def _lay_out(tree, blobs):
    for root in ROOTS:
        for entry in os.scandir(root):
            if entry.is_dir(follow_symlinks=False):
                shutil.rmtree(entry.path)
            else:
                os.unlink(entry.path)
    for path, name in tree:
        if name is None:
            if path not in ROOTS:
                os.mkdir(path)
        else:
            with open(path, "wb") as file:
                file.write(blobs[name])


def _run_step(step):
    limit = step.get("limit", STEP_LIMIT_SECONDS)
    with tempfile.TemporaryFile(dir="/dev/shm") as errors:
        try:
            done = subprocess.run(step["argv"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors,
                                  timeout=limit, check=False, env={**os.environ, **step.get("env", {})})
            result = {"status": done.returncode, "out": done.stdout.decode("utf-8", "replace")}
        except subprocess.TimeoutExpired:
            result = {"status": "timeout", "out": ""}
        errors.seek(0)
        result["err"] = errors.read().decode("utf-8", "replace")
    if step.get("snapshot"):
        result["tree"] = snapshot()
    return result


def snapshot():
    tree = {}
    for root in ROOTS:
        for folder, folders, files in os.walk(root):
            for name in folders:
                tree[os.path.join(folder, name)] = None
            for name in files:
                path = os.path.join(folder, name)
                if stat.S_ISSOCK(os.lstat(path).st_mode):
                    continue  # a killed camera leaves its sockets, and they hold nothing
                with open(path, "rb") as file:
                    tree[path] = _packed(file.read())
    return tree


def _packed(content):
    return None if content is None else base64.b64encode(content).decode("ascii")


def _unpacked(text):
    return None if text is None else base64.b64decode(text)
