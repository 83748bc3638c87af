"""Every oddity kept on purpose is written down, and the test named for it exists."""
import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def test_names():
    names = set()
    for path in glob.glob(os.path.join(ROOT, "tests", "**", "*_test.cpp"), recursive=True):
        with open(path, encoding="utf-8") as file:
            for suite, name in re.findall(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", file.read()):
                names.add(f"{suite}.{name}")
    return names


class Compatibility(unittest.TestCase):
    def test_every_named_test_exists(self):
        with open(os.path.join(ROOT, "docs", "compatibility.md"), encoding="utf-8") as file:
            named = set(re.findall(r"`(\w+\.\w+)`", file.read()))
        named = {name for name in named if name[0].isupper() and not name.endswith((".lnk", ".dll"))}
        self.assertGreater(len(named), 40)
        self.assertEqual(named - test_names(), set())


if __name__ == "__main__":
    unittest.main()
