"""What one build writes the other reads: tests/exchange/exchange.cpp, built for both platforms, on one folder.

Run from the checkout after the builds linux-asan and windows: python3 -m unittest discover -s tests/exchange -p '*_test.py'
"""
import os
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LINUX = [os.path.join(ROOT, "build", "linux-asan", "exchange")]
WINDOWS = [os.path.join(ROOT, "scripts", "wine-run"), os.path.join(ROOT, "build", "windows", "exchange.exe")]
BUILDS = {"linux": LINUX, "windows": WINDOWS}
FILES = ["numbers-little", "numbers-network", "readable-servers-little", "readable-servers-network",
         "servers-little", "servers-network", "settings.conf", "synchro.conf", "texts-little", "texts-network",
         "transfer-servers-little", "transfer-servers-network"]


def read(folder, name):
    with open(os.path.join(folder, name), "rb") as file:
        return file.read()


class Exchange(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="qz-exchange-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, True)
        cls.written = {}
        for build in BUILDS:
            cls.written[build] = os.path.join(cls.folder, build)
            os.mkdir(cls.written[build])
            result = cls.run_build(build, "write", cls.written[build])
            assert result.returncode == 0, f"{build} cannot write:\n{result.stdout}{result.stderr}"

    @staticmethod
    def run_build(build, command, folder):
        return subprocess.run([*BUILDS[build], command], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, timeout=120, check=False)

    def assert_reads(self, build, folder):
        result = self.run_build(build, "read", folder)
        self.assertEqual(result.returncode, 0, f"{build}:\n{result.stdout}{result.stderr}")
        self.assertEqual(sorted(result.stdout.split()), FILES)

    def test_each_build_writes_every_file(self):
        for folder in self.written.values():
            self.assertEqual(sorted(os.listdir(folder)), FILES)

    def test_records_are_the_same_byte_for_byte(self):
        for name in FILES:
            if not name.endswith(".conf"):
                self.assertEqual(read(self.written["linux"], name), read(self.written["windows"], name), name)

    def test_configuration_files_are_the_same_but_for_the_line_ends(self):
        for name in FILES:
            if name.endswith(".conf"):
                linux, windows = (read(self.written[build], name) for build in ("linux", "windows"))
                self.assertNotIn(b"\r", linux)
                self.assertEqual(linux.replace(b"\n", b"\r\n"), windows, name)

    def test_each_build_reads_its_own_files(self):
        for build, folder in self.written.items():
            self.assert_reads(build, folder)

    def test_each_build_reads_the_files_of_the_other(self):
        self.assert_reads("linux", self.written["windows"])
        self.assert_reads("windows", self.written["linux"])

    def test_a_changed_byte_is_noticed_in_every_file(self):
        for name in FILES:
            folder = os.path.join(self.folder, "changed")
            shutil.copytree(self.written["linux"], folder)
            content = bytearray(read(folder, name))
            content[-2] ^= 1
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)
            result = self.run_build("linux", "read", folder)
            self.assertEqual(result.returncode, 1, f"{name}:\n{result.stdout}{result.stderr}")
            shutil.rmtree(folder)


if __name__ == "__main__":
    unittest.main()
