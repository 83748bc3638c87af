"""The script that runs Windows programs, on folders that come and go."""
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


if __name__ == "__main__":
    unittest.main()
