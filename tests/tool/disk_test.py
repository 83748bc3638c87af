"""The local disk: full, in the way, not writable, shared with others."""

import glob
import resource
import shutil
import signal
import unittest

from support import *

DATA = some_bytes(2 * 1024 * 1024, 5)
IMMEDIATE_SECONDS = 10  # of the 61 before a time-out

# Root may write everywhere, unless it gives up its capabilities.
WITHOUT_CAPABILITIES = ["setpriv", "--bounding-set=-all"] if os.geteuid() == 0 else []


class Disk(ProgramTest):
    def url(self, data=DATA):
        server = self.serve(HTTPServer(lambda n, request: [honest(data, request)]))
        return server.url("/data")

    def limited(self):
        # The limit is a multiple of nothing in particular: the last write is a partial one.
        resource.setrlimit(resource.RLIMIT_FSIZE, (1000001, resource.RLIM_INFINITY))

    @only_posix
    def test_full_disk_gives_7_and_keeps_the_part(self):
        url = self.url()
        begin = time.monotonic()
        result = self.expect(DISK, "get", url, preexec_fn=self.limited)
        self.assertLess(time.monotonic() - begin, IMMEDIATE_SECONDS)
        self.assertEqual(self.names(), ["data.part"])
        self.assertEqual(digest(self.read("data.part")), digest(DATA[:1000001]))
        self.assertIn("File too large (27)]; free some space, then rerun the command to resume", result.errors)
        self.expect(DONE, "get", url)
        self.assert_file("data", DATA)

    @only_posix
    @unittest.skipUnless(os.geteuid() == 0, "only root can mount")
    def test_full_volume_gives_7_and_keeps_the_part(self):
        small = self.path("small")
        os.mkdir(small)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "none", small], check=True)
        try:
            # Of a size that is known the volume's space is asked for, and nothing is begun.
            self.assertIn("disk full", self.expect(DISK, "get", self.url(), "-o", "small/data").errors)
            self.assertEqual(os.listdir(small), [])
            server = self.serve(HTTPServer(lambda n, request: [http("200 OK", DATA, length="none")]))
            self.expect(DISK, "get", server.url("/data"), "-o", "small/data")
            self.assertEqual(os.listdir(small), ["data.part"])
            kept = self.read("small/data.part")
            self.assertGreater(len(kept), 0)
            self.assertEqual(digest(kept), digest(DATA[:len(kept)]))
        finally:
            subprocess.run(["umount", "-l", small], check=True)

    @only_posix
    def test_full_disk_while_a_listing_is_received_gives_7_at_once_and_blames_the_disk(self):
        server = self.serve(FTPServer())
        server.listing = b"-rw-r--r-- 1 a b 5 Jan  1 10:00 name\r\n" * 50000
        begin = time.monotonic()
        result = self.expect(DISK, "ls", server.url(""), preexec_fn=self.limited)
        self.assertLess(time.monotonic() - begin, IMMEDIATE_SECONDS)
        self.assertEqual(result.output, "")
        self.assertIn("cannot store the listing: ", result.errors)
        self.assertIn("disk full", result.errors)
        self.assertNotIn("server", result.errors)

    @only_posix
    def test_listing_that_cannot_be_read_back_gives_7_and_is_not_taken_for_an_empty_one(self):
        library = self.path("fail_reads.so")
        source = os.path.join(CHECKOUT, "tests", "tool", "fail_reads.c")
        subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source, "-ldl"], check=True)
        server = self.serve(FTPServer())
        server.listing = b"one\r\ntwo\r\n"
        environment = {"LD_PRELOAD": library, "QZ_FAIL_READS": "qzList",
                       "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}
        result = self.expect(DISK, "ls", server.url(""), environment=environment)
        self.assertEqual(result.output, "")
        self.assertRegex(result.errors, r'^qz: cannot read ".*qzList.*": Input/output error \(5\)\n$')
        self.assertEqual(self.expect(DONE, "ls", server.url("")).output, "one\ntwo\n")

    @only_posix
    def test_link_in_the_way_is_refused_and_untouched(self):
        self.write("precious", b"mine")
        for target in ("precious", "missing"):
            os.symlink(target, self.path("data.part"))
            result = self.expect(DISK, "get", self.url())
            self.assertIn("link", result.errors)
            self.assertNotIn("are kept", result.errors)
            self.assertTrue(os.path.islink(self.path("data.part")))
            os.remove(self.path("data.part"))
        self.assertEqual(self.names(), ["precious"])
        self.assertEqual(self.read("precious"), b"mine")

    @only_posix
    def test_pipe_in_the_way_is_refused_at_once(self):
        os.mkfifo(self.path("data.part"))
        self.expect(DISK, "get", self.url(), seconds=20)
        self.assertEqual(self.names(), ["data.part"])

    @only_posix
    def test_target_that_is_a_link_is_not_written_through(self):
        self.write("precious", b"mine")
        os.symlink("precious", self.path("data"))
        self.expect(DONE, "get", self.url())
        self.assertEqual(self.read("precious"), b"mine")
        self.assert_file("data(0)", DATA)

    @only_posix
    def test_folder_that_cannot_be_entered_is_told_with_the_systems_words(self):
        result = self.expect(DISK, "get", self.url(), "-o", "none/data")
        self.assertEqual(result.errors, 'qz: cannot enter the folder of "none/data" [Directory_SetCurrent "none": '
                                        "No such file or directory (2)]\n")

    def test_no_other_url_is_begun_when_a_transfer_cannot_be_saved(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x")]))
        os.makedirs(os.path.join(self.transfers, "next"))
        result = self.expect(DISK, "get", server.url("/a"), server.url("/b"))
        self.assertIn("the remaining URLs were skipped", result.errors)
        self.assertEqual((server.count, self.names()), (0, []))

    def test_folder_in_the_way_is_refused_and_untouched(self):
        os.mkdir(self.path("data.part"))
        self.write("data.part/inside", b"mine")
        self.expect(DISK, "get", self.url())
        self.assertEqual(self.read("data.part/inside"), b"mine")

    @only_posix
    def test_folder_that_cannot_be_written_gives_7(self):
        os.chmod(self.folder, 0o555)
        self.addCleanup(os.chmod, self.folder, 0o755)
        self.expect(DISK, "get", self.url(), through=WITHOUT_CAPABILITIES)
        self.assertEqual(self.names(), [])

    def test_name_that_is_too_long_is_refused_with_a_hint(self):
        for length in (253, 1100, 5000):
            result = self.expect(DISK, "get", self.url(), "-o", "n" * length)
            if not on_windows():
                self.assertIn("choose a shorter name", result.errors)
        self.assertEqual(self.names(), [])

    @only_posix
    def test_says_what_to_do_where_no_folder_can_be_written(self):
        place = self.path("place")
        os.mkdir(place)
        built = program()[-1]
        for name in [os.path.basename(built)] + [n for n in os.listdir(os.path.dirname(built)) if ".so" in n]:
            shutil.copy(os.path.join(os.path.dirname(built), name), place, follow_symlinks=False)
        os.chmod(place, 0o555)
        self.addCleanup(os.chmod, place, 0o755)
        command = [os.path.join(place, os.path.basename(built)), "get", self.url()]
        environment = {name: value for name, value in os.environ.items() if not name.startswith("XDG_")}
        environment["TMPDIR"] = place
        def run(home):
            return subprocess.run(WITHOUT_CAPABILITIES + command, cwd=self.folder, env=dict(environment, HOME=home),
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=RUN_SECONDS, check=False)
        refused = run(os.path.join(place, "home"))
        self.assertEqual(refused.returncode, OTHER)
        self.assertIn(b"HOME", refused.stderr)
        os.mkdir(self.path("home"))
        done = run(self.path("home"))
        self.assertEqual(done.returncode, DONE, done.stderr)
        self.assert_file("data", DATA)

    @only_posix
    def test_works_where_only_the_temporary_folder_can_be_written(self):
        place, temporary = self.path("place"), self.path("temporary")
        os.mkdir(temporary)
        shutil.copytree(os.path.dirname(program()[-1]), place, symlinks=True,
                        ignore=lambda folder, names: [n for n in names if n != "qz" and not n.startswith("libqz.so")])
        os.chmod(place, 0o555)
        self.addCleanup(os.chmod, place, 0o755)
        server = self.serve(FTPServer())
        server.listing = b"one\r\ntwo\r\n"
        environment = {"PATH": "/usr/bin:/bin", "HOME": os.path.join(place, "none"), "TMPDIR": temporary,
                       "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "")}
        done = subprocess.run(WITHOUT_CAPABILITIES + [os.path.join(place, "qz"), "ls", server.url("")], cwd=place,
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=RUN_SECONDS,
                              check=False)
        self.assertEqual((done.returncode, done.stdout), (DONE, b"one\ntwo\n"), done.stderr)
        self.assertEqual(os.listdir(temporary), ["qz-%d" % os.geteuid()])
        self.assertEqual(os.stat(os.path.join(temporary, "qz-%d" % os.geteuid())).st_mode & 0o777, 0o700)

    def test_files_of_others_stay_as_they_are(self):
        others = {"data.part.part": b"1", "data(0).part": b"2", "dat.part": b"3", "data": b"4"}
        for name, content in others.items():
            self.write(name, content)
        self.expect(DONE, "get", self.url())
        for name, content in others.items():
            self.assertEqual(self.read(name), content)
        self.assert_file("data(0)", DATA)

    def test_second_program_on_the_same_part_is_refused(self):
        def answer(number, request):
            whole = http("200 OK", DATA)
            return [whole[:1000000], "stall"] if number == 0 else [whole]
        server = self.serve(HTTPServer(answer))
        first = self.start_qz("get", server.url("/data"))
        self.wait_for(lambda: os.path.exists(self.path("data.part")) and os.path.getsize(self.path("data.part")) > 0)
        result = self.expect(OTHER, "get", server.url("/data"))
        self.assertIn("is running in another program", result.errors)
        self.assertEqual(server.count, 1)
        self.assertIsNone(first.poll())

    def test_nothing_is_left_in_the_current_folder_but_the_file(self):
        self.expect(DONE, "get", self.url())
        self.assertEqual(self.names(), ["data"])

    @only_posix
    def test_works_from_a_folder_that_is_read_only_for_it(self):
        if os.geteuid() != 0:
            self.skipTest("needs root to make the folder another user's")
        # The cleaning-up of sanitizers needs no file either, so any build serves.
        home, place = self.path("home"), self.path("bin")
        os.mkdir(place)
        source = os.path.dirname(program()[-1])
        for name in os.listdir(source):
            if name == "qz" or name.startswith("libqz.so"):
                shutil.copy(os.path.join(source, name), place, follow_symlinks=True)
        os.mkdir(home)
        work = self.path("work")
        os.mkdir(work)
        os.chmod(self.folder, 0o755)
        for folder in (home, work):
            os.chown(folder, 65534, 65534)
        done = subprocess.run([os.path.join(place, "qz"), "get", self.url()], cwd=work, user=65534, group=65534,
                              extra_groups=[], env={"HOME": home, "PATH": "/usr/bin:/bin"}, timeout=RUN_SECONDS,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, DONE, done.stderr)
        self.assertEqual(os.listdir(work), ["data"])
        self.assertNotIn("qzCache", os.listdir(place))


class Interrupting(ProgramTest):
    def slow_server(self):
        def answer(number, request):
            whole = honest(DATA, request)
            return [whole[:700000], "stall"] if number == 0 else [whole]
        return self.serve(HTTPServer(answer))

    def wait_for_data(self, name):
        # The last bytes that came are not written yet.
        self.wait_for(lambda: os.path.exists(self.path(name)) and os.path.getsize(self.path(name)) > 500000)

    @only_posix
    def test_interrupt_keeps_the_part_and_gives_130(self):
        for signals in (1, 2):
            server = self.slow_server()
            process = self.start_qz("get", server.url("/data"))
            self.wait_for_data("data.part")
            begin = time.monotonic()
            for _ in range(signals):
                process.send_signal(signal.SIGINT)
            _, errors = process.communicate(timeout=15)
            self.assertEqual(process.returncode, INTERRUPTED, errors)
            self.assertLess(time.monotonic() - begin, 5)
            self.assertIn(b"interrupted", errors)
            self.assertNotIn(b"####", errors)
            kept = self.read("data.part")
            self.assertGreater(len(kept), 500000)
            self.assertEqual(digest(kept), digest(DATA[:len(kept)]))
            self.expect(DONE, "get", server.url("/data"))
            self.assert_file("data", DATA)
            os.remove(self.path("data"))

    @only_posix
    def test_interrupt_behind_a_download_that_is_done(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x")] if n == 0 else ["stall"]))
        process = self.start_qz("get", server.url("/first"), server.url("/second"))
        self.wait_for(lambda: len(server.requests) == 2)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.assertEqual(self.names(), ["first"])

    @only_posix
    def test_interrupt_is_noticed_while_the_server_says_nothing(self):
        server = self.serve(HTTPServer(lambda n, request: ["stall"]))
        process = self.start_qz("get", server.url("/data"))
        self.wait_for(lambda: server.requests)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED)

    @only_posix
    @unittest.skipUnless(os.geteuid() == 0, "only root can change the name servers of a process")
    def test_interrupt_ends_a_name_look_up_within_a_second(self):
        silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(silent.close)
        silent.bind(("127.9.9.9", 53))
        silent.settimeout(SOCKET_SECONDS)
        self.write("resolv.conf", b"nameserver 127.9.9.9\noptions timeout:30\n")
        command = 'mount --bind "$0" /etc/resolv.conf && exec "$@"'
        for url in ("http://slow.test/data", "ftp://slow.test/data"):
            process = subprocess.Popen(["unshare", "--mount", "sh", "-c", command, self.path("resolv.conf"), *program(),
                                        "get", url], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.addCleanup(self._end, process)
            silent.recv(512)
            begin = time.monotonic()
            process.send_signal(signal.SIGINT)
            _, errors = process.communicate(timeout=10)
            self.assertLess(time.monotonic() - begin, 1)
            self.assertEqual(process.returncode, INTERRUPTED, errors)

    @only_posix
    def test_closed_terminal_ends_like_ctrl_c_unless_nohup_says_otherwise(self):
        for ignored, name in ((False, "first"), (True, "second")):
            server = self.slow_server()
            process = self.start_qz("get", server.url("/data"), "-o", name, "--timeout", "2", "--retry-wait", "0",
                                    preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN if ignored else
                                                                     signal.SIG_DFL))
            self.wait_for_data(name + ".part")
            process.send_signal(signal.SIGHUP)
            _, errors = process.communicate(timeout=15)
            self.assertEqual(process.returncode, DONE if ignored else INTERRUPTED, errors)
            self.assertEqual(self.names(), ["first.part", "second"] if ignored else ["first.part"])

    @only_posix
    def test_interrupt_of_a_list_promises_nothing(self):
        server = self.serve(HTTPServer(lambda n, request: ["stall"]))
        for command in ("ls", "size"):
            process = self.start_qz(command, "ftp://127.0.0.1:%d/x" % server.port)
            self.wait_for(lambda: server.count > 0)
            time.sleep(0.3)
            process.send_signal(signal.SIGINT)
            _, errors = process.communicate(timeout=10)
            self.assertEqual((process.returncode, errors), (INTERRUPTED, b"\nqz: interrupted\n"))

    @only_posix
    def test_list_is_kept_where_nobody_else_writes_and_is_gone_after_an_interrupt(self):
        server = self.serve(FTPServer())
        server.listing = b"one\r\ntwo\r\n"
        server.cut = (5, "stall")
        process = self.start_qz("ls", server.url(""))
        def lists():
            try:
                files = [os.readlink(path) for path in glob.glob("/proc/%d/fd/*" % process.pid)]
            except FileNotFoundError:  # closed meanwhile
                return []
            return [file for file in files if "qzList" in file]
        self.wait_for(lists)
        name, = lists()
        self.assertEqual(os.stat(os.path.dirname(name)).st_mode & 0o002, 0, name)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertFalse(os.path.exists(name))

    @only_posix
    def test_interrupt_is_noticed_while_waiting_for_the_retry(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", DATA)[:1000]]))
        process = self.start_qz("get", server.url("/data"), "--retry-wait", "60")
        self.wait_for(lambda: os.path.exists(self.path("data.part")))
        time.sleep(0.5)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertEqual(self.names(), ["data.part"])

    @only_posix
    def test_killed_program_resumes_identically(self):
        server = self.slow_server()
        process = self.start_qz("get", server.url("/data"))
        self.wait_for_data("data.part")
        process.kill()
        process.wait()
        self.expect(DONE, "get", server.url("/data"))
        self.assert_file("data", DATA)


if __name__ == "__main__":
    unittest.main()
