"""The lists of scripts/mutations fit the code, and scripts/mutate judges as it says."""
import importlib.machinery
import importlib.util
import io
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPT = os.path.join(ROOT, "scripts", "mutate")


def load_script():
    loader = importlib.machinery.SourceFileLoader("mutate", SCRIPT)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
    sys.dont_write_bytecode = True
    loader.exec_module(module)
    return module


mutate = load_script()


def one(line, path="os/a.cpp"):
    return mutate.parse("list", "[%s]\n%s\n" % (path, line))[0]


class Lists(unittest.TestCase):
    def test_every_replacement_fits_the_code(self):
        mutations = mutate.load()
        self.assertGreaterEqual(len(mutations), 200)
        self.assertEqual(mutate.check(mutations), [])

    def test_every_part_of_the_library_has_some(self):
        folders = {os.path.dirname(mutation.path) for mutation in mutate.load()}
        self.assertLessEqual({"os/core", "os/file", "os/process", "os/shell", "os/text", "os/time", "os/platform/posix",
                              "containers", "stream", "net"}, folders)

    def test_paths_choose_files_and_folders(self):
        self.assertEqual({m.path for m in mutate.load(["containers/stack.cpp"])}, {"containers/stack.cpp"})
        self.assertEqual({os.path.dirname(m.path) for m in mutate.load(["stream/"])}, {"stream"})
        self.assertEqual(mutate.load(["containers/sta"]), [])

    def test_a_line_of_a_list_chooses_one(self):
        first = mutate.load(["containers"])[0]
        self.assertEqual([str(m) for m in mutate.load([first.place])], [str(first)])


class Replacements(unittest.TestCase):
    def test_text_must_stand_once(self):
        self.assertEqual(one("a < b => a <= b").apply("x\nif (a < b)\n"), ("x\nif (a <= b)\n", 2))
        for text in ("no such", "a < b a < b"):
            with self.assertRaises(mutate.Wrong):
                one("a < b => a <= b").apply(text)

    def test_a_place_can_be_given(self):
        self.assertEqual(one("@2 1 => 2").apply("1 1 1")[0], "1 2 1")
        with self.assertRaises(mutate.Wrong):
            one("@4 1 => 2").apply("1 1 1")

    def test_nothing_behind_the_arrow_removes(self):
        self.assertEqual(one("Close(a); =>").apply("Close(a); x")[0], " x")

    def test_an_explanation_belongs_to_the_line_above(self):
        mutations = mutate.parse("list", "[net/a.cpp]\na => b\n  survives: it is the same\nc => d\n")
        self.assertEqual([m.explanation for m in mutations], ["it is the same", ""])

    def test_the_programs_come_from_the_folder_or_follow_the_name(self):
        self.assertEqual(one("a => b", "net/a.cpp").programs, ["net"])
        self.assertEqual(mutate.parse("list", "[os/a.cpp] net dialup\na => b\n")[0].programs, ["net", "dialup"])
        self.assertEqual(mutate.parse("list", "[tool/a.cpp] toolunit tool\na => b\n")[0].programs, ["toolunit", "tool"])
        for text in ("[fuzz/a.cpp]\na => b", "[os/a.cpp] exchange\na => b", "a => b", "[os/a.cpp]\na - b"):
            with self.assertRaises(mutate.Wrong):
                mutate.parse("list", text)

    def test_two_lines_may_not_do_the_same(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "os"))
            with open(os.path.join(folder, "os", "a.cpp"), "w", encoding="utf-8") as file:
                file.write("a")
            self.assertEqual(len(mutate.check(mutate.parse("list", "[os/a.cpp]\na => b\na => b\n"), folder)), 1)
            self.assertEqual(len(mutate.check(mutate.parse("list", "[os/a.cpp]\na => a\n"), folder)), 1)
            self.assertEqual(len(mutate.check(mutate.parse("list", "[os/b.cpp]\na => b\n"), folder)), 1)


class ShellTree(mutate.Tree):
    """A tree whose only program is a script: it is built by a copy, and its test is the script itself."""

    def configure(self):
        pass

    def build(self, programs):
        return self.run(["sh", "-c", "! grep 'syntax error' os/a.cpp && cp os/a.cpp program"], 10)

    def failed_test(self, programs, seconds, source=""):
        return "" if self.run(["sh", "program"], seconds) else "Suite.Name"


class Judgements(unittest.TestCase):
    def run_lines(self, lines):
        with tempfile.TemporaryDirectory() as folder:
            os.makedirs(os.path.join(folder, "os"))
            path = os.path.join(folder, "os", "a.cpp")
            text = "a=1\nb=2\ntest $a = 1\n"
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
            subprocess.run(["git", "init", "-q", folder], check=True)
            out = io.StringIO()
            run = mutate.Run(mutate.parse("list", "[os/a.cpp]\n" + lines), [ShellTree(0, "none", folder)], out)
            run.least_seconds = 1
            good = run.all()
            for each in (path, os.path.join(folder, "build", "mutate", "0", "os", "a.cpp")):
                with open(each, encoding="utf-8") as file:
                    self.assertEqual(file.read(), text)
            return good, out.getvalue().splitlines()

    def test_a_failing_test_kills(self):
        good, lines = self.run_lines("a=1 => a=2")
        self.assertTrue(good)
        self.assertEqual(lines, ["killed   os/a.cpp: a=1 => a=2  (Suite.Name)", "1 killed, 0 survived, 0 invalid"])

    def test_a_test_without_end_kills(self):
        self.assertTrue(self.run_lines("a=1 => a=1; exec sleep 600")[0])

    def test_a_survivor_fails_the_run_unless_it_is_explained(self):
        good, lines = self.run_lines("b=2 => b=3")
        self.assertFalse(good)
        self.assertIn("SURVIVED os/a.cpp: b=2 => b=3", lines)
        good, lines = self.run_lines("b=2 => b=3\n  survives: nobody reads b")
        self.assertTrue(good)
        self.assertEqual(lines[0], "explained os/a.cpp: b=2 => b=3: nobody reads b")

    def test_an_explanation_that_is_wrong_fails_the_run(self):
        good, lines = self.run_lines("a=1 => a=2\n  survives: nobody reads a")
        self.assertFalse(good)
        self.assertIn("though the list says that it survives", lines[0])

    def test_what_does_not_build_fails_the_run(self):
        good, lines = self.run_lines("b=2 => syntax error")
        self.assertFalse(good)
        self.assertTrue(lines[0].startswith("INVALID  os/a.cpp"), lines)

    def test_an_unbroken_tree_must_pass(self):
        class Failing(ShellTree):
            def failed_test(self, programs, seconds, source=""):
                return "Suite.Name"
        with self.assertRaises(mutate.Wrong):
            mutate.Run(mutate.parse("list", "[os/a.cpp]\na => b\n"), [Failing(9, "none")]).prepare()


class NearTests(unittest.TestCase):
    def test_are_those_in_the_files_named_for_the_source(self):
        with tempfile.TemporaryDirectory() as folder:
            os.makedirs(os.path.join(folder, "tests", "net", "posix"))
            for name, text in (("a_test.cpp", "TEST(A, One) {\n}\n\nTEST_F(A, Two) {\n}\n"),
                               ("a_b_test.cpp", "TEST(AB, One) {\n}\n"), ("posix/a_test.cpp", "TEST(A, Three) {\n}\n"),
                               ("ab_test.cpp", "TEST(Other, One) {\n}\n")):
                with open(os.path.join(folder, "tests", "net", name), "w", encoding="utf-8") as file:
                    file.write(text)
            for source, names in (("net/a_b.cpp", {"AB.One"}), ("net/a_c.cpp", {"A.One", "A.Two", "A.Three", "AB.One"}),
                                  ("net/a_internal.h", {"A.One", "A.Two", "A.Three", "AB.One"}), ("net/c.cpp", {""})):
                self.assertEqual(set(mutate.near_tests(source, "net", folder).split(":")), names, source)


class Failures(unittest.TestCase):
    def noticed_by(self, script):
        """What comes of a test program that is this script; it may keep files in $FOLDER."""
        with tempfile.TemporaryDirectory() as folder:
            program = os.path.join(folder, "tests")
            with open(program, "w", encoding="utf-8") as file:
                file.write("#!/bin/sh\nFOLDER=%s\n%s" % (folder, script))
            os.chmod(program, 0o755)
            return mutate.noticed_by(program, 2, folder, "*")

    FAILS = "echo '[ RUN      ] Suite.Name'; echo '[  FAILED  ] Suite.Name (1 ms)'; exit 1\n"

    def test_count_when_they_come_again(self):
        self.assertEqual(self.noticed_by(self.FAILS), "Suite.Name")
        self.assertEqual(self.noticed_by("exit 0"), "")

    def test_count_when_they_need_the_tests_before_them(self):
        self.assertEqual(self.noticed_by("[ $GTEST_FILTER = Suite.Name ] && exit 0\n" + self.FAILS), "Suite.Name")

    def test_do_not_count_when_they_come_in_a_crowd_only(self):
        self.assertEqual(self.noticed_by("[ $GTEST_SHARD_INDEX != 3 ] || [ -e $FOLDER/run ] && exit 0\n"
                                         "touch $FOLDER/run\n" + self.FAILS), "")

    def test_are_tests_without_end_too(self):
        self.assertEqual(self.noticed_by("echo '[ RUN      ] Suite.Name'; exec sleep 600\n"),
                         "Suite.Name, which does not end")


class PythonTests(unittest.TestCase):
    def noticed_by(self, files):
        """What comes of a folder with these files, each the body of one test."""
        with tempfile.TemporaryDirectory() as folder:
            tests, logs = os.path.join(folder, "tests"), os.path.join(folder, "logs")
            os.mkdir(tests)
            os.mkdir(logs)
            for name, body in files.items():
                with open(os.path.join(tests, name), "w", encoding="utf-8") as file:
                    file.write("import time, os, unittest\nFOLDER = %r\n\nclass Suite(unittest.TestCase):\n"
                               "    def test_a(self):\n        pass\n    def test_b(self):\n        %s\n" % (folder, body))
            return mutate.noticed_by(tests, 2, logs, "*")

    def test_notice_in_every_file(self):
        self.assertEqual(self.noticed_by({"a_test.py": "pass", "b_test.py": "self.fail()"}), "test_b")
        self.assertEqual(self.noticed_by({"a_test.py": "raise OSError", "b_test.py": "pass"}), "test_b")
        self.assertEqual(self.noticed_by({"a_test.py": "pass", "helper.py": "self.fail()"}), "")

    def test_without_end_notice(self):
        self.assertEqual(self.noticed_by({"a_test.py": "time.sleep(600)"}), "test_b, which does not end")

    def test_that_fail_once_do_not_count(self):
        body = "p = FOLDER + '/run'; seen = os.path.exists(p); open(p, 'w').close(); self.assertTrue(seen)"
        self.assertEqual(self.noticed_by({"a_test.py": body}), "")

    def test_that_need_real_servers_stay_out(self):
        self.assertEqual(self.noticed_by({"a_test.py": "os.environ['QZ_TEST_FTP_PORT_OF_THE_TEST']"}), "")


class ClosedRoom(unittest.TestCase):
    def test_only_the_copy_and_a_temporary_folder_of_its_own_can_be_written(self):
        with tempfile.TemporaryDirectory() as folder:
            work, beside = os.path.join(folder, "work"), os.path.join(folder, "beside")
            os.mkdir(work)
            program = os.path.join(work, "tests")
            with open(program, "w", encoding="utf-8") as file:
                file.write("#!/bin/sh\ntouch %s/inside /tmp/qz-closed-room\ntouch %s %s/touched && exit 0\n"
                           "[ -e %s/inside ] && echo '[ RUN      ] Room.IsClosed'\nexit 1\n" % (work, beside, ROOT, work))
            os.chmod(program, 0o755)
            command = ["unshare", "--mount", "--pid", "--fork", "--kill-child=KILL", "--mount-proc", sys.executable, SCRIPT,
                       "--inside", work, "20", "", "tests"]
            if os.geteuid() != 0:
                command.insert(0, "sudo")
            result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
            self.assertEqual((result.stdout, result.returncode), ("Room.IsClosed\n", 1), result.stderr)
            self.assertTrue(os.path.exists(os.path.join(work, "inside")))
            self.assertFalse(os.path.exists("/tmp/qz-closed-room"))


if __name__ == "__main__":
    unittest.main()
