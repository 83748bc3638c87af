"""Programs that are killed: what they leave can be read, and the next one ends what they began.

QZ_KILLS=300 kills programs at that many random moments for each test instead of 30.
"""

import signal
import unittest

from saved_run_test import SavedRun
from support import *

DATA = some_bytes(1500000, 21)


class Killed(SavedRun, OwnProgram):
    def setUp(self):
        super().setUp()
        self.copied = sorted(os.listdir(self.place))
        self.kills = int(os.environ.get("QZ_KILLS", 30))
        self.longest_life = 1.5 if on_windows() else 1

    def kill_at_random(self, *arguments):
        """Runs the command and kills it at a random moment; False when it ended before."""
        # Not a pipe: under Wine, processes that live on keep the output of a killed program open.
        with tempfile.TemporaryFile() as errors:
            process = self.start_qz(*arguments, "--verbose", stdout=subprocess.DEVNULL, stderr=errors)
            allowed = self.wait_or_kill(process)
            errors.seek(0)
            self.assertIn(process.returncode, allowed, errors.read().decode("utf-8", "replace"))
        if process.returncode == DONE:
            return False
        self.mend_wine()
        return True

    @staticmethod
    def mend_wine():
        """Wine's server aborts on an assertion of its own now and then when a program with sockets is killed."""
        if not on_windows():
            return
        time.sleep(0.2)  # until it has seen that the program is gone
        if subprocess.run([program()[0], "--check"], check=False).returncode != 0:
            subprocess.run([program()[0], "--restart"], check=True)

    def wait_or_kill(self, process):
        """The codes that the program may have ended with."""
        try:
            process.wait(self.random.uniform(0, self.longest_life))
            return (DONE,)
        except subprocess.TimeoutExpired:
            is_gentle = not on_windows() and self.random.random() < 0.25
            process.send_signal(signal.SIGINT if is_gentle else signal.SIGKILL)
            process.wait(15)
            # It may have ended just now.
            return (INTERRUPTED, -signal.SIGINT, DONE) if is_gentle else (-signal.SIGKILL, DONE)

    def check_records(self):
        self.expect(DONE, "list")
        self.assertEqual([name for name in self.stored() if name.split(".")[1:] not in
                          ([ "vrx"], ["conf"], ["claim"], ["vrx", "new"], ["conf", "new"], ["next", "new"])
                          and name != "next.new"], [])

    def saved(self):
        # A claim alone counts for nothing: the next program that sweeps removes it.
        numbers = {name.split(".")[0] for name in self.stored() if not name.endswith(".claim")}
        return [name for name in self.stored() if name.split(".")[0] in numbers]

    def check_no_stray_file(self):
        files = os.path.join(self.transfers, "files")
        for name in os.listdir(files):  # young files may be another program's
            os.utime(os.path.join(files, name), (0, time.time() - 7200))
        self.expect(DONE, "run")
        self.assertEqual(self.stored(), [])
        self.assertEqual(os.listdir(files), [])
        # The library's folders beside the program, of which the first is for files that stay.
        made = set(os.listdir(self.place)) - set(self.copied)
        self.assertLessEqual(made, {"qzCache", "qzDesk", "qzPrefs"})
        for name in made - {"qzCache"}:
            self.assertEqual(os.listdir(os.path.join(self.place, name)), [])
        cache = os.listdir(os.path.join(self.place, "qzCache"))
        self.assertEqual([name for name in cache if name.startswith(("vrxData", "info", "qzList"))], [])

    def download(self, url):
        """Downloads once, killed again and again. Returns how often."""
        count = 0
        while self.kill_at_random("get", url, "-o", "file"):
            count += 1
            self.check_records()
            if self.names() == ["file"]:
                if not self.saved():
                    break  # all was done
                continue
            self.assertIn(self.names(), ([], ["file.part"]))
            if self.names():
                kept = self.read("file.part")
                self.assertEqual(digest(kept), digest(DATA[:len(kept)]))
        self.assertEqual(self.names(), ["file"])
        self.assert_file("file", DATA)
        self.assertEqual(self.saved(), [])
        os.remove(self.path("file"))
        return count

    def kill_downloads(self, url, seed):
        self.random = random.Random(seed)
        count = 0
        while count < self.kills:
            count += self.download(url)
        self.check_no_stray_file()
        return count

    def test_downloads_over_http_are_identical(self):
        def answer(number, request):
            whole = honest(DATA, request)
            for start in range(0, len(whole), 20000):
                time.sleep(0.005)
                yield whole[start:start + 20000]
        self.kill_downloads(self.serve(HTTPServer(answer)).url("/data"), 31)

    def test_downloads_over_ftp_are_identical(self):
        server = self.serve(SlowFTPServer({"data": DATA}))
        self.kill_downloads(server.url("data"), 32)

    def test_uploads_are_identical(self):
        self.random = random.Random(33)
        self.write("data", DATA)
        server = self.serve(SlowFTPServer())
        server.folders.add("in")
        count = 0
        while count < self.kills:
            while self.kill_at_random("put", "data", server.url("in/data")):
                count += 1
                self.check_records()
                if not self.saved() and server.files.get("in/data") == DATA:
                    break  # all was done
                kept = server.files.get("in/data", b"")
                self.assertEqual(digest(kept), digest(DATA[:len(kept)]))
            self.assertEqual(digest(server.files["in/data"]), digest(DATA))
            self.assertEqual(self.saved(), [])
            self.assertEqual(self.names(), ["data"])
            del server.files["in/data"]
        self.check_no_stray_file()

    @only_posix
    def test_program_killed_when_the_file_has_its_name_calls_it_done(self):
        server = self.files(1, 200000)
        self.write("other", b"taken")
        for name, final in (("plain", "plain"), ("other", "other(0)")):
            result = self.run_qz("get", server.url("/0"), "-o", name,
                                 environment=preloaded(self, QZ_KILL_AT="/" + final))
            self.assertEqual(result.code, -signal.SIGKILL, result)
            self.assertIn(final, self.names())
            self.assertNotIn(name + ".part", self.names())
            self.asked.clear()
            result = self.expect(DONE, "get", server.url("/0"), "-o", name)
            self.assertIn('saved "%s" (195.3 KiB' % final, result.errors)
            self.assertEqual(self.asked, [])
            self.assert_file(final, self.content["/0"])
            self.assertEqual(self.stored(), [])
        self.assertEqual(self.names(), ["other", "other(0)", "plain"])

    @only_posix
    def test_file_of_another_size_that_took_the_name_after_the_kill_stays(self):
        server = self.files(1, 200000)
        killed = self.run_qz("get", server.url("/0"), environment=preloaded(self, QZ_KILL_AT="/0"))
        self.assertEqual(killed.code, -signal.SIGKILL, killed)
        self.write("0", b"mine")
        self.expect(DONE, "get", server.url("/0"))
        self.assertEqual(self.read("0"), b"mine")
        self.assert_file("0(0)", self.content["/0"])
        self.assertEqual(self.names(), ["0", "0(0)"])

    @only_posix
    def test_program_killed_before_the_old_file_is_replaced_replaces_it_then(self):
        server = self.files(1, 200000)
        for end in ("/file(0)", "/file"):
            self.write("file", bytes(200000))  # as long as the new one
            result = self.run_qz("get", server.url("/0"), "-o", "file", "--overwrite",
                                 environment=preloaded(self, QZ_KILL_AT=end))
            self.assertEqual(result.code, -signal.SIGKILL, result)
            self.assertNotIn("file.part", self.names())
            self.asked.clear()
            result = self.expect(DONE, "get", server.url("/0"), "-o", "file", "--overwrite")
            self.assertIn('saved "file" (195.3 KiB', result.errors)
            self.assertEqual(self.asked, [])
            self.assert_file("file", self.content["/0"])
            self.assertEqual((self.names(), self.stored()), (["file"], []))

    @only_posix
    def test_program_killed_at_each_save_of_its_record_loses_nothing(self):
        server = self.files(1, 200000)
        for end in ("/next", ".claim", ".vrx", ".conf"):
            result = self.run_qz("get", server.url("/0"), "-o", "file", environment=preloaded(self, QZ_KILL_AT=end))
            if end == ".claim" and result.code == DONE:
                os.remove(self.path("file"))
                continue
            self.assertEqual(result.code, -signal.SIGKILL, end)
            self.expect(DONE, "get", server.url("/0"), "-o", "file")
            self.assert_file("file", self.content["/0"])
            os.remove(self.path("file"))
            self.assertEqual(self.stored(), [])


class SlowSession(Session):
    def send(self, data, content):
        try:
            for start in range(0, len(content), 20000):
                time.sleep(0.005)
                data.sendall(content[start:start + 20000])
            data.close()
        except OSError:
            return "close"
        return self.end_data()


class SlowFTPServer(FTPServer):
    def serve(self, connection, number):
        SlowSession(self, connection, number).run()


if __name__ == "__main__":
    unittest.main()
