"""Every oddity kept on purpose is written down, and the test named for it exists."""
import collections
import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DOCUMENT = os.path.join(ROOT, "docs", "compatibility.md")
NO_CODE = ("build", "tests", "fuzz", "bench")


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def test_names():
    names = set()
    for path in glob.glob(os.path.join(ROOT, "tests", "**", "*_test.cpp"), recursive=True):
        for suite, name in re.findall(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", read(path)):
            names.add(f"{suite}.{name}")
    return names


def kept_lines():
    """The files with a "Kept:" line, and what follows that word."""
    for folder in sorted(set(next(os.walk(ROOT))[1]) - set(NO_CODE)):
        for path in sorted(glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True)):
            if path.endswith((".cpp", ".h", ".c")):
                for text in re.findall(r"\bKept: *(.*)", read(path)):
                    yield os.path.relpath(path, ROOT), text


def rows():
    """The cells of every row of the tables with a column "Where"."""
    for line in read(DOCUMENT).splitlines():
        cells = [cell.strip() for cell in line.strip("|").split(" | ")]
        if line.startswith("| ") and len(cells) == 4 and cells[2] != "Where":
            yield cells


def places():
    """(file, first words) of every place that a row names."""
    for cells in rows():
        yield from re.findall(r"`([\w./]+\.\w+)`: (.+?)(?=; `|$)", cells[2])


def matches(place, line):
    return place[0] == line[0] and line[1].startswith(place[1])


class Compatibility(unittest.TestCase):
    maxDiff = None

    def test_every_named_test_exists(self):
        named = set(re.findall(r"`(\w+\.\w+)`", "\n".join(cells[3] for cells in rows())))
        self.assertGreater(len(named), 40)
        self.assertEqual(named - test_names(), set())

    def test_every_row_names_a_test(self):
        self.assertEqual([cells[0] for cells in rows() if not re.search(r"`\w+\.\w+`", cells[3])], [])

    def test_every_line_in_the_code_has_a_row(self):
        """Name the file and the line's first words in the column "Where" of a row."""
        known = list(places())
        missing = [": Kept: ".join(line) for line in kept_lines() if not any(matches(place, line) for place in known)]
        self.assertEqual(missing, [])

    def test_every_place_that_a_row_names_is_one_line_of_the_code(self):
        lines = list(kept_lines())
        wrong = [": ".join(place) for place in places() if sum(matches(place, line) for line in lines) != 1]
        self.assertEqual(wrong, [])

    def test_no_line_of_the_tables_is_passed_over(self):
        tables = [line for line in read(DOCUMENT).splitlines() if line.startswith("| ")]
        headers = [line for line in tables if line.startswith("| What |")]
        self.assertEqual(len(tables) - len(headers), len(list(rows())))
        self.assertEqual(set(headers), {"| What | Why it stays | Where | Test |"})
        unreadable = [cells[2] for cells in rows()
                      if cells[2] != "-" and "; ".join("`%s`: %s" % place for place in re.findall(
                          r"`([\w./]+\.\w+)`: (.+?)(?=; `|$)", cells[2])) != cells[2]]
        self.assertEqual(unreadable, [])

    def test_no_two_rows_name_the_same_place(self):
        self.assertEqual([place for place, count in collections.Counter(places()).items() if count > 1], [])


if __name__ == "__main__":
    unittest.main()
