"""What the tests of the extensions share: the driver beside the extensions, in a folder of its own.

QZ_EXTENSION_DRIVER is the command to run, for example "build/linux/extension_driver" or
"scripts/wine-run build/windows/extension_driver.exe".
"""

import glob
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

CHECKOUT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.append(os.path.join(CHECKOUT, "tests", "tool"))
import support as tool  # noqa: E402, of the program's tests

RUN_SECONDS = 120
COMMAND = shlex.split(os.environ.get("QZ_EXTENSION_DRIVER", "build/linux-asan/extension_driver"))
BUILD = os.path.dirname(os.path.join(CHECKOUT, COMMAND[-1]))
ON_WINDOWS = COMMAND[-1].endswith(".exe")

only_posix = unittest.skipIf(ON_WINDOWS, "needs long paths, limits or preloaded libraries of a POSIX system")


class Outcome:
    """What the driver printed."""

    def __init__(self, done):
        self.code = done.returncode
        self.text = done.stdout.decode("utf-8", "replace").replace("\r\n", "\n")
        self.errors = done.stderr.decode("utf-8", "replace")
        self.messages = []
        self.values = {}
        for line in self.text.splitlines():
            key, _, value = line.partition(" ")
            if key == "message":
                self.messages.append(value)
            else:
                self.values[key] = value

    def number(self, key):
        return int(self.values[key])

    def __str__(self):
        return "code %d\n-- output\n%s\n-- errors\n%s" % (self.code, self.text, self.errors)


class DriverTest(unittest.TestCase):
    maxDiff = 4000

    @classmethod
    def setUpClass(cls):
        cls.programs = tempfile.mkdtemp(prefix="qz-extensions-")
        cls.addClassCleanup(shutil.rmtree, cls.programs, True)
        cls.install()

    @classmethod
    def install(cls):
        """The driver with the extensions, as a program that is installed."""
        shutil.copy(os.path.join(CHECKOUT, COMMAND[-1]), cls.programs)
        for name in ("checksum.AXT", "gunzip.AXT"):
            shutil.copy(os.path.join(BUILD, "extensions", name), cls.programs)
        for name in glob.glob(os.path.join(BUILD, "qz.dll")):
            shutil.copy(name, cls.programs)

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="files-", dir=self.programs)

    def command(self):
        words = [os.path.join(CHECKOUT, word) for word in COMMAND[:-1]]
        return words + [os.path.join(self.programs, os.path.basename(COMMAND[-1]))]

    def drive(self, *arguments, code=0, environment=None, **options):
        full = dict(os.environ, **(environment or {}))
        done = subprocess.run(self.command() + list(arguments), cwd=self.folder, stdin=subprocess.DEVNULL, env=full,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=RUN_SECONDS, check=False,
                              **options)
        outcome = Outcome(done)
        self.assertEqual(outcome.code, code, outcome)
        return outcome

    def broken_reads(self, name):
        """The environment in which files whose name contains this cannot be read."""
        library = os.path.join(self.programs, "fail_reads.so")
        source = os.path.join(CHECKOUT, "tests", "tool", "fail_reads.c")
        subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source, "-ldl"], check=True)
        return {"LD_PRELOAD": library, "QZ_FAIL_READS": name,
                "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}

    def long_path(self, length):
        """The path of "f.gz" in a folder that it makes, of this length in all."""
        folders = ["x" * 200] * ((length - 6) // 201)
        left = length - len("/f.gz") - sum(len(folder) + 1 for folder in folders)
        path = "/".join(folders + ["y" * left])
        os.makedirs(os.path.join(self.folder, path))
        self.assertEqual(len(path + "/f.gz"), length)
        return path + "/f.gz"

    def serve(self, server):
        self.addCleanup(server.stop)
        return server

    def files(self, answers):
        """An HTTP server of files: path -> bytes, or a whole response; None: no answer at all."""
        def answer(number, request):
            path = request.split(" ")[1]
            if path not in answers:
                return [tool.http("404 Not", b"nothing here")]
            content = answers[path]
            if content is None:
                return ["stall"]
            if content.startswith(b"HTTP/"):
                return [content]
            return [tool.honest(content, request)]
        return self.serve(tool.HTTPServer(answer))

    def page(self, path):
        """An HTTP server with a web page in the place of the file."""
        return self.files({path: tool.http("200 OK", b"<html>", **{"Content-Type": "text/html"})})

    def names(self):
        return sorted(name for name in os.listdir(self.folder) if name != "driver.log")

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def write(self, name, data):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(data)

    def assert_completed(self, outcome):
        self.assertEqual((outcome.number("result"), outcome.number("reason"), outcome.number("state")), (5, 0, 14),
                         outcome)
        self.assertIn("ended", outcome.values, outcome)

    def assert_no_file_came(self, outcome, messages):
        """The transfer was driven to its end, and the agents said this of a web page."""
        self.assertEqual((outcome.number("result"), outcome.number("state")), (5, 14), outcome)
        self.assertEqual([line for line in outcome.messages if "no file came" in line], messages, outcome)
        self.assertIn("ended", outcome.values, outcome)

    def assert_failed(self, outcome, message):
        """An agent has failed: reason 17, with this as the last message."""
        self.assertEqual((outcome.number("result"), outcome.number("reason"), outcome.number("state")), (4, 17, 13),
                         outcome)
        self.assertEqual(outcome.messages[-1], message)
        self.assertIn("ended", outcome.values, outcome)

    def assert_short_steps(self, outcome, least):
        """Processor time has a clock on Linux; on Windows the time that others take counts too. A virtual machine that
        stands still counts everywhere, so one step may be longer."""
        self.assertGreaterEqual(outcome.number("agentsteps"), least, outcome)
        self.assertLessEqual(outcome.number("nextlongest"), 250 if ON_WINDOWS else 50, outcome)
