"""Builds a mutant and lets the unit tests have a go at it."""

import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path

# What uses a folder is tested behind the folder itself: whoever is nearest catches most, and soonest.
TESTS_OF = {
    "platform": ["platform", "config", "controller", "system"],
    "services": ["services", "sim", "system"],
    "base": ["base", "diag", "keyval", "config", "controller", "system"],
    "diag": ["diag", "keyval", "memory", "config", "controller", "texts", "system"],
    "keyval": ["keyval", "controller", "config", "texts", "system"],
    "config": ["config", "memory", "controller", "texts", "system"],
    "controller": ["controller", "texts", "system"],
    "include": ["controller", "system", "config", "keyval"],
}
LIBRARY = ["base", "diag", "keyval", "config", "controller"]
FOLDERS = ["platform", "services", *LIBRARY]
TESTS = [*FOLDERS, "sim", "memory", "texts", "system"]  # "texts" is no program: it looks for them in the shared library
COPIED = [*FOLDERS, "include"]
# Compiled anew for a header: most of its inline code is used there alone.
OWN_TESTS = ("tests/unit/platform/", "tests/unit/services/")
SHARED = ["lib/libsensorplatform.so", "lib/libsensordll.so"]
# By the places of their objects.
ARCHIVES = {
    "lib/libsensordll_inside.a": tuple(f"{folder}/" for folder in LIBRARY),
    "lib/libsensorsim.a": ("services/sim/",),
    "lib/libsensorservices.a": ("services/CMakeFiles/",),
}

SLOW_TEST_MS = 200  # tests beyond it come last; system tests beyond it, which repeat what others did, are left out
SPARE_SECONDS = 10  # beyond three times the usual run; a loaded machine must not make a mutant look caught
MEMORY_LIMIT = 6 << 30  # a loop without an end must not take the machine's memory with it
DISK_LIMIT = 2 << 30  # of the tests' files, which lie in memory; one for each file would refuse the sparse ones
OUTPUT_KEPT = 1 << 16

CAUGHT, SURVIVED, DISCARDED, SAME = "caught", "survived", "discarded", "same"


@dataclass
class Stage:
    tests: str  # the folder's name
    filter: str
    seconds: float


@dataclass
class Result:
    id: str
    outcome: str
    by: str = ""  # the test that failed, or how the test program ended
    seconds: float = 0.0
    source: str = field(default="", repr=False)  # digest of the file it was made from


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          check=False, **options)


class Build:
    """What is mutated and its tests, built once; a mutant is linked in the stead of what it changes."""

    def __init__(self, root, folder, paths, sanitizers=""):
        """paths: of the mutants to come; only their tests are built."""
        self.root = Path(root)
        self.folder = Path(folder)
        self.tree = self.folder / (f"tree-{sanitizers}".replace(",", "-") if sanitizers else "tree")
        wanted = {tests for path in paths for tests in TESTS_OF[path.split("/")[0]]}
        self.folders = [tests for tests in (FOLDERS if sanitizers else TESTS) if tests in wanted]
        self.flags = [f"-DSENSORDLL_SANITIZE={sanitizers}"]
        self.memory_limit = resource.RLIM_INFINITY if sanitizers else MEMORY_LIMIT  # they reserve terabytes
        self.stages = []
        self.needs_user_namespace = None

    def make(self, jobs):
        self.folder.mkdir(parents=True, exist_ok=True)
        log = self.folder / "build.log"
        configure = ["cmake", "-S", self.root, "-B", self.tree, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                     "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_CXX_FLAGS=-fuse-ld=lld", "-DBUILD_TESTING=ON",
                     "-DSENSORDLL_APP=OFF", *self.flags]
        if shutil.which("ccache"):
            configure.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        programs = ["sensordll", "sensorplatform", *(f"{tests}_tests" for tests in self.folders if tests != "texts")]
        for command in (configure, ["ninja", "-C", self.tree, f"-j{jobs}", *programs]):
            done = run(command)
            log.write_text(done.stdout)
            if done.returncode != 0:
                raise SystemExit(f"mutate: the unchanged library does not build, see {log}")
        (self.tree / "test-trees").mkdir(exist_ok=True)
        self._read_commands()

    def measure(self):
        """Runs every test program unchanged, and learns which tests are slow. They must pass."""
        for tests in self.folders:
            begin = time.monotonic()
            done = run(self.command(tests, self.tree), env=self.environment(), preexec_fn=self.limit)
            seconds = time.monotonic() - begin
            if done.returncode != 0:
                (self.folder / "failed.log").write_text(done.stdout)
                raise SystemExit(f"mutate: the tests of {tests} fail without a mutant, see {self.folder}/failed.log")
            slow = {name: int(ms) for name, ms in re.findall(r"OK \] (\S+?)(?:,.*)? \((\d+) ms\)", done.stdout)
                    if int(ms) > SLOW_TEST_MS}
            rest = seconds - sum(slow.values()) / 1000
            self.stages.append(Stage(tests, "*" + "".join(f":-{name}" if i == 0 else f":{name}"
                                                          for i, name in enumerate(sorted(slow))), rest))
            if slow and tests != "system":
                self.stages.append(Stage(tests, ":".join(sorted(slow)), sum(slow.values()) / 1000))

    def command(self, tests, folder, *options):
        """Runs tests with what was linked below the folder; what was not is the tree's."""
        if tests == "texts":
            interface = self.root / "tests" / "shipped" / "interface"
            library = self._first(folder, "lib/libsensordll.so")
            return [interface / "report_texts.sh", library, interface / "report_texts.txt"]
        return [*self._cage(), self._first(folder, f"bin/{tests}_tests"), *options]

    def _first(self, folder, target):
        return folder / target if (folder / target).exists() else self.tree / target

    def _cage(self):
        """What a mutant signals, forks, writes or removes, as root too, stays in here and goes when its test ends:
        processes, devices and the folder of the tests' private trees are its own, all else can only be read."""
        cage = ["bwrap", "--unshare-pid", "--new-session", "--die-with-parent", "--ro-bind", "/", "/", "--dev", "/dev",
                "--proc", "/proc", "--size", str(DISK_LIMIT), "--tmpfs", self.tree / "test-trees"]
        if self.needs_user_namespace is None:
            self.needs_user_namespace = run([*cage, "true"]).returncode != 0  # root without the right to mount
        return [*cage, *(["--unshare-user"] if self.needs_user_namespace else []), "--"]

    def stages_for(self, path):
        order = TESTS_OF[path.split("/")[0]]
        quick = [s for tests in order for s in self.stages if s.tests == tests and s.filter.startswith("*")]
        return quick + [s for tests in order for s in self.stages if s.tests == tests and not s.filter.startswith("*")]

    def environment(self, libraries=None):
        paths = [str(path) for path in (libraries, self.tree / "lib") if path]
        leaks = f"suppressions='{self.root}/tests/leaks.supp':print_suppressions=0"
        return {**os.environ, "LD_LIBRARY_PATH": ":".join(paths), "LSAN_OPTIONS": leaks}

    def limit(self):
        """For the process about to run tests."""
        resource.setrlimit(resource.RLIMIT_AS, (self.memory_limit, self.memory_limit))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    def _read_commands(self):
        database = json.loads((self.tree / "compile_commands.json").read_text())
        self.compile, self.objects = {}, {}
        for entry in database:
            path = os.path.relpath(entry["file"], self.root)
            if path.split("/")[0] in FOLDERS or path.startswith(OWN_TESTS):
                words = [word for word in shlex.split(entry["command"]) if not word.endswith("ccache")]
                self.compile[path] = words[: words.index("-o")]
                self.objects[path] = entry.get("output") or words[words.index("-o") + 1]
        programs = [f"bin/{tests}_tests" for tests in self.folders if tests != "texts"]
        self.link = {target: self._last_command(target) for target in [*SHARED, *programs]}
        self.users = {}
        listing = run(["ninja", "-C", self.tree, "-t", "deps", *self.objects.values()]).stdout
        by_object = {output: path for path, output in self.objects.items()}
        for line in listing.splitlines():
            if line and not line[0].isspace():
                current = by_object.get(line.split(":")[0])
            elif current:
                used = os.path.relpath(self.tree / line.strip(), self.root)  # ccache may have made the path relative
                self.users.setdefault(used, set()).add(current)

    def _last_command(self, target):
        line = run(["ninja", "-C", self.tree, "-t", "commands", target]).stdout.strip().splitlines()[-1]
        return [word for word in shlex.split(line) if word not in (":", "&&")]


class Worker:
    """A private copy of the sources, and of the objects, libraries and test programs that one mutant changes."""

    def __init__(self, build, number):
        self.build = build
        # Below the build tree: the tests' private file tree shows nothing else.
        self.folder = build.tree / "workers" / str(number)
        shutil.rmtree(self.folder, ignore_errors=True)
        (self.folder / "objects").mkdir(parents=True)
        for name in COPIED:
            shutil.copytree(build.root / name, self.folder / name)
        self.places = re.compile(rf"{re.escape(str(build.root))}/({'|'.join(COPIED)})(?=/|$)")

    def trial(self, mutant, original):
        begin = time.monotonic()
        file = self.folder / mutant.path
        file.write_text(mutant.text)
        try:
            outcome, by = self._try(mutant)
            if outcome == SURVIVED and self._is_same_code(mutant, original):
                outcome = SAME
        finally:
            file.write_text(original)
        return Result(mutant.id, outcome, by, round(time.monotonic() - begin, 2))

    def _try(self, mutant):
        objects = {}
        for path in self._affected(mutant):
            compiled = self.folder / "objects" / (path.replace("/", "_") + ".o")
            if not self._compile(path, compiled):
                return DISCARDED, "does not compile"
            objects[self.build.objects[path]] = str(compiled)
        for name in ("bin", "lib"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
            (self.folder / name).mkdir()
        for stage in self.build.stages_for(mutant.path):
            for target in (*SHARED, f"bin/{stage.tests}_tests"):
                if target in self.build.link and not self._link(target, objects):
                    return DISCARDED, "does not link"
            by = self._run(stage)
            if by:
                return CAUGHT, by
        return SURVIVED, ""

    def _affected(self, mutant):
        return [mutant.path] if mutant.path.endswith(".cpp") else sorted(self.build.users.get(mutant.path, ()))

    def _compile(self, path, output, *options):
        # Headers are included from the root of the tree: the copy comes first, what it lacks is found behind it.
        command = [self.places.sub(rf"{self.folder}/\1", word) for word in self.build.compile[path]]
        root = f"-I{self.build.root}"
        if root in command:
            command.insert(command.index(root), f"-I{self.folder}")
        folder = self.build.root if path.startswith(OWN_TESTS) else self.folder
        command += ["-w", *options, "-o", str(output), "-c", str(folder / path)]
        return run(command, cwd=self.build.tree).returncode == 0

    def _link(self, target, objects):
        """Only what the objects change, and only once."""
        original = self.build.link[target]
        words = [objects.get(word, word) for word in original]
        for archive, folders in ARCHIVES.items():
            if archive in words:
                # Before the archive: its own objects of these names are then not taken.
                place = words.index(archive)
                words[place:place] = [new for old, new in objects.items() if old.startswith(folders)]
        if words == original or (self.folder / target).exists():
            return True
        words[words.index("-o") + 1] = str(self.folder / target)
        return run(words, cwd=self.build.tree).returncode == 0

    def _run(self, stage):
        """Empty if all tests passed; else what failed."""
        command = self.build.command(stage.tests, self.folder, "--gtest_fail_fast", "--gtest_brief=1",
                                     f"--gtest_filter={stage.filter}")
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, env=self.build.environment(self.folder / "lib"),
                                   start_new_session=True, preexec_fn=self.build.limit)
        output = Tail(process.stdout)
        try:
            status = process.wait(3 * stage.seconds + SPARE_SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            output.text()
            return f"{stage.tests}: no end"
        text = output.text()
        if status == 0:
            return ""
        failed = re.search(r"\[  FAILED  \] (\w\S*?)[ ,(\n]", text)
        return f"{stage.tests}.{failed.group(1)}" if failed else f"{stage.tests}: status {status}"

    def _is_same_code(self, mutant, original):
        """The optimising compiler makes the same of it: nobody can tell the difference."""
        file = self.folder / mutant.path
        affected = self._affected(mutant)
        for path in affected:
            outputs = []
            for name, text in (("mutant", mutant.text), ("original", original)):
                file.write_text(text)
                outputs.append(self.folder / "objects" / name)
                if not self._compile(path, outputs[-1], "-O2"):
                    return False
            if outputs[0].read_bytes() != outputs[1].read_bytes():
                return False
        return bool(affected)


class Tail(threading.Thread):
    """Reads a stream to its end, and keeps the last part: a mutant may print for ever."""

    def __init__(self, stream):
        super().__init__(daemon=True)
        self.stream = stream
        self.kept = b""
        self.start()

    def run(self):
        with self.stream:
            while data := self.stream.read1(OUTPUT_KEPT):
                self.kept = (self.kept + data)[-OUTPUT_KEPT:]

    def text(self):
        self.join(timeout=5)
        return self.kept.decode(errors="replace")
