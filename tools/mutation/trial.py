"""Builds a mutant and lets the unit tests have a go at it."""

import json
import math
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
    "services": ["services", "sim", "checks", "system"],
    "camera": ["camera", "app"],
    "app": ["app"],
    "app/web": ["web", "app"],
    "base": ["base", "diag", "keyval", "config", "controller", "system"],
    "diag": ["diag", "keyval", "memory", "config", "controller", "texts", "system"],
    "keyval": ["keyval", "controller", "config", "texts", "system"],
    "config": ["config", "memory", "controller", "texts", "system"],
    "controller": ["controller", "texts", "system"],
    "include": ["controller", "system", "config", "keyval"],
}
LIBRARY = ["base", "diag", "keyval", "config", "controller"]
ABOVE = ["camera", "app"]  # the library: they are tested with a shared library that no mutant of theirs changes
FOLDERS = ["platform", "services", *LIBRARY, *ABOVE]
# "texts" is no program: it looks for them in the shared library.
TESTS = [*FOLDERS, "web", "sim", "daynight", "checks", "memory", "texts", "system"]
SANITIZED_TESTS = [*FOLDERS, "web"]
COPIED = [*FOLDERS, "include"]
# Compiled anew for a header: most of its inline code is used there alone.
OWN_TESTS = tuple(f"tests/unit/{folder}/" for folder in ("platform", "services", *ABOVE))
SHARED = ["lib/libsensorplatform.so", "lib/libsensordll.so"]
STARTED = {"app": ["bin/sensorcam", "bin/toycam"]}  # by the tests
# An ordinary user may not mount /proc where the cage has its own.
NOT_IN_A_CAGE = {"app": "As/SandboxTest.*/AnOrdinaryUser"}
# By the places of their objects.
ARCHIVES = {
    "lib/libsensordll_inside.a": tuple(f"{folder}/" for folder in LIBRARY),
    "lib/libsensorsim.a": ("services/sim/",),
    "lib/libsensordaynight.a": ("services/daynight/",),
    "lib/libsensorservices.a": ("services/CMakeFiles/",),
    "lib/libportcheck.a": ("services/checks/",),
    "lib/libsensorcamera.a": ("camera/",),
    "lib/libsensorcam_json.a": ("app/CMakeFiles/sensorcam_json.dir/",),
    "lib/libsensorcam_web.a": ("app/web/CMakeFiles/",),
    "lib/libsensorcam_parts.a": ("app/CMakeFiles/sensorcam_parts.dir/",),
}

# Tests beyond the first come later, beyond the second last. System tests beyond the first repeat what others did: they
# are left out.
SLOW_TEST_MS = (200, 2000)
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
    slowness: int = 0


@dataclass
class Result:
    id: str
    outcome: str
    by: str = ""  # the test that failed, or how the test program ended
    seconds: float = 0.0
    source: str = field(default="", repr=False)  # digest of the file it was made from


def tests_of(path):
    folder, _, rest = path.partition("/")
    return TESTS_OF.get(f"{folder}/{rest.partition('/')[0]}", TESTS_OF[folder])


def programs_of(tests):
    return [f"bin/{tests}_tests", *STARTED.get(tests, [])] if tests != "texts" else []


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
        wanted = {tests for path in paths for tests in tests_of(path)}
        self.folders = [tests for tests in (SANITIZED_TESTS if sanitizers else TESTS) if tests in wanted]
        self.programs = [program for tests in self.folders for program in programs_of(tests)]
        self.flags = [f"-DSENSORDLL_SANITIZE={sanitizers}"]
        self.memory_limit = resource.RLIM_INFINITY if sanitizers else MEMORY_LIMIT  # they reserve terabytes
        self.stages = []
        self.milliseconds = {}  # of each test, by the folder's name
        self.catchers = {}  # tests that caught a mutant, by the mutant's path
        self.needs_user_namespace = None

    def make(self, jobs):
        self.folder.mkdir(parents=True, exist_ok=True)
        log = self.folder / "build.log"
        configure = ["cmake", "-S", self.root, "-B", self.tree, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                     "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_CXX_FLAGS=-fuse-ld=lld", "-DBUILD_TESTING=ON",
                     f"-DSENSORDLL_APP={'ON' if 'app' in self.folders else 'OFF'}", *self.flags]
        if shutil.which("ccache"):
            configure.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        for command in (configure, ["ninja", "-C", self.tree, f"-j{jobs}", *SHARED, *self.programs]):
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
            left_out = NOT_IN_A_CAGE.get(tests, "")
            done = run(self.command(tests, self.tree, f"--gtest_filter=*-{left_out}"), env=self.environment(),
                       preexec_fn=self.limit)
            seconds = time.monotonic() - begin
            if done.returncode != 0:
                (self.folder / "failed.log").write_text(done.stdout)
                raise SystemExit(f"mutate: the tests of {tests} fail without a mutant, see {self.folder}/failed.log")
            taken = {name: int(ms) for name, ms in re.findall(r"OK \] (\S+?)(?:,.*)? \((\d+) ms\)", done.stdout)}
            self.milliseconds[tests] = taken
            slow = [name for name, ms in taken.items() if ms > SLOW_TEST_MS[0]]
            rest = seconds - sum(taken[name] for name in slow) / 1000
            self.stages.append(Stage(tests, "*-" + ":".join([left_out, *slow]), rest))
            for slowness, limits in enumerate(zip(SLOW_TEST_MS, (*SLOW_TEST_MS[1:], math.inf)), 1):
                names = [name for name in slow if limits[0] < taken[name] <= limits[1]]
                if names and tests != "system":
                    self.stages.append(self._stage_of(tests, names, slowness))

    def _stage_of(self, tests, names, slowness=0):
        return Stage(tests, ":".join(names), sum(self.milliseconds[tests][name] for name in names) / 1000, slowness)

    def command(self, tests, folder, *options):
        """Runs tests with what was linked below the folder; what was not is the tree's."""
        if tests == "texts":
            interface = self.root / "tests" / "shipped" / "interface"
            mutant, original = (place / "lib/libsensordll.so" for place in (folder, self.tree))
            library = mutant if mutant.exists() else original
            return [interface / "report_texts.sh", library, interface / "report_texts.txt"]
        return [*self._cage(folder), self.tree / f"bin/{tests}_tests", *options]

    def _cage(self, folder):
        """What a mutant signals, forks, writes or removes, as root too, stays in here and goes when its test ends:
        processes, devices and the folder of the tests' private trees are its own, all else can only be read. What was
        linked below the folder stands in the place of the tree's."""
        cage = ["bwrap", "--unshare-pid", "--new-session", "--die-with-parent", "--ro-bind", "/", "/", "--dev", "/dev",
                "--proc", "/proc", "--size", str(DISK_LIMIT), "--tmpfs", self.tree / "test-trees"]
        if self.needs_user_namespace is None:
            self.needs_user_namespace = run([*cage, "true"]).returncode != 0  # root without the right to mount
        own_user = ["--unshare-user"] if self.needs_user_namespace else []
        linked = [target for target in self.link if folder != self.tree and (folder / target).exists()]
        places = [word for target in linked for word in ("--ro-bind", folder / target, self.tree / target)]
        return [*cage, *own_user, *places, "--"]

    def stages_for(self, path):
        order = tests_of(path)
        nearest = order[0]
        names = [name for name in self.milliseconds[nearest] if name in self.catchers.get(path, ())]
        likely = [self._stage_of(nearest, names)] if names else []
        of_path = [stage for stage in self.stages if stage.tests in order]
        return likely + sorted(of_path, key=lambda stage: (stage.slowness, order.index(stage.tests)))

    def environment(self):
        return {**os.environ, "LSAN_OPTIONS": f"suppressions='{self.root}/tests/leaks.supp':print_suppressions=0"}

    def limit(self):
        """For the process about to run tests."""
        # A shell starts in the background what ignores some of these.
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
            signal.signal(number, signal.SIG_DFL)
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
                self.objects.setdefault(path, []).append(entry.get("output") or words[words.index("-o") + 1])
        self.link = {target: self._last_command(target) for target in [*SHARED, *self.programs]}
        self.users = {}
        by_object = {output: path for path, outputs in self.objects.items() for output in outputs}
        listing = run(["ninja", "-C", self.tree, "-t", "deps", *by_object]).stdout
        for line in listing.splitlines():
            if line and not line[0].isspace():
                current = by_object.get(line.split(":")[0])
            elif current:
                used = os.path.relpath(self.tree / line.strip(), self.root)  # ccache may have made the path relative
                self.users.setdefault(used, set()).add(current)

    def _last_command(self, target):
        line = run(["ninja", "-C", self.tree, "-t", "commands", target]).stdout.strip().splitlines()[-1]
        # "$ORIGIN" is escaped for a shell, in a way that shlex leaves alone between quotes.
        return [word for word in shlex.split(line.replace(r"\$", "$")) if word not in (":", "&&")]


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
            objects.update(dict.fromkeys(self.build.objects[path], str(compiled)))
        for name in ("bin", "lib"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
            (self.folder / name).mkdir()
        for stage in self.build.stages_for(mutant.path):
            targets = [*SHARED, *programs_of(stage.tests)]
            if not all(self._link(target, objects) for target in targets):
                return DISCARDED, "does not link"
            is_changed = any((self.folder / target).exists() for target in targets)
            by = self._run(stage) if is_changed else ""
            if by:
                self.build.catchers.setdefault(mutant.path, set()).add(by.partition(".")[2])
                return CAUGHT, by
        return SURVIVED, ""

    def _affected(self, mutant):
        if mutant.path.endswith(".cpp"):
            return [mutant.path]
        untested = set(ABOVE) - set(tests_of(mutant.path))
        return sorted(user for user in self.build.users.get(mutant.path, ()) if not untested & set(user.split("/")))

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
                                   stderr=subprocess.STDOUT, env=self.build.environment(),
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
