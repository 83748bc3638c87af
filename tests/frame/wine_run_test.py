"""The script that runs Windows programs: on folders that come and go, and in several Wines at once."""
import os
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SOURCE = '#include <stdio.h>\nint main(void) { puts("run: %s"); return 0; }\n'


class Folders(unittest.TestCase):
    # Outside /tmp and the checkout, which are in Wine's root already: only there a mount outlives its folder.
    FOLDER = "/var/tmp/qz-wine-run-test"

    def tearDown(self):
        if os.path.exists(self.FOLDER):
            shutil.rmtree(self.FOLDER)

    def run_in_new_checkout(self, word):
        os.makedirs(os.path.join(self.FOLDER, "scripts"))
        shutil.copy(os.path.join(ROOT, "scripts", "wine-run"), os.path.join(self.FOLDER, "scripts"))
        program = os.path.join(self.FOLDER, "say.exe")
        with tempfile.NamedTemporaryFile("w", suffix=".c") as source:
            source.write(SOURCE % word)
            source.flush()
            subprocess.run(["i686-w64-mingw32-gcc-posix", source.name, "-o", program], check=True)
        return subprocess.run([os.path.join(self.FOLDER, "scripts", "wine-run"), program], capture_output=True,
                              text=True, timeout=300, cwd=self.FOLDER)

    def test_a_checkout_made_again_in_the_same_place_is_the_new_one(self):
        self.assertIn("run: first", self.run_in_new_checkout("first").stdout)
        shutil.rmtree(self.FOLDER)
        result = self.run_in_new_checkout("second")
        self.assertIn("run: second", result.stdout, result)


class Lanes(unittest.TestCase):
    SOURCE = ('#include <stdio.h>\n#include <windows.h>\n'
              'int main(void) { puts("begun"); fflush(stdout); Sleep(3000); puts("ended"); return 0; }\n')

    def wine_run(self, lane):
        return dict(args=[os.path.join(ROOT, "scripts", "wine-run")], env=dict(os.environ, QZ_WINE_LANE=lane))

    def stop(self, lane):
        command = self.wine_run(lane)
        subprocess.run(command["args"] + ["--stop"], env=command["env"], check=True)

    def start(self, folder):
        program = os.path.join(folder, "wait.exe")
        source = os.path.join(folder, "wait.c")
        with open(source, "w", encoding="utf-8") as file:
            file.write(self.SOURCE)
        subprocess.run(["i686-w64-mingw32-gcc-posix", source, "-o", program], check=True)
        command = self.wine_run("frame")
        self.addCleanup(self.stop, "frame")
        process = subprocess.Popen(command["args"] + [program], env=command["env"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.assertEqual(process.stdout.readline().strip(), "begun")
        return process

    def test_one_is_stopped_without_the_other(self):
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            process = self.start(folder)
            self.stop("other")
            self.assertEqual(process.stdout.readline().strip(), "ended")
            self.assertEqual(process.wait(60), 0)
            process = self.start(folder)
            self.stop("frame")
            self.assertEqual(process.stdout.readline(), "")
            self.assertNotEqual(process.wait(60), 0)


if __name__ == "__main__":
    unittest.main()
