"""Calls to the system that write, seek, close, rename or remove fail in turn, once and for good, of the data file and of
the record: the program never says "saved" of what is not whole, every record can be read, and the same command
ends well once the disk does.

QZ_DISK_FAULT_STEP=1 has every call fail in each of the four ways; by default it fails in one of them.
"""

import errno
import unittest

from support import *

DATA = some_bytes(200000, 41)
CUT = 120000
SOON = ("--retry-wait", "0")
MOST_CALLS = 1000
# The error, and whether it lasts.
WAYS = ((errno.ENOSPC, False), (errno.ENOSPC, True), (errno.EIO, False), (errno.EIO, True))
STEP = int(os.environ.get("QZ_DISK_FAULT_STEP", len(WAYS)))


@only_posix
class DiskFaults(ProgramTest):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(prefix="qz-fail-calls-")
        cls.addClassCleanup(shutil.rmtree, cls.place, True)
        cls.library = os.path.join(cls.place, "fail_calls.so")
        source = os.path.join(CHECKOUT, "tests", "tool", "fail_calls.c")
        subprocess.run(["cc", "-D_FILE_OFFSET_BITS=64", "-shared", "-fPIC", "-o", cls.library, source, "-ldl"],
                       check=True)

    def stored(self):
        return sorted(name for name in os.listdir(self.transfers) if name not in ("lock", "next", "files"))

    def faulty(self, call, error, lasting):
        self.mark = os.path.join(self.place, "mark-%d-%d" % (os.getpid(), call))
        if os.path.exists(self.mark):
            os.remove(self.mark)
        lasts = {"QZ_FAIL_LASTING": "1"} if lasting else {}
        return {"LD_PRELOAD": self.library, "QZ_FAIL_CALL": str(call), "QZ_FAIL_ERROR": str(error), **lasts,
                "QZ_FAIL_NAMES": "%s/:%s/:vrxData" % (self.folder, self.transfers), "QZ_FAIL_MARK": self.mark,
                "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}

    def sweep(self, begin, arguments, check, first, error, lasting):
        """Has calls of the command fail in turn. begin() comes before each run, check(result) behind it."""
        for call in range(first, MOST_CALLS, STEP):
            begin()
            result = self.run_qz(*arguments, environment=self.faulty(call, error, lasting))
            if not os.path.exists(self.mark):
                self.assertEqual(result.code, DONE, result)
                self.assertGreater(call, 8)
                return
            with open(self.mark) as file:
                what = "call %d: %s; error %d%s\n" % (call, file.read(), error, ", lasting" if lasting else "")
            os.remove(self.mark)
            try:
                check(result)
            except AssertionError as failure:
                raise AssertionError("%s\n%s\n%s" % (failure, what, result)) from None
        self.fail("too many calls")

    def sweep_all(self, begin, arguments, check):
        for number, way in enumerate(WAYS):
            self.sweep(begin, arguments, check, 1 + number % STEP, *way)

    def clear(self):
        self.connections = 0
        for name in self.names():
            os.remove(self.path(name))
        shutil.rmtree(self.transfers, True)

    def check_records(self):
        """All that is saved can be read."""
        self.expect(DONE, "list")
        numbers = [name.split(".")[0] for name in self.stored() if name.endswith(".vrx")]
        if numbers:
            self.expect(DONE, "show", *numbers)

    def check_nothing_stored(self):
        """What could not be removed counts for nothing, and the next program removes it."""
        if self.stored():
            self.assertIn("nothing to run", self.expect(DONE, "run").errors)
        self.assertEqual(self.stored(), [])

    # ---- downloads

    def server(self):
        """Cuts the first connection since `self.connections` was set to 0."""
        def answer(number, request):
            self.connections += 1
            whole = honest(DATA, request)
            return [whole[:len(whole) - len(DATA) + CUT]] if self.connections == 1 else [whole]
        return self.serve(HTTPServer(answer))

    def check_download(self, result, again):
        """again: the command that ends what a fault has ended."""
        self.assertIn(result.code, (DONE, DISK))
        says_saved = 'saved "data"' in result.errors
        if result.code == DONE:
            self.assertTrue(says_saved)
        if "data" in self.names():
            self.assert_file("data", DATA)
        if says_saved:
            self.assertEqual(self.names(), ["data"])
        self.check_records()
        # A second run of a command that has ended well would download another file.
        if result.code != DONE:
            self.expect(DONE, *again)
        self.assert_file("data", DATA)
        self.assertEqual(self.names(), ["data"])
        self.check_nothing_stored()

    def test_download_is_whole_or_not_said_to_be_saved(self):
        command = ("get", self.server().url("/data"), *SOON)
        self.sweep_all(self.clear, command, lambda result: self.check_download(result, command))

    def test_saved_download_keeps_a_record_until_it_is_whole(self):
        self.expect(DONE, "add", self.server().url("/data"))
        saved = self.folder + "-saved"
        shutil.copytree(self.transfers, saved)
        self.addCleanup(shutil.rmtree, saved)
        def begin():
            self.clear()
            shutil.copytree(saved, self.transfers)
        def check(result):
            if "data" not in self.names():
                self.assertIn("1.vrx", self.stored())
            self.check_download(result, ("retry", "1", *SOON))
        self.sweep_all(begin, ("run", *SOON), check)

    def test_old_file_is_there_until_the_new_one_takes_its_place(self):
        command = ("get", "--overwrite", self.server().url("/data"), *SOON)
        old = bytes(len(DATA))
        def begin():
            self.clear()
            self.write("data", old)
        def check(result):
            if self.read("data") != old:
                return self.check_download(result, command)
            self.assertNotIn("saved", result.errors)
            self.assertEqual(result.code, DISK)
            self.check_records()
            self.expect(DONE, *command)
            self.assert_file("data", DATA)
            self.assertEqual(self.names(), ["data"])
            self.check_nothing_stored()
        self.sweep_all(begin, command, check)

    def test_added_transfer_is_saved_or_not_said_to_be(self):
        command = ("add", self.server().url("/data"))
        def check(result):
            self.assertIn(result.code, (DONE, DISK))
            says_saved = "saved as transfer 1" in result.errors
            self.assertEqual(says_saved, result.code == DONE)
            self.check_records()
            if says_saved:
                self.assertTrue({"1.conf", "1.vrx"} <= set(self.stored()))
            self.expect(DONE, *command)
            self.expect(DONE, "run", *SOON)
            self.assert_file("data", DATA)
            self.check_nothing_stored()
        self.sweep_all(self.clear, command, check)

    # ---- uploads

    def test_upload_is_whole_or_not_said_to_be_stored(self):
        server = self.serve(FTPServer())
        def cut(number):
            self.connections += 1
            return (CUT, "fin") if self.connections == 1 else None
        server.cut = cut
        server.folders.add("in")
        source = os.path.join(self.place, "source")
        with open(source, "wb") as file:
            file.write(DATA)
        command = ("put", source, server.url("in/data"), *SOON)
        def begin():
            self.clear()
            server.files.clear()
        def check(result):
            self.assertIn(result.code, (DONE, DISK))
            says_stored = 'stored "in/data"' in result.errors
            if result.code == DONE:
                self.assertTrue(says_stored)
            if says_stored:
                self.assertEqual(digest(server.files["in/data"]), digest(DATA))
            self.check_records()
            if result.code != DONE:
                self.expect(DONE, *command)
            self.assertEqual(digest(server.files["in/data"]), digest(DATA))
            self.check_nothing_stored()
        self.sweep_all(begin, command, check)


if __name__ == "__main__":
    unittest.main()
