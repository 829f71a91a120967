#!/usr/bin/python3
"""Every answer of sensorcam --json, held against the schema with a validator that knows nothing of the program.
usage: json_schema_test.py SENSORCAM TOYCAM DEVICECAM SCHEMA DOCUMENT WORK_FOLDER
Debian's Python by its full path: it has the validator, python3-jsonschema.
"""
import copy
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

import jsonschema

# A command line, and the code of its error; "" where it succeeds. Commands of one camera, in this order.
LINES = [
    ("help", ""),
    ("help window", ""),
    ("help dance", "unknown-command"),
    ("help a b", "wrong-usage"),
    ("dance", "unknown-command"),
    ("get 'brightness", "wrong-usage"),
    ("status", ""),
    ("status now", "wrong-usage"),
    ("keys", ""),
    ("keys mirror", ""),
    ("keys nonsense", "unknown-key"),
    ("get", ""),
    ("get brightness mirror", ""),
    ("get nonsense", "unknown-key"),
    ("get brightness 999 998", "no-value"),
    ("set brightness=60 mirror=1", ""),
    ("set brightness=60", ""),
    ("set brightness=60 brightness=61", "wrong-usage"),
    ("set brightness", "wrong-usage"),
    ("set nonsense=1", "unknown-key"),
    ("set brightness=much", "bad-value"),
    ("set brightness=61 contrast=999 sharpness=3", "refused-value"),
    ("set 999=1", "not-on-device"),
    ("set 153=1", "read-only"),  # day or night, by the command's number
    ("set iris_up=1", "wrong-mode"),
    ("set mirror=both", ""),
    ("set mirror=sideways", "bad-value"),
    ("default", "wrong-usage"),
    ("default mirror brightness", ""),
    ("default mirror mirror", "wrong-usage"),
    ("default nonsense", "unknown-key"),
    ("default 999", "no-value"),
    ("text '(34,61)(2353,40)'", ""),
    ("text '(34'", "bad-document"),
    ("text '" + "(34,60)" * 200 + "'", "too-many-values"),
    ("text '(34,999)'", "refused-value"),
    ("all", ""),
    ("all now", "wrong-usage"),
    ("save", ""),
    ("save now", "wrong-usage"),
    ("reload", ""),
    ("reload now", "wrong-usage"),
    ("restore brightness", ""),
    ("restore nonsense", "unknown-key"),
    ("restore 999", "no-value"),
    ("schemes", ""),
    ("schemes now", "wrong-usage"),
    ("window 1 on 08:00-18:00", ""),
    ("window 1 off", ""),
    ("window 9 on", "unknown-scheme"),
    ("window 1 on noon", "bad-value"),
    ("window 1 on 22:00-06:00", "window-refused"),
    ("window 1", "wrong-usage"),
    ("explain", ""),
    ("explain brightness", ""),
    ("explain 999", ""),
    ("explain nonsense", "unknown-key"),
    ("mode", ""),
    ("mode manual", ""),
    ("mode maybe", "wrong-usage"),
    ("explain", ""),
    ("scheme 2", ""),
    ("scheme 9", "unknown-scheme"),
    ("scheme 4", ""),
    ("set contrast=10", ""),
    ("save", "no-file"),
    ("reload", ""),
    ("scheme 0", ""),
    ("set scheme_start_hour=22 scheme_end_hour=6", ""),
    ("schemes", ""),
    ("save", "window-refused"),
    ("reload", ""),
    ("mode auto", ""),
    ("lens", ""),
    ("lens zoom 20000", ""),
    ("lens wait", ""),
    ("lens dance", "wrong-usage"),
    ("lens zoom 99999", "refused-value"),
    ("lens reset", ""),
    ("lens zoom 20000", "busy"),
    ("lens wait", ""),
    ("light", ""),
    ("light 42.5", ""),
    ("light sun", ""),
    ("light dark", "bad-value"),
    ("weather", ""),
    ("weather haze=40 wind=0", ""),
    ("weather haze=101", "bad-value"),
    ("weather rain=1", "wrong-usage"),
    ("time", ""),
    ("time 12:00", ""),
    ("time 25:00", "bad-value"),
    ("watch 2", ""),
    ("watch forever", "wrong-usage"),
    ("trace", ""),
    ("trace 4", ""),
    ("trace", ""),
    ("trace off", ""),
    ("trace loud", "wrong-usage"),
    ("log", ""),
    ("log 2", ""),
    ("log all", "wrong-usage"),
    ("style", ""),
    ("style now", "wrong-usage"),
    ("language", ""),
    ("language 0", ""),
    ("language 77", ""),
    ("language x", "wrong-usage"),
    ("reset", ""),
    ("reset now", "wrong-usage"),
    ("explain", ""),
    ("output", ""),
    ("output 3", ""),
    ("output now", "wrong-usage"),
    ("quit now", "wrong-usage"),
    ("quit", ""),
]

# Of a camera with a real device.
DEVICE_LINES = [
    ("device", ""),
    ("device now", "wrong-usage"),
    ("mode manual", ""),
    ("scheme 0", ""),
    ("keys", ""),
    ("keys hue", ""),
    ("get", ""),
    ("get hue", ""),
    ("set hue=30 brightness=60 reset_pan=1", ""),
    ("set hue=999 power_line_frequency=0", "refused-value"),
    ("set control:tint=1", "unknown-key"),
    ("set power_line_frequency=often", "bad-value"),
    ("default hue", ""),
    ("restore hue", ""),
    ("restore reset_pan", "no-value"),
    ("save", ""),
    ("explain hue", ""),
    ("explain brightness", ""),
]

# What a device lacks that can do little.
TOY_LINES = [
    ("status", ""),
    ("keys", ""),
    ("get", ""),
    ("set contrast=7", "not-on-device"),
    ("text '(2353,6)'", "not-on-device"),
    ("set contrast=much", "bad-value"),
    ("restore contrast", "not-on-device"),
    ("explain contrast", ""),
    ("lens", ""),
    ("lens zoom in", "not-on-device"),
    ("light", ""),
    ("light 3", "not-settable"),
    ("weather", "not-settable"),
    ("snapshot /dev/null", ""),
    ("snapshot", "wrong-usage"),
    ("snapshot /none/picture.jpg", "not-written"),
    ("watch 1", ""),
    ("quit", ""),
]

# No camera here has a device that breaks, a mistake in its program, or a signal at the right moment.
NOT_PRODUCED = {"device-refused", "internal", "interrupted"}

SCHEMA = {}
PROGRAMS = {}
DOCUMENT = ""
WORK = ""


def validator(definition=""):
    """Of a whole document, or of the answer to one command."""
    schema = {"$ref": "#/$defs/" + definition, "$defs": SCHEMA["$defs"]} if definition else SCHEMA
    return jsonschema.Draft202012Validator(schema)


class Camera:
    """One that runs in a folder of its own and answers line by line."""

    def __init__(self, program="sensorcam", options=()):
        self.folder = tempfile.mkdtemp(dir=WORK)
        self.state = self.folder + "/state"
        self.command = [PROGRAMS[program], "--state", self.state, "--speed", "20", "--json", *options]
        self.process = None

    def __enter__(self):
        self.process = subprocess.Popen([*self.command, "shell"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.read()
        self.process.stdout.close()
        self.process.wait()
        shutil.rmtree(self.folder)

    def answers(self, line):
        """All documents of a command: watch has several, and "end" is its last event."""
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        documents = [json.loads(self.process.stdout.readline())]
        while documents[-1].get("event", "end") != "end":
            documents.append(json.loads(self.process.stdout.readline()))
        return documents


def run(command):
    ended = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                           text=True, check=False)
    return ended.returncode, [json.loads(line) for line in ended.stdout.splitlines()]


def code_of(document):
    return document["error"]["code"] if "error" in document else ""


def objects_of(value, place=()):
    """Each object in it with the way there."""
    if isinstance(value, dict):
        yield place, value
        for name, inner in value.items():
            yield from objects_of(inner, (*place, name))
    elif isinstance(value, list):
        for index, inner in enumerate(value):
            yield from objects_of(inner, (*place, index))


def at(document, place):
    for step in place:
        document = document[step]
    return document


class Answers(unittest.TestCase):
    """Gathered once, looked at by every test: (command or "", document)."""

    documents = []
    codes = set()
    commands = []

    @classmethod
    def setUpClass(cls):
        cls.mistakes = []
        cls.converse("sensorcam", (), LINES)
        cls.converse("toycam", (), TOY_LINES)
        cls.converse("devicecam", (), DEVICE_LINES)
        cls.converse("toycam", ("--model", "fisheye"), [("lens", "not-on-device"),
                                                         ("snapshot /dev/null", "no-picture")])
        cls.converse("sensorcam", ("--model", "lpr"), [("schemes", ""), ("explain", ""), ("window 0 on 8:00-9:00", ""),
                                                       ("schemes", ""), ("explain", "")])
        cls.spoil_files()
        cls.end_early()

    @classmethod
    def converse(cls, program, options, lines):
        with Camera(program, options) as camera:
            for line, code in lines:
                cls.take(line, camera.answers(line), code)

    @classmethod
    def take(cls, line, documents, code):
        if code_of(documents[-1]) != code:
            cls.mistakes.append(f"{line}: {documents[-1]}")
        cls.documents += documents
        cls.codes.add(code_of(documents[-1]))

    @classmethod
    def spoil_files(cls):
        with Camera() as camera:
            cls.take("status", camera.answers("status"), "")
            files = pathlib.Path(camera.state, "mnt/mtd")
            schemes = files / "code/config_file"
            for number in ("", *range(10)):
                (schemes / f"sensor0.cfg.new{number}").mkdir()
            cls.take("set", camera.answers("set brightness=60"), "")
            cls.take("save", camera.answers("save"), "not-written")
            (schemes / "sensor1.cfg").unlink()
            cls.take("window 1 on", camera.answers("window 1 on"), "not-found")
            (files / "log/SensorError.log").unlink(missing_ok=True)
            (files / "log/SensorError.log").mkdir(parents=True)
            cls.take("log", camera.answers("log"), "unreadable")

    @classmethod
    def end_early(cls):
        with Camera() as camera:
            command = [*camera.command, "exec", "status", "get nonsense", "status"]
            cls.take("mode", camera.answers("mode"), "")
            status, documents = run(command)
            cls.expect(status == 3, "already running", documents)
            cls.take("a second camera", documents, "no-camera")
            cls.take("quit", camera.answers("quit"), "")
            camera.process.wait()
            status, documents = run(command)
            cls.expect(status == 1 and len(documents) == 3, "one document a command", documents)
            cls.take("get nonsense", documents[:2], "unknown-key")
            cls.take("status, behind it", documents[2:], "not-run")
            status, documents = run([*camera.command, "--at", "noon", "exec", "status"])
            cls.expect(status == 2, "a wrong option", documents)
            cls.take("--at noon", documents, "wrong-usage")

    @classmethod
    def expect(cls, holds, what, documents):
        if not holds:
            cls.mistakes.append(f"{what}: {documents}")

    def names(self):
        return [row["name"] for row in self.documents[0]["commands"]]

    def definition(self, document):
        """Of its command; of any failure where there is no such command."""
        command = document.get("command", "")
        return command if command in self.names() and code_of(document) != "not-run" else "failure"

    def test_every_command_answers_as_it_should(self):
        self.assertEqual(self.mistakes, [])

    def test_every_answer_is_valid(self):
        for document in self.documents:
            for definition in ("", self.definition(document)):
                errors = [error.message for error in validator(definition).iter_errors(document)]
                self.assertEqual(errors, [], f"{definition}\n{document}")

    def test_every_command_of_the_table_has_succeeded_and_has_a_definition(self):
        succeeded = {document["command"] for document in self.documents if document["ok"]}
        self.assertEqual(succeeded, set(self.names()))
        listed = [entry["$ref"].removeprefix("#/$defs/") for entry in SCHEMA["anyOf"]]
        self.assertEqual(listed, [*self.names(), "failure"])

    def test_every_code_was_produced(self):
        words = set(SCHEMA["$defs"]["error"]["properties"]["code"]["enum"])
        self.assertEqual(self.codes - {""}, words - NOT_PRODUCED)

    def test_a_stray_member_anywhere_or_another_type_is_invalid(self):
        tried = set()
        for document in self.documents:
            definition = self.definition(document)
            check = validator(definition)
            for place, value in objects_of(document):
                kind = (definition, *(step for step in place if isinstance(step, str)))
                if (kind, "") not in tried:
                    tried.add((kind, ""))
                    changed = copy.deepcopy(document)
                    at(changed, place)["stray"] = 1
                    self.assertFalse(check.is_valid(changed), f"{kind}: a stray member")
                for name, member in value.items():
                    if (kind, name) in tried:
                        continue
                    tried.add((kind, name))
                    for other in (None, 7 if isinstance(member, (str, dict, list)) else "7"):
                        changed = copy.deepcopy(document)
                        at(changed, place)[name] = other
                        self.assertFalse(check.is_valid(changed), f"{kind} {name}: {other!r}")

    def test_the_examples_of_the_schema_are_valid_and_hold_every_member(self):
        for name in ("event", "storedValues"):
            definition = SCHEMA["$defs"][name]
            for example in definition["examples"]:
                self.assertTrue(validator(name).is_valid(example), example)
                self.assertFalse(validator(name).is_valid({**example, "stray": 1}), example)
            members = {member for example in definition["examples"] for member in example}
            self.assertEqual(members, set(definition["properties"]))

    def test_a_success_with_an_error_and_a_failure_without_one_are_invalid(self):
        error = {"code": "internal", "message": "m", "hint": "h"}
        self.assertTrue(validator().is_valid({"command": "quit", "ok": True}))
        self.assertFalse(validator().is_valid({"command": "quit", "ok": True, "error": error}))
        self.assertTrue(validator().is_valid({"command": "quit", "ok": False, "error": error}))
        self.assertFalse(validator().is_valid({"command": "quit", "ok": False}))


class Document(unittest.TestCase):
    """docs/JSON.md."""

    def test_its_examples_are_what_the_program_prints(self):
        examples = re.findall(r"^\$ sensorcam (.*)\n((?:\{.*\n)+)", DOCUMENT, re.MULTILINE)
        self.assertGreater(len(examples), 5)
        for arguments, output in examples:
            with tempfile.TemporaryDirectory(dir=WORK) as folder:
                _, documents = run([PROGRAMS["sensorcam"], "--state", folder + "/state", *shlex.split(arguments)])
                self.assertEqual(documents, [json.loads(line) for line in output.splitlines()], arguments)

    def test_it_lists_every_code_and_every_command(self):
        rows = re.findall(r"^\| `([a-z-]+)` \|", DOCUMENT, re.MULTILINE)
        definitions = [entry["$ref"].removeprefix("#/$defs/") for entry in SCHEMA["anyOf"]]
        self.assertEqual(rows, definitions[:-1] + SCHEMA["$defs"]["error"]["properties"]["code"]["enum"])


if __name__ == "__main__":
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    PROGRAMS["sensorcam"], PROGRAMS["toycam"], PROGRAMS["devicecam"], schema, text, folder = sys.argv[1:]
    SCHEMA.update(json.loads(pathlib.Path(schema).read_text("utf-8")))
    DOCUMENT = pathlib.Path(text).read_text("utf-8")
    os.makedirs(folder, exist_ok=True)
    WORK = tempfile.mkdtemp(dir=folder)
    try:
        unittest.main(argv=sys.argv[:1])
    finally:
        shutil.rmtree(WORK)
