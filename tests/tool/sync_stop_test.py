"""qz sync that ends early: Ctrl-C, kill -9. The same command goes on, and both sides come to the same end.

QZ_SYNC_KILLS=100 kills the program at that many random moments.
"""

import signal
import unittest

from sync_fixture import *

BIG = 3 << 30  # mostly a hole; copying it takes seconds all the same


@only_posix
class Interrupted(SyncTest):
    def make_big(self, name, seconds=EARLY):
        self.put(name, b"begin")
        with open(self.path(name), "r+b") as file:
            file.truncate(BIG)
        os.utime(self.path(name), (seconds, seconds))

    def interrupt_in(self, folder):
        """Presses Ctrl-C while a file is written in the folder: code, messages, seconds until the end."""
        process = self.start_qz("sync", "a", "b", "--name", "n")
        place = self.path(folder)
        self.wait_for(lambda: os.path.isdir(place) and any(name.startswith("xfer") for name in os.listdir(place)))
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=15)
        return process.returncode, errors.decode(), time.monotonic() - begin

    def test_ctrl_c_inside_a_file_removes_what_was_written_of_it(self):
        self.put("a/big/0", "1")
        self.sync("--name", "n")
        self.put("b/mine", "1")
        self.make_big("a/x")
        before = contents(self.path("b"))
        code, errors, seconds = self.interrupt_in("b")
        self.assertEqual(code, INTERRUPTED, errors)
        self.assertIn("qz: interrupted after 0 copied, 0 deleted; run the same command to go on\n", errors)
        self.assertLess(seconds, 1)
        self.assertEqual(contents(self.path("b")), before, "its temporary is gone")
        self.assertNotIn("n.xfer", self.table_names())
        os.truncate(self.path("a/x"), 5)
        self.assertEqual(self.summary(self.sync("--name", "n")), "1 0 1 0 1 0")
        self.assertEqual(self.tree("b"), "big/0=1 mine=1 x=begin")

    def test_what_was_done_before_ctrl_c_is_remembered(self):
        self.put("a/small/1", "1")
        self.put("a/small/2", "2")
        self.sync("--name", "n")
        self.put("a/small/1", "11", EARLY + 1)
        self.make_big("a/zz/x")
        code, errors, _ = self.interrupt_in("b/zz")
        self.assertEqual(code, INTERRUPTED, errors)
        self.remove("a/zz/x")
        done = "1 copied" in errors
        self.assertEqual(self.summary(self.sync("--name", "n")), "0 0 2 0 0 0" if done else "1 0 1 0 0 0")
        self.assertEqual(self.tree("b"), "small/1=11 small/2=2")

    def test_ctrl_c_while_planning_changes_nothing(self):
        for name in ("a/x", "b/x"):
            self.make_big(name)
        process = self.start_qz("sync", "a", "b", "--name", "n")
        self.wait_for(lambda: "n.lock" in self.table_names())
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=15)
        self.assertEqual((process.returncode, errors.decode()), (INTERRUPTED, "qz: interrupted; nothing was changed\n"))
        self.assertEqual(self.table_names(), ["n.lock"])


class Killed(SyncTest):
    """A tree in two states: the second is reached from the first by runs that are killed again and again."""

    def state(self, seed):
        chosen = random.Random(seed)
        files = {}
        for number in range(60):
            if chosen.random() < 0.8:
                size = chosen.choice((0, 10, 3000, 400000))
                files["%d/%d/f%d" % (number % 3, number % 4, number)] = (chosen.randbytes(size), EARLY + seed)
        return files

    def set_source(self, files):
        for path in contents(self.path("a")):
            if not path.endswith("/") and path not in files:
                self.remove("a/" + path)
        for path, (data, seconds) in files.items():
            self.put("a/" + path, data, seconds)

    def data_of(self, name):
        return {path: value and value[0] for path, value in contents(self.path(name)).items()}

    def run_killed(self, longest_life):
        """Whether the run was killed before it ended."""
        with tempfile.TemporaryFile() as errors:
            process = self.start_qz("sync", "a", "b", "--delete", "--max-delete", "100%", stdout=subprocess.DEVNULL,
                                    stderr=errors)
            try:
                process.wait(self.random.uniform(0, longest_life))
                return False
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait(15)
                return process.returncode != DONE

    def test_runs_that_are_killed_come_to_the_same_end(self):
        self.random = random.Random(71)
        kills = int(os.environ.get("QZ_SYNC_KILLS", 3 if on_windows() else 10))
        options = ("--delete", "--max-delete", "100%")
        begin = time.monotonic()
        self.set_source(self.state(0))
        self.sync(*options)
        longest = time.monotonic() - begin
        count = 0
        for seed in range(1, 10 * kills):
            before = self.data_of("b")
            self.set_source(self.state(seed))
            expected = self.data_of("a")
            while count < kills and self.run_killed(longest):
                count += 1
                self.check_between(before, expected)
            self.sync(*options)
            self.check_end(expected)
            if count == kills:
                break
        self.assertEqual(count, kills)
        self.assertEqual(self.summary(self.sync(*options)).split()[:2], ["0", "0"])

    def check_end(self, expected):
        """Both sides have the same files; folders are never deleted."""
        now = self.data_of("b")
        self.assertEqual({path: data for path, data in now.items() if not path.endswith("/")},
                         {path: data for path, data in expected.items() if not path.endswith("/")})
        self.assertEqual([name for name in self.table_names() if name.endswith((".xfer", ".done"))], [])

    def check_between(self, before, expected):
        """Each file is the old one or the new one, complete; what both states have is never missing."""
        now = self.data_of("b")
        for path, data in now.items():
            if path.endswith("/") or os.path.basename(path).startswith("xfer"):
                continue
            self.assertTrue(data in (before.get(path), expected.get(path)), path)
        for path in before:
            if path in expected:
                self.assertIn(path, now)


if __name__ == "__main__":
    unittest.main()
