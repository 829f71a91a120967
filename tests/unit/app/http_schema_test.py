#!/usr/bin/python3
"""Answers of every path of "sensorcam serve", held against what its own description promises for path, method and
status, with a validator that knows nothing of the program.
usage: http_schema_test.py SENSORCAM TOYCAM DEVICECAM DOCUMENT README LIMITS WORK_FOLDER
LIMITS is the header with the server's limits.
Debian's Python by its full path: it has the validator, python3-jsonschema.
"""
import contextlib
import copy
import http.client
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

import jsonschema

KEY = "/api/parameters/{key}"
STEP = "/api/lens/{step}"
SCHEME = "/api/schemes/{scheme}"
WINDOW = "/api/schemes/{scheme}/window"
MORNING = {"enabled": True, "from": "06:00", "to": "08:00"}
TRIAL = "/api/trials/{trial}"
STREAM = "/api/stream.mjpg"
TRY = "/api/parameters?keep=false"
SCHEMES = {"format": "sensorcam-schemes", "version": 1, "model": "dome", "schemes": [
    {"scheme": 2, "window": MORNING, "values": {"KEY_BRIGHTNESS": 55, "KEY_CONTRAST": 300, "KEY_NONSENSE": 1}},
    {"scheme": 3, "window": {**MORNING, "from": "09:00"}},
    {"scheme": 9}]}
LOGIN = {"name": "anna", "password": "correct horse"}

# Method, path as the description has it, what stands for {...}, body, and the code of the problem; "" where it succeeds.
# Requests to one camera, in this order; LAST stands for the trial that was begun last.
REQUESTS = [
    ("GET", "/api/openapi.json", "", None, ""),
    ("GET", "/api/status", "", None, ""),
    ("GET", "/api/style", "", None, ""),
    ("GET", "/api/languages", "", None, ""),
    ("GET", "/api/language/{language}", "0", None, ""),
    ("GET", "/api/language/{language}", "77", None, "not-found"),
    ("GET", "/api/language/{language}", "x", None, "bad-value"),
    ("GET", "/api/common/{language}", "0", None, ""),
    ("GET", "/api/common/{language}", "77", None, "not-found"),
    ("GET", "/api/parameters", "", None, ""),
    ("PATCH", "/api/parameters", "", {"brightness": 60, "KEY_MIRROR": "both", "2353": 40}, ""),
    ("GET", "/api/trials", "", None, ""),
    ("PATCH", TRY, "", {"brightness": 61}, ""),
    ("GET", "/api/trials", "", None, ""),
    ("PATCH", TRY, "", {"brightness": 62}, "on-trial"),
    ("PATCH", TRY + "&trial=LAST", "", {"brightness": 62, "contrast": 44}, ""),
    ("PATCH", TRY + "&trial=0", "", {"brightness": 63}, "no-trial"),
    ("PATCH", "/api/parameters?trial=LAST", "", {"brightness": 63}, "bad-value"),
    ("PATCH", TRY, "", {"sharpness": 999}, "refused-value"),
    ("PUT", TRIAL, "LAST", None, ""),
    ("PUT", TRIAL, "0", None, "no-trial"),
    ("POST", TRIAL + "/keep", "0", None, "no-trial"),
    ("POST", TRIAL + "/keep", "LAST", None, ""),
    ("GET", "/api/unsaved", "", None, ""),
    ("PATCH", TRY, "", {"sharpness": 7}, ""),
    ("DELETE", TRIAL, "LAST", None, ""),
    ("DELETE", TRIAL, "LAST", None, "no-trial"),
    ("POST", "/api/pairs", "", None, ""),
    ("PATCH", "/api/parameters?dry-run=true", "", {"brightness": 62}, ""),
    ("PATCH", "/api/parameters?keep=perhaps", "", {"brightness": 62}, "bad-value"),
    ("PATCH", "/api/parameters", "", {"brightness": 61, "contrast": 999, "sharpness": 3}, "refused-value"),
    ("PATCH", "/api/parameters", "", {"mirror": "sideways"}, "bad-value"),
    ("PATCH", "/api/parameters", "", {"nonsense": 1}, "unknown-key"),
    ("PATCH", "/api/parameters", "", {"999": 1}, "not-on-device"),
    ("PATCH", "/api/parameters", "", {"153": 1}, "read-only"),  # day or night, by the command's number
    ("PATCH", "/api/parameters", "", {"iris_up": 1}, "wrong-mode"),
    ("PATCH", "/api/parameters", "", {str(key): 1 for key in range(5000, 5300)}, "too-many-values"),
    ("PATCH", "/api/parameters", "", {}, "bad-document"),
    ("PATCH", "/api/parameters", "", [1], "bad-document"),
    ("GET", KEY, "brightness", None, ""),
    ("GET", KEY, "KEY_MIRROR", None, ""),
    ("GET", KEY, "nonsense", None, "unknown-key"),
    ("POST", KEY + "/restore", "brightness", None, ""),
    ("POST", KEY + "/restore", "nonsense", None, "unknown-key"),
    ("POST", KEY + "/restore", "999", None, "no-value"),
    ("POST", KEY + "/default", "brightness", None, ""),
    ("POST", KEY + "/default", "999", None, "no-value"),
    ("GET", "/api/mode", "", None, ""),
    ("PUT", "/api/mode", "", {"mode": "manual"}, ""),
    ("PUT", "/api/mode", "", {"mode": "maybe"}, "bad-value"),
    ("PUT", "/api/mode", "", {}, "bad-document"),
    ("GET", "/api/scheme", "", None, ""),
    ("PUT", "/api/scheme", "", {"scheme": 2}, ""),
    ("PUT", "/api/scheme", "", {"scheme": 9}, "unknown-scheme"),
    ("GET", "/api/schemes", "", None, ""),
    ("GET", SCHEME, "1", None, ""),
    ("GET", SCHEME, "9", None, "unknown-scheme"),
    ("PUT", SCHEME, "1", {"brightness": 70}, ""),
    ("PUT", SCHEME, "9", {"brightness": 70}, "unknown-scheme"),
    ("PUT", SCHEME, "1", {"brightness": 700}, "refused-value"),
    ("PUT", SCHEME, "1", {"scheme_start_hour": 22, "scheme_end_hour": 6}, "window-refused"),
    ("PUT", SCHEME, "1", {"nonsense": 1}, "unknown-key"),
    ("PUT", SCHEME, "1", {"999": 1}, "not-on-device"),
    ("GET", WINDOW, "1", None, ""),
    ("GET", WINDOW, "4", None, "unknown-scheme"),
    ("PUT", WINDOW, "1", MORNING, ""),
    ("PUT", WINDOW, "9", MORNING, "unknown-scheme"),
    ("PUT", WINDOW, "1", {**MORNING, "from": "noon"}, "bad-value"),
    ("PUT", WINDOW, "1", {**MORNING, "from": "22:00"}, "window-refused"),
    ("PUT", WINDOW, "1", {"enabled": True}, ""),
    ("PUT", WINDOW, "1", {"to": "09:00"}, ""),
    ("PUT", WINDOW, "1", {}, "bad-document"),
    ("PUT", WINDOW, "1", {"form": "06:00"}, "bad-document"),
    ("POST", "/api/save", "", None, ""),
    ("POST", "/api/reload", "", None, ""),
    ("PUT", "/api/scheme", "", {"scheme": 4}, ""),
    ("POST", "/api/save", "", None, "no-file"),
    ("POST", "/api/reload", "", None, ""),
    ("PUT", "/api/scheme", "", {"scheme": 0}, ""),
    ("PATCH", "/api/parameters", "", {"scheme_start_hour": 22, "scheme_end_hour": 6}, ""),
    ("GET", "/api/schemes", "", None, ""),
    ("POST", "/api/save", "", None, "window-refused"),
    ("POST", "/api/reload", "", None, ""),
    ("GET", "/api/explain", "", None, ""),
    ("GET", "/api/export", "", None, ""),
    ("POST", "/api/import?dry-run=true", "", SCHEMES, ""),
    ("POST", "/api/import?dry-run=perhaps", "", SCHEMES, "bad-value"),
    ("POST", "/api/import", "", SCHEMES, ""),
    ("POST", "/api/import", "", {"format": "another"}, "bad-document"),
    ("PUT", "/api/mode", "", {"mode": "auto"}, ""),
    ("GET", "/api/lens", "", None, ""),
    ("PUT", "/api/lens", "", {"focusMode": 1}, ""),
    ("PUT", "/api/lens", "", {"zoom": 1, "focus": 1}, "bad-document"),
    ("PUT", "/api/lens", "", {"zoom": 99999}, "refused-value"),
    ("PUT", "/api/lens", "", {"zoom": 20000}, ""),
    ("POST", STEP, "focus-near", None, ""),
    ("POST", STEP, "sideways", None, "not-found"),
    ("POST", STEP, "iris-open", None, ""),
    ("POST", STEP, "reset", None, ""),
    ("PUT", "/api/lens", "", {"zoom": 17000}, "busy"),
    ("GET", "/api/world", "", None, ""),
    ("PUT", "/api/world", "", {"light": 42.5, "distance": 3}, ""),
    ("PUT", "/api/world", "", {"light": "daylight", "time": "12:00"}, ""),
    ("PUT", "/api/world", "", {"haze": 40, "wind": 0}, ""),
    ("PUT", "/api/world", "", {"haze": 101}, "bad-value"),
    ("PUT", "/api/world", "", {"time": "24:00"}, "bad-value"),
    ("PUT", "/api/world", "", {"speed": 2, "time": "12:00"}, ""),
    ("PUT", "/api/world", "", {"speed": 0}, "bad-value"),
    ("PUT", "/api/world", "", {"speed": 1}, ""),
    ("PUT", "/api/world", "", {"faults": [{"key": "contrast", "status": -2, "after": 1, "count": 2}, {"key": 34}]}, ""),
    ("PUT", "/api/world", "", {"faults": [{"key": "nonsense"}]}, "unknown-key"),
    ("PUT", "/api/world", "", {"faults": []}, ""),
    ("PUT", "/api/world", "", {"gravity": 1}, "bad-document"),
    ("GET", "/api/diagnostics", "", None, ""),
    ("PUT", "/api/diagnostics", "", {"level": 3}, ""),
    ("PUT", "/api/diagnostics", "", {"level": 2, "assertions": True}, ""),
    ("PUT", "/api/diagnostics", "", {"marker": False}, ""),
    ("PUT", "/api/diagnostics", "", {"level": "loud"}, "bad-document"),
    ("PUT", "/api/diagnostics", "", {"level": 2, "marker": False}, "bad-document"),
    ("GET", "/api/log", "", None, ""),
    ("GET", "/api/log?lines=1", "", None, ""),
    ("GET", "/api/log?lines=all", "", None, "bad-value"),
    ("GET", "/api/output", "", None, ""),
    ("GET", "/api/output?lines=1", "", None, ""),
    ("GET", "/api/output?lines=-1", "", None, "bad-value"),
    ("GET", "/api/session", "", None, ""),
    ("POST", "/api/session", "", LOGIN, "no-users"),
    ("DELETE", "/api/session", "", None, ""),
    ("POST", "/api/reset", "", None, ""),
]

CONTROLS = "/api/schemes/{scheme}/controls"

# Of a camera with a real device, in scheme 0.
DEVICE_REQUESTS = [
    ("GET", "/api/status", "", None, ""),
    ("GET", "/api/device", "", None, ""),
    ("GET", KEY, "brightness", None, ""),
    ("GET", "/api/controls", "", None, ""),
    ("PATCH", "/api/controls", "", {"hue": 30, "power_line_frequency": "60 Hz", "reset_pan": 1}, ""),
    ("PATCH", "/api/controls?dry-run=true", "", {"hue": 31}, ""),
    ("PATCH", "/api/controls", "", {"hue": 999, "power_line_frequency": 1}, "refused-value"),
    ("PATCH", "/api/controls", "", {"power_line_frequency": "often"}, "bad-value"),
    ("PATCH", "/api/controls", "", {"tint": 1}, "unknown-key"),
    ("PATCH", "/api/controls", "", {}, "bad-document"),
    ("GET", "/api/unsaved", "", None, ""),
    ("GET", CONTROLS, "1", None, ""),
    ("GET", CONTROLS, "9", None, "unknown-scheme"),
    ("PUT", CONTROLS, "1", {"hue": -9}, ""),
    ("PUT", CONTROLS, "1", {"reset_pan": 1}, "bad-value"),
    ("PUT", CONTROLS, "1", {"hue": 999}, "refused-value"),
    ("GET", "/api/export", "", None, ""),
    ("POST", "/api/import", "", {**SCHEMES, "schemes": [
        {"scheme": 1, "controls": {"hue": 9, "tint": 1, "power_line_frequency": 7, "reset_pan": 1}}]}, ""),
]

# Of a device that can do little.
TOY_REQUESTS = [
    ("GET", "/api/status", "", None, ""),
    ("GET", "/api/parameters", "", None, ""),
    ("PATCH", "/api/parameters", "", {"contrast": 7}, "not-on-device"),
    ("POST", KEY + "/restore", "contrast", None, "not-on-device"),
    ("GET", KEY, "contrast", None, ""),
    ("GET", "/api/snapshot.jpg", "", None, ""),
    ("GET", "/api/world", "", None, "not-settable"),
    ("PUT", "/api/world", "", {"light": 3}, "not-settable"),
]

PROGRAMS = {}
TEXTS = {}
WORK = ""


class Connection(http.client.HTTPConnection):
    """To a Unix socket."""

    def __init__(self, path):
        super().__init__("localhost", timeout=60)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


class Camera:
    """One that serves, in a folder of its own."""

    def __init__(self, program, *options):
        self.folder = tempfile.mkdtemp(dir=WORK)
        self.state = pathlib.Path(self.folder, "state")
        self.path = os.path.relpath(self.folder + "/socket")  # a socket's path is short
        self.port = None
        self.token = ""
        command = [PROGRAMS[program], "serve", "--state", str(self.state), "--socket", self.path, *options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def __enter__(self):
        for line in self.process.stdout:
            if port := re.fullmatch("serving on http://127.0.0.1:([0-9]+)/\n", line):
                self.port = int(port[1])
            if line == "serving on the socket\n":
                return self
        raise RuntimeError("the camera does not serve")

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.stdout.read()
        self.process.stdout.close()
        self.process.wait()
        shutil.rmtree(self.folder)

    def wait_for_scheme(self):
        """The clock chooses one within a second of the camera's."""
        while "scheme" not in json.loads(self.ask("GET", "/api/scheme")[2]):
            time.sleep(0.05)

    def events(self, path, headers):
        """Name and data of each from now on; waits for more."""
        connection = Connection(self.path)
        connection.request("GET", path, headers=headers)
        return self.read_events(connection, connection.getresponse())

    @staticmethod
    def read_events(connection, response):
        with contextlib.closing(connection), response:
            name = ""
            while line := response.readline().decode():
                if line.startswith("event: "):
                    name = line.removeprefix("event: ").rstrip()
                elif line.startswith("data: "):
                    yield name, json.loads(line.removeprefix("data: "))

    def curl(self, line):
        """What curl does, as far as the documents use it."""
        for name, value in [("$camera", "http://localhost"), ("$guarded", "http://localhost"), ("$usb", "http://localhost"), ("$token", self.token)]:
            line = line.replace(name, value)
        arguments = shlex.split(line, comments=True)[1:]
        method, body, target, headers = "GET", None, None, {}
        while arguments:
            argument = arguments.pop(0)
            if argument == "-X":
                method = arguments.pop(0)
            elif argument == "--json":
                body = json.loads(arguments.pop(0))
            elif argument == "-H":
                headers.update([arguments.pop(0).split(": ")])
            else:
                target = argument.removeprefix("http://localhost")
        return self.ask(method, target, body, headers)

    def ask(self, method, path, body=None, headers=None):
        """By the port where there is one."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port) if self.port else Connection(self.path)
        headers = dict(headers or {})
        if body is not None:
            headers.setdefault("Content-Type", "application/json")
        connection.request(method, path, json.dumps(body) if body is not None else None, headers)
        response = connection.getresponse()
        text = response.read().decode(errors="replace")
        connection.close()
        self.token = json.loads(text)["token"] if path == "/api/session" and '"token"' in text else self.token
        return response.status, response.headers, text


def file_of_users(folder):
    """Of otto, an operator, and anna, an administrator."""
    path = folder + "/users"
    for role, name in [("operator", "otto"), ("administrator", LOGIN["name"])]:
        subprocess.run([PROGRAMS["sensorcam"], "passwd", "--role", role, path, name], check=True, text=True,
                       input=LOGIN["password"] + "\n", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return path


def guarded_camera():
    """On a port, with those users."""
    return Camera("sensorcam", "--port", "0", "--users", file_of_users(tempfile.mkdtemp(dir=WORK)))


class Answer:
    """With what was asked."""

    def __init__(self, method, path, answer):
        self.method, self.path = method, path.partition("?")[0]
        self.status, self.headers, self.text = answer
        self.type = self.headers["Content-Type"].partition(";")[0]

    def json(self):
        return json.loads(self.text) if self.type.endswith("json") else self.text

    def code(self):
        return self.json()["code"] if self.status != 200 else ""

    def __str__(self):
        return f"{self.method} {self.path} {self.status}\n{self.text[:2000]}"


class Answers(unittest.TestCase):
    maxDiff = None

    """Gathered once, looked at by every test."""

    answers = []
    description = {}
    trial = 0  # that was begun last

    @classmethod
    def setUpClass(cls):
        cls.mistakes = []
        with Camera("sensorcam") as camera:
            camera.wait_for_scheme()  # a trial ends with the scheme in force
            cls.converse(camera, REQUESTS)
            cls.description = cls.answers[0].json()
            cls.refuse(camera)
        with Camera("toycam") as camera:
            cls.converse(camera, TOY_REQUESTS)
        with Camera("devicecam") as camera:
            camera.wait_for_scheme()
            cls.converse(camera, DEVICE_REQUESTS)
        with Camera("toycam", "--model", "fisheye") as camera:
            cls.converse(camera, [("GET", "/api/lens", "", None, "not-on-device"),
                                  *(("GET", path, "", None, "no-picture") for path in (STREAM, "/api/snapshot.jpg"))])
        with Camera("sensorcam", "--model", "lpr") as camera:
            cls.converse(camera, [("GET", path, "", None, "") for path in ("/api/schemes", "/api/explain", "/api/lens")])
        with Camera("sensorcam") as camera:
            cls.spoil_files(camera)
        with guarded_camera() as camera:
            cls.log_in(camera)

    @classmethod
    def converse(cls, camera, requests):
        for method, path, place, body, code in requests:
            target = path.replace("LAST", str(cls.trial))
            place = str(cls.trial) if place == "LAST" else place
            if place:
                target = path[:path.index("{")] + place + path[path.index("}") + 1:]
            cls.take(method, path, camera.ask(method, target, body), code)

    @classmethod
    def take(cls, method, path, answer, code):
        cls.answers.append(Answer(method, path, answer))
        told = cls.answers[-1].json()
        if path.startswith(TRY) and "trial" in told:
            cls.trial = told["trial"]["trial"]
        if cls.answers[-1].code() != code:
            cls.mistakes.append(f"wanted {code or 'success'}: {cls.answers[-1]}")

    @classmethod
    def refuse(cls, camera):
        """What the server itself refuses."""
        path = "/api/scheme"
        cls.take("PUT", path, camera.ask("PUT", path, {"scheme": 1}, {"Content-Type": "text/plain"}), "not-json")
        cls.take("PUT", path, camera.ask("PUT", path, {"scheme": 1}, {"If-Match": '"1"'}), "changed-meanwhile")
        cls.take("PUT", path, camera.ask("PUT", path, None, {"Content-Length": str(1 << 21)}), "too-large")
        cls.take("GET", path, camera.ask("GET", path + "?a=1&a=2"), "bad-request")

    @classmethod
    def log_in(cls, camera):
        def ask(method, path, code, body=None, **headers):
            cls.take(method, path, camera.ask(method, path, body, headers), code)

        session = "/api/session"
        wrong = {**LOGIN, "password": "wrong"}
        ask("GET", session, "no-session")
        ask("PATCH", "/api/parameters", "no-session", {"brightness": 60})
        ask("GET", "/api/trace", "no-session")
        ask("GET", "/api/status", "wrong-host", Host="camera.example")
        ask("POST", session, "bad-document", {"name": "otto"})
        ask("POST", session, "wrong-login", wrong)
        ask("POST", session, "", {**LOGIN, "name": "otto"})
        otto = {"Authorization": "Bearer " + camera.token}
        ask("GET", session, "", **otto)
        ask("PATCH", "/api/parameters", "", {"brightness": 60}, **otto)
        ask("POST", "/api/reset", "wrong-role", **otto)
        ask("PATCH", "/api/parameters", "wrong-origin", {"brightness": 60}, **otto, Origin="http://elsewhere.example")
        ask("DELETE", session, "", **otto)
        ask("GET", session, "no-session", **otto)
        ask("POST", session, "", LOGIN)
        ask("POST", "/api/reset", "", Authorization="Bearer " + camera.token)
        ask("GET", "/api/status", "too-large", Long="x" * (17 << 10))
        while cls.answers[-1].code() != "too-many-logins" and len(cls.answers) < 1000:
            cls.take("POST", session, answer := camera.ask("POST", session, wrong), json.loads(answer[2])["code"])
        cls.take("POST", session, camera.ask("POST", session, LOGIN), "too-many-logins")

    @classmethod
    def spoil_files(cls, camera):
        files = camera.state / "mnt/mtd"
        schemes = files / "code/config_file"
        camera.ask("PATCH", "/api/parameters", {"brightness": 60})
        camera.ask("PUT", "/api/mode", {"mode": "manual"})
        camera.ask("PUT", "/api/scheme", {"scheme": 0})
        for number in ("", *range(10)):
            (schemes / f"sensor0.cfg.new{number}").mkdir()
        (schemes / "sensor1.cfg").unlink()
        (files / "log/SensorError.log").unlink(missing_ok=True)
        (files / "log/SensorError.log").mkdir(parents=True)
        cls.converse(camera, [
            ("POST", "/api/save", "", None, "not-written"),
            ("PUT", WINDOW, "1", MORNING, "not-found"),
            ("GET", "/api/log", "", None, "unreadable"),
        ])

    def promise(self, answer):
        """The schema of this answer."""
        operation = self.description["paths"][answer.path][answer.method.lower()]
        response = operation["responses"].get(str(answer.status))
        self.assertIsNotNone(response, f"a status that is not described: {answer}")
        self.assertIn(answer.type, response["content"], str(answer))
        return {**response["content"][answer.type]["schema"], "components": self.description["components"]}

    def test_every_request_is_answered_as_it_should_be(self):
        self.assertEqual(self.mistakes, [])

    def test_every_answer_is_as_described(self):
        for answer in self.answers:
            check = jsonschema.Draft202012Validator(self.promise(answer))
            self.assertEqual([error.message for error in check.iter_errors(answer.json())], [], str(answer))

    def test_every_refusal_says_what_to_do(self):
        for answer in self.answers:
            if answer.status != 200:
                self.assertTrue(answer.json().get("hint"), str(answer))

    def test_every_operation_but_the_streams_was_answered(self):
        described = {(method.upper(), path) for path, operations in self.description["paths"].items()
                     for method in operations}
        succeeded = {(answer.method, answer.path) for answer in self.answers if answer.status == 200}
        self.assertEqual(described - succeeded, {("GET", "/api/events"), ("GET", "/api/trace"), ("GET", STREAM)})

    def test_every_role_is_told(self):
        """An operation is refused to those who may less than its role."""
        roles = ["none", "viewer", "operator", "administrator"]
        told = {(method.upper(), path): roles.index(operation["x-role"])
                for path, operations in self.description["paths"].items() for method, operation in operations.items()}
        self.assertEqual(set(told.values()), {0, 1, 2, 3})
        for (method, path), role in told.items():
            operation = self.description["paths"][path][method.lower()]
            codes = str(operation["responses"])
            self.assertEqual((role > 0, role > 1), ("'no-session'" in codes, "'wrong-role'" in codes), path)
            self.assertEqual(role == 0, operation.get("security") == [], path)

    def test_a_stray_member_or_another_type_is_not_as_described(self):
        for answer in self.answers:
            if not answer.type.endswith("json") or answer.path == "/api/openapi.json":
                continue
            check = jsonschema.Draft202012Validator(self.promise(answer))
            if answer.path != "/api/export" or answer.status != 200:  # what comes back may have more in it
                self.assertFalse(check.is_valid({**answer.json(), "stray": 1}), str(answer))
            for name, value in answer.json().items():
                changed = copy.deepcopy(answer.json())
                changed[name] = None if name == "result" else 7 if isinstance(value, (str, dict, list)) else "7"
                self.assertFalse(check.is_valid(changed), f"{name} of {answer}")

    def test_bodies_are_as_described(self):
        for method, path, _, body, code in REQUESTS:
            if body is None or code in ("bad-document", "bad-value"):
                continue
            operation = self.description["paths"][path.partition("?")[0]][method.lower()]
            schema = operation["requestBody"]["content"]["application/json"]["schema"]
            jsonschema.validate(body, {**schema, "components": self.description["components"]})

    def test_every_success_names_its_revision(self):
        for answer in self.answers:
            if answer.status == 200:
                self.assertRegex(answer.headers["ETag"], '^".+"$', str(answer))

    def event_check(self, path):
        stream = self.description["paths"][path]["get"]["responses"]["200"]["content"]["text/event-stream"]
        return jsonschema.Draft202012Validator({**stream["schema"], "components": self.description["components"]})

    def test_every_line_of_the_trace_is_as_described(self):
        check = self.event_check("/api/trace")
        with Camera("sensorcam") as camera:
            camera.ask("PUT", "/api/diagnostics", {"level": 6})
            with contextlib.closing(camera.events("/api/trace?filter=KEY_CONTRAST", {})) as lines:
                camera.ask("PATCH", "/api/parameters", {"brightness": 60})
                camera.ask("PATCH", "/api/parameters", {"contrast": 60})
                name, data = next(lines)
        self.assertEqual([error.message for error in check.iter_errors(data)], [])
        self.assertEqual((name, "KEY_CONTRAST" in data["line"]), ("line", True), data)
        self.assertTrue(check.is_valid({"lines": 1}))
        self.assertFalse(check.is_valid({"lines": 0}) or check.is_valid({"line": "", "lines": 1}))

    def test_every_event_is_as_described(self):
        check = self.event_check("/api/events")
        wanted = {"values", "scheme", "mode", "night", "saved", "reset", "trial"}
        with Camera("sensorcam", "--speed", "20") as camera:
            seen = camera.ask("PATCH", "/api/parameters", {"contrast": 40})[1]["ETag"].strip('"')
            for method, path, body in [("PUT", "/api/mode", {"mode": "manual"}), ("PUT", "/api/scheme", {"scheme": 1}),
                                       ("PATCH", "/api/parameters", {"brightness": 60}), ("POST", "/api/save", None),
                                       ("PATCH", TRY, {"contrast": 61}),
                                       ("POST", "/api/reset", None), ("PUT", "/api/world", {"light": 0})]:
                self.assertEqual(camera.ask(method, path, body)[0], 200, path)
            events = camera.events("/api/events", {"Last-Event-ID": seen})
            for name, data in events:
                self.assertEqual([error.message for error in check.iter_errors(data)], [], str(data))
                self.assertEqual(name, data["event"])
                wanted.discard(name)
                if not wanted:
                    break
            events.close()
            events = camera.events("/api/events", {"Last-Event-ID": "of another start"})
            name, data = next(events)
            self.assertEqual((name, check.is_valid(data)), ("state", True))
            events.close()

    def test_a_snapshot_and_every_part_of_the_stream_have_the_headers_that_are_described(self):
        described = self.description["paths"]["/api/snapshot.jpg"]["get"]["responses"]["200"]["headers"]
        frames = []
        with Camera("toycam") as camera:
            frames.append(camera.ask("GET", "/api/snapshot.jpg")[1])
            connection = Connection(camera.path)
            connection.request("GET", STREAM)
            with contextlib.closing(connection), connection.getresponse() as stream:
                self.assertEqual(stream.headers["Content-Type"], "multipart/x-mixed-replace; boundary=frame")
                for _ in range(3):
                    self.assertEqual(stream.readline(), b"--frame\r\n")
                    frames.append(http.client.parse_headers(stream))
                    self.assertEqual(stream.read(int(frames[-1]["Content-Length"])), b"\xff\xd8\xff\xd9")
                    self.assertEqual(stream.readline(), b"\r\n")
        for frame in frames:
            self.assertEqual((frame["Content-Type"], frame["Content-Length"]), ("image/jpeg", "4"))
            told = {name: json.loads(text) for name, text in frame.items() if name.startswith("X-Frame-")}
            self.assertEqual(set(told), set(described) - {"ETag"})
            for name, value in told.items():
                jsonschema.validate(value, described[name]["schema"])
        numbers = [int(frame["X-Frame-Number"]) for frame in frames[1:]]
        self.assertEqual(numbers, sorted(set(numbers)))

    def test_what_was_read_is_read_again_by_its_head_alone(self):
        with Camera("sensorcam") as camera:
            for path in ("/api/status", "/api/style", "/api/openapi.json"):
                status, headers, text = camera.ask("HEAD", path)
                self.assertEqual((status, text), (200, ""), path)
                self.assertIn(headers["Content-Type"].partition(";")[0],
                              self.description["paths"][path]["get"]["responses"]["200"]["content"], path)


def section_of_document(name):
    return re.search(f"^## {name}\n(.*?)(?=^## |\\Z)", TEXTS["document"], re.DOTALL | re.MULTILINE)[1]


class Documents(unittest.TestCase):
    """docs/HTTP.md and README.md."""

    maxDiff = None

    def test_the_examples_are_what_the_camera_answers(self):
        examples = re.findall(r"^\$ (curl (?!-N).*)\n((?:(?!```).*\n)+)", TEXTS["document"], re.MULTILINE)
        self.assertGreater(len(examples), 30)
        trial, last = re.search(r'"trial":(\d+)', TEXTS["document"])[1], ""
        with Camera("sensorcam", "--at", "07:58") as camera, guarded_camera() as guarded, \
                Camera("devicecam") as usb:
            usb.wait_for_scheme()
            camera.wait_for_scheme()
            for line, wanted in examples:
                asked = guarded if "$guarded" in line else usb if "$usb" in line else camera
                status, _, found = asked.curl(line.replace(trial, last))
                self.assertEqual(status == 200, re.search(r'"status":[45]\d\d', wanted) is None, f"{line}\n{found}")
                begun = re.search(r'"trial":(\d+)', found)
                last = begun[1] if begun else last
                found = found.replace(last, trial) if last else found
                found = re.sub(r'"secondsLeft":[0-9.]+', '"secondsLeft":14.9', found)
                found = re.sub(r'"time":"07:\d\d"', '"time":"07:58"', found.rstrip("\n"))
                begin, cut, _ = wanted.rstrip("\n").partition("…")
                self.assertEqual(found[:len(begin)] if cut else found, begin, line)

    def test_every_command_of_the_readme_succeeds(self):
        lines = re.findall(r"^curl (?!-N).*", TEXTS["readme"], re.MULTILINE)
        self.assertGreater(len(lines), 25)
        with Camera("sensorcam") as camera:
            camera.wait_for_scheme()
            for line in lines:
                status, _, text = camera.curl(line)
                self.assertEqual(status, 200, f"{line}\n{text}")

    def test_every_path_and_every_code_is_told(self):
        with Camera("sensorcam") as camera:
            description = json.loads(camera.ask("GET", "/api/openapi.json")[2])
        codes = {("no-such-path", "404"), ("no-such-method", "405")}
        for path, operations in description["paths"].items():
            pattern = re.sub(r"\\{\w+\\}", "[^/ ]+", re.escape(path)) + r"[ '\n]"
            self.assertRegex(TEXTS["document"], r"curl .*\$(?:camera|guarded|usb)" + pattern, path)
            for operation in operations.values():
                for status, response in operation["responses"].items():
                    codes |= {(code, status) for code in response["description"].split(", ") if status != "200"}
        rows = re.findall(r"^\| `([a-z-]+)` \| ([0-9, ]+) \|", section_of_document("Errors"), re.MULTILINE)
        self.assertEqual({(code, status) for code, statuses in rows for status in statuses.split(", ")}, codes)

    def test_every_event_is_told(self):
        with Camera("sensorcam") as camera:
            description = json.loads(camera.ask("GET", "/api/openapi.json")[2])
        words = description["components"]["schemas"]["event"]["properties"]["event"]["enum"]
        rows = re.findall(r"^\| `([a-z]+)` \| ", section_of_document("Events"), re.MULTILINE)
        self.assertEqual(sorted(rows), sorted([*words, "state"]))

    def test_the_limits_are_those_of_the_server(self):
        units = {"": 1, "KB": 1 << 10, "MB": 1 << 20, "s": 1000}
        rows = re.findall(r"^\| `(\w+)` \| (\d+) ?(KB|MB|s|) \|", section_of_document("Limits"), re.MULTILINE)
        told = {name: int(number) * units[unit] for name, number, unit in rows}
        struct = re.search(r"struct Limits\n\{\n(.*?)\n\};", TEXTS["limits"], re.DOTALL)[1]
        limits = {}
        member = re.compile(r"^ *([\w:]+) (\w+)(?: = |\{)([\d']+)(?: << (\d+))?", re.MULTILINE)
        for kind, name, value, shift in member.findall(struct):
            scale = 1000 if kind == "std::chrono::seconds" else 1
            limits[name] = (int(value.replace("'", "")) << int(shift or 0)) * scale
        self.assertEqual(len(limits), struct.count(";"))
        self.assertEqual(told, limits)


if __name__ == "__main__":
    PROGRAMS["sensorcam"], PROGRAMS["toycam"], PROGRAMS["devicecam"], document, readme, limits, folder = sys.argv[1:]
    TEXTS["document"] = pathlib.Path(document).read_text("utf-8")
    TEXTS["readme"] = pathlib.Path(readme).read_text("utf-8")
    TEXTS["limits"] = pathlib.Path(limits).read_text("utf-8")
    os.makedirs(folder, exist_ok=True)
    WORK = tempfile.mkdtemp(dir=folder)
    try:
        unittest.main(argv=sys.argv[:1])
    finally:
        shutil.rmtree(WORK)
