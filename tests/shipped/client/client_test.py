#!/usr/bin/python3
"""The description of "sensorcam serve" in the hands of strangers: a validator of OpenAPI, and a generator of clients,
whose client then goes through all paths of a running camera.
usage: client_test.py SENSORCAM NODE_MODULES WORK_FOLDER
NODE_MODULES is what "npm ci" makes of package.json and package-lock.json beside this file; ./check does it.
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
SENSORCAM, MODULES, WORK = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]


def node(folder, program, *arguments):
    """Runs a program of a package; its output belongs to the failure."""
    ended = subprocess.run(["node", str(program), *map(str, arguments)], cwd=folder, stdin=subprocess.DEVNULL,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if ended.returncode != 0:
        raise AssertionError(f"{program} {arguments}\n{ended.stdout}")


class Client(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not MODULES.is_dir():
            raise RuntimeError(f"{MODULES} is missing: ./check makes it, with npm")
        os.makedirs(WORK, exist_ok=True)
        cls.folder = pathlib.Path(tempfile.mkdtemp(dir=WORK)).resolve()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.camera = subprocess.Popen([SENSORCAM, "serve", "--state", str(cls.folder / "state"), "--port", "0"],
                                      stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        cls.addClassCleanup(cls.end_camera)
        start = "serving on "
        for line in cls.camera.stdout:
            if line.startswith(start):
                cls.address = line[len(start):].strip().rstrip("/")
                break
        cls.description = cls.folder / "openapi.json"
        with urllib.request.urlopen(cls.address + "/api/openapi.json", timeout=60) as answer:
            cls.description.write_bytes(answer.read())

    @classmethod
    def end_camera(cls):
        cls.camera.send_signal(signal.SIGTERM)
        cls.camera.stdout.read()
        cls.camera.stdout.close()
        cls.camera.wait()

    def test_the_description_is_openapi(self):
        node(self.folder, MODULES / "@seriousme/openapi-schema-validator/bin/validate-api-cli.js", self.description)

    def test_a_generated_client_goes_through_all_paths(self):
        for name in ("walk.ts", "tsconfig.json"):
            shutil.copy(HERE / name, self.folder)
        node(self.folder, MODULES / ".bin/openapi-ts", "--input", self.description, "--output", "generated",
             "--client", "@hey-api/client-fetch", "--no-log-file")
        node(self.folder, MODULES / ".bin/tsc", "--project", self.folder)
        node(self.folder, self.folder / "js/walk.js", self.address)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
