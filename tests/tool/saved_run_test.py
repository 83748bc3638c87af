"""Transfers that are saved and run: qz add, run and retry, and several programs at once."""

import unittest

from support import *

DATA = some_bytes(1500000, 21)
SOON = ("--retry-wait", "0")
ONCE = ("--retries", "0")


class SavedRun(ProgramTest):
    def stored(self):
        return sorted(name for name in os.listdir(self.transfers) if name not in ("lock", "next", "files"))

    def stored_bytes(self):
        names = [os.path.join(folder, name) for folder, _, names in os.walk(self.transfers) for name in names]
        return b"".join(self.stored_file(name) for name in names)

    def stored_file(self, name):
        with open(os.path.join(self.transfers, name), "rb") as file:
            return file.read()

    def files(self, count=1, size=3000):
        """A server with files /0, /1, ... that counts the requests of each."""
        self.content = {"/%d" % number: some_bytes(size, 100 + number) for number in range(count)}
        self.asked = []
        def answer(number, request):
            path = request.split(" ")[1]
            self.asked.append(path)
            return [honest(self.content[path], request)] if path in self.content else [http("404 Not Found", b"no")]
        return self.serve(HTTPServer(answer))

    def assert_files(self):
        for path, data in self.content.items():
            self.assert_file(path[1:], data)
        self.assertEqual(self.names(), sorted(path[1:] for path in self.content))


class AddAndRun(SavedRun):
    def test_add_saves_and_connects_to_nobody(self):
        server = self.files(2)
        result = self.expect(DONE, "add", server.url("/0"), server.url("/1"))
        self.assertEqual(result.errors, "qz: saved as transfer 1: %s\nqz: saved as transfer 2: %s\n" %
                         (server.url("/0"), server.url("/1")))
        self.assertEqual(self.stored(), ["1.conf", "1.vrx", "2.conf", "2.vrx"])
        self.assertEqual((server.count, self.names()), (0, []))
        self.expect(DONE, "run")
        self.assert_files()
        self.assertEqual(self.stored(), [])
        self.assertEqual(self.expect(DONE, "run").errors, "qz: nothing to run\n")

    def test_a_file_that_comes_at_once_has_no_log_file_meanwhile(self):
        server = self.files(2)
        self.expect(DONE, "get", server.url("/0"))
        folder = os.path.join(self.transfers, "files")
        before = os.stat(folder).st_mtime_ns
        self.expect(DONE, "get", server.url("/1"))
        self.assert_files()
        # Each name that came or went would have changed it.
        self.assertEqual((os.stat(folder).st_mtime_ns, os.listdir(folder)), (before, []))

    def test_a_transfer_that_fails_keeps_its_log(self):
        server = self.serve(HTTPServer(lambda number, request: [http("200 OK", b"abc", length=9)]))
        self.expect(NETWORK, "get", server.url("/f"), *ONCE)
        self.assertIn("  Downloading...\n  Server connection terminated.\n", self.expect(DONE, "show", "1").output)

    def test_numbers_are_never_used_again(self):
        server = self.files(2)
        self.expect(DONE, "add", server.url("/0"))
        self.expect(DONE, "run")
        self.assertIn("saved as transfer 2: ", self.expect(DONE, "add", server.url("/1")).errors)

    def test_url_that_is_saved_already_is_found(self):
        server = self.files(1)
        for _ in range(2):
            self.assertIn("saved as transfer 1: ", self.expect(DONE, "add", server.url("/0")).errors)
        self.assertEqual(self.stored(), ["1.conf", "1.vrx"])
        self.expect(DONE, "get", server.url("/0"))
        self.assertEqual(self.stored(), [])
        self.assert_files()

    def test_files_go_where_they_were_added(self):
        server = self.files(1)
        self.expect(DONE, "add", server.url("/0"))
        os.mkdir(self.path("elsewhere"))
        inside, self.folder = self.folder, self.path("elsewhere")
        self.expect(DONE, "run")
        self.assertEqual(self.names(), [])
        self.folder = inside
        self.assert_file("0", self.content["/0"])

    def test_another_url_replaces_a_download_that_failed_without_a_byte(self):
        server = self.files(1)
        dead = "http://127.0.0.1:%d/0" % ports.unused()
        result = self.expect(NETWORK, "get", dead, *ONCE)
        self.assertIn("qz: saved as transfer 1; rerun the command, or qz run, to try again\n", result.errors)
        result = self.expect(DONE, "get", server.url("/0"))
        self.assertIn("qz: replacing transfer 1, which failed without a byte of %s\n" % dead, result.errors)
        self.assert_files()
        self.assertEqual(self.stored(), [])
        self.assertEqual(os.listdir(os.path.join(self.transfers, "files")), [])

    def test_another_url_does_not_replace_what_was_only_added_or_has_begun(self):
        server = self.files(1)
        other = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x" * 100, length=200)]))
        self.expect(DONE, "add", other.url("/0"))
        for _ in range(2):
            for command in ("add", "get"):
                result = self.expect(OTHER, command, server.url("/0"))
                self.assertIn('transfer 1 gets "%s" from %s; add this URL to it with --mirror' %
                              (system_path(self.path("0")), other.url("/0")),
                              result.errors)
                self.assertIn("qz remove 1", result.errors)
            self.expect(NETWORK, "run", *ONCE)
        self.assertEqual((self.names(), server.count), (["0.part"], 0))

    def test_output_names_the_file_that_is_taken(self):
        server = self.files(2)
        self.expect(DONE, "add", server.url("/0"), "-o", "mine")
        self.assertIn('transfer 1 gets "%s"' % system_path(self.path("mine")), self.expect(OTHER, "get", server.url("/1"), "-o", "mine").errors)

    def test_two_folders_of_transfers_know_nothing_of_each_other(self):
        """Old files that only the other folder's records name stay."""
        self.write("data", DATA)
        full = self.serve(FTPServer({}))
        full.cut = (100000, "reset")
        self.expect(NETWORK, "put", "data", full.url("data"), *ONCE)
        files = os.path.join(self.transfers, "files")
        kept = sorted(os.listdir(files))
        self.assertTrue(any(name.startswith("vrxData") for name in kept), kept)
        for name in kept:
            os.utime(os.path.join(files, name), (0, time.time() - 7200))
        server = self.files(1)
        other = {"QZ_TRANSFERS": system_path(self.transfers + "/other")}
        self.expect(DONE, "get", server.url("/0"), environment=other)
        self.expect(DONE, "run", environment=other)
        self.assertEqual(sorted(os.listdir(files)), kept)

    def test_urls_come_from_standard_input(self):
        for command in ("add", "get"):
            server = self.files(3)
            lines = "# a list\n\n  %s\r\n%s\n\t\n%s" % tuple(server.url("/%d" % number) for number in range(3))
            self.expect(DONE, command, "-", stdin=lines.encode())
            if command == "add":
                self.assertEqual(len(self.stored()), 6)
                self.expect(DONE, "run")
            self.assert_files()
            self.assertEqual(self.stored(), [])
            for name in self.names():
                os.remove(self.path(name))

    def test_wrong_line_of_standard_input_saves_nothing(self):
        server = self.files(1)
        self.expect(USAGE, "add", "-", stdin=("%s\nnonsense\n" % server.url("/0")).encode())
        self.assertFalse(os.path.exists(self.transfers) and self.stored())

    def test_what_failed_for_good_waits_for_retry(self):
        server = self.files(2)
        later = self.content.pop("/1")
        self.expect(DONE, "add", server.url("/0"), server.url("/1"))
        self.expect(NOT_FOUND, "run")
        self.assert_files()
        self.assertEqual(self.stored(), ["2.conf", "2.vrx"])
        self.asked.clear()
        result = self.expect(DONE, "run")
        self.assertIn("1 transfer failed before and will not be run; qz retry N tries one again", result.errors)
        self.assertEqual(self.asked, [])
        self.expect(NOT_FOUND, "retry", "2")
        self.content["/1"] = later
        self.expect(DONE, "retry", "2")
        self.assert_files()
        self.assertEqual(self.stored(), [])

    def test_retry_of_a_number_that_is_not_there_runs_nothing(self):
        server = self.files(1)
        self.expect(DONE, "add", server.url("/0"))
        result = self.run_qz("retry", "1", "9")
        self.assertEqual(result.code, NOT_FOUND)
        self.assertIn("there is no transfer 9", result.errors)
        self.assertEqual((server.count, self.stored()), (0, ["1.conf", "1.vrx"]))

    def test_others_run_when_one_cannot_be_written(self):
        server = self.files(2)
        self.expect(DONE, "add", server.url("/0"), server.url("/1"))
        os.mkdir(self.path("0.part"))
        self.expect(DISK, "run", "--jobs", "1")
        self.assert_file("1", self.content["/1"])

    def test_connection_that_fails_waits_for_the_next_run(self):
        server = self.files(1)
        self.expect(DONE, "add", server.url("/0"))
        answer, server.answer = server.answer, lambda number, request: []
        self.expect(NETWORK, "run", *ONCE)
        self.assertEqual(self.stored(), ["1.conf", "1.vrx"])
        server.answer = answer
        self.expect(DONE, "run")
        self.assert_files()

    def test_jobs_run_at_once(self):
        together = threading.Barrier(4)
        def answer(number, request):
            together.wait(20)
            return [http("200 OK", b"x")]
        server = self.serve(HTTPServer(answer))
        self.expect(DONE, "add", *[server.url("/%d" % number) for number in range(8)])
        self.expect(DONE, "run")
        self.assertEqual(len(self.names()), 8)

    def test_many_transfers_reach_a_server_that_answers_every_third_connection(self):
        count = 60 if on_windows() else 1000
        server = self.files(count, 100)
        answer = server.answer
        server.answer = lambda number, request: answer(number, request) if number % 3 == 2 else []
        urls = "\n".join(server.url("/%d" % number) for number in range(count))
        self.expect(DONE, "add", "-", "--quiet", stdin=urls.encode(), seconds=120)
        self.assertEqual(len(self.stored()), 2 * count)
        self.assertEqual(self.expect(DONE, "list").output.count("\n"), count + 1)
        self.expect(DONE, "run", "--jobs", "4", "--quiet", "--retries", "100", *SOON, seconds=180)
        self.assert_files()
        self.assertEqual(self.stored(), [])
        self.assertGreater(server.count, 2 * count)

    def test_damaged_record_is_named_and_stays_while_the_others_run(self):
        server = self.files(4)
        self.expect(DONE, "add", *[server.url("/%d" % number) for number in range(4)])
        damaged = {"1.vrx": 40, "3.conf": 30}
        for name, length in damaged.items():
            os.truncate(os.path.join(self.transfers, name), length)
        before = {name: self.stored_file(name) for name in ("1.vrx", "3.conf", "3.vrx")}
        result = self.expect(OTHER, "run")
        self.assertIn("transfer 1: the record of the transfer is damaged", result.errors)
        self.assertIn("3.conf", result.errors)
        self.assertEqual(self.names(), ["1", "3"])
        self.assertEqual(self.stored(), ["1.conf", "1.vrx", "3.conf", "3.vrx"])
        for name, data in before.items():
            self.assertEqual(self.stored_file(name), data, name)

    # ---- settings that are saved

    def test_overwrite_replaces_the_file_when_the_new_one_is_whole(self):
        server = self.files(1)
        self.write("0", b"old")
        self.expect(DONE, "add", "--overwrite", server.url("/0"))
        answer, server.answer = server.answer, lambda number, request: [http("200 OK", b"half", length=3000)]
        self.expect(NETWORK, "run", *ONCE)
        self.assertEqual(self.read("0"), b"old")
        server.answer = lambda number, request: [http("200 OK", self.content["/0"])]
        self.expect(DONE, "run")
        self.assert_files()

    def test_without_overwrite_the_file_stays(self):
        server = self.files(1)
        self.expect(DONE, "add", server.url("/0"))
        self.write("0", b"old")
        self.expect(DONE, "run")
        self.assertEqual(self.read("0"), b"old")
        self.assert_file("0(0)", self.content["/0"])

    def test_active_mode_that_was_saved_is_kept_by_a_command_without_it(self):
        server = self.serve(FTPServer({"data": DATA}))
        self.expect(DONE, "add", "--active", server.url("data"))
        self.expect(DONE, "get", server.url("data"))
        self.assertIn("PORT", server.verbs())
        self.assertNotIn("PASV", server.verbs())

    @only_posix
    def test_sync_flushes_the_data_before_the_file_gets_its_name(self):
        server = self.files(2)
        self.expect(DONE, "add", "--sync", server.url("/0"))
        self.expect(DONE, "add", server.url("/1"))
        self.expect(DONE, "run", environment=preloaded(self, QZ_FLUSHED=self.path("flushed")))
        flushed = self.read("flushed").decode().split("\n")
        self.assertIn(self.path("0.part"), flushed)
        self.assertNotIn(self.path("1.part"), flushed)

    # ---- passwords

    def with_password(self, server, *options):
        self.write("secret", b"s3cr3t-w0rd\n")
        self.expect(DONE, "add", server.url("data"), "--user", "me", *options)

    def test_saved_password_is_used(self):
        server = self.serve(FTPServer({"data": DATA}))
        self.with_password(server, "--password-file", "secret", "--save-password")
        self.assertIn(b"s3cr3t-w0rd", self.stored_bytes())
        self.expect(DONE, "run")
        self.assert_file("data", DATA)
        self.assertIn((0, "PASS s3cr3t-w0rd"), server.commands)

    @only_posix
    def test_missing_password_is_the_failure_of_its_transfer_alone(self):
        server = self.serve(FTPServer({"data": DATA}))
        others = self.files(2)
        self.with_password(server)
        self.expect(DONE, "add", others.url("/0"), others.url("/1"))
        result = self.expect(USAGE, "run", start_new_session=True)
        self.assertIn('no password for "me"', result.errors)
        self.assertEqual(self.names(), ["0", "1", "secret"])
        self.assertEqual((server.count, self.stored()), (0, ["1.conf", "1.vrx"]))
        self.expect(DONE, "run", "--password-file", "secret", start_new_session=True)
        self.assert_file("data", DATA)

    def test_user_of_a_later_command_takes_the_place_of_the_saved_one(self):
        server = self.serve(FTPServer({"data": DATA}))
        self.with_password(server)
        self.expect(DONE, "get", server.url("data"), "--user", "you", "--password-file", "secret")
        self.assertEqual([line for _, line in server.commands][:2], ["USER you", "PASS s3cr3t-w0rd"])

    def test_password_is_in_no_file_unless_it_is_to_be_saved(self):
        server = self.serve(FTPServer({"data": DATA}))
        self.write("secret", b"s3cr3t-w0rd\n")
        server.cut = (500000, "fin")
        for url, login in ((server.url("data", "me:s3cr3t-w0rd@"), ()),
                           (server.url("data"), ("--user", "me", "--password-file", "secret"))):
            self.expect(NETWORK, "get", url, *login, *ONCE)
            self.assertEqual(self.stored(), ["1.conf", "1.vrx"])
            self.assertNotIn(b"s3cr3t-w0rd", self.stored_bytes())
        server.cut = None
        self.expect(DONE, "get", server.url("data"), "--user", "me", "--password-file", "secret")
        self.assert_file("data", DATA)
        self.assertEqual([start[3] for start in server.starts], [0, 500000, 1000000])


class TwoPrograms(SavedRun):
    def test_second_run_says_what_the_first_one_runs(self):
        server = self.files(2, 200000)
        answer = server.answer
        def stalls_first(number, request):
            pieces = answer(number, request)
            return [pieces[0][:150000], "stall"] if "/0 " in request else pieces
        server.answer = stalls_first
        self.expect(DONE, "add", server.url("/0"))
        first = self.start_qz("run", "--timeout", "20")
        self.wait_for(lambda: self.asked)
        self.expect(DONE, "add", server.url("/1"))
        result = self.expect(OTHER, "run")
        self.assertIn("transfer 1 is running in another program", result.errors)
        self.assertEqual(self.asked, ["/0", "/1"])
        self.assert_file("1", self.content["/1"])
        self.assertIn("1.vrx", self.stored())
        first.kill()
        first.wait()
        server.answer = answer
        self.expect(DONE, "run")
        self.assert_files()

    def test_two_runs_at_once_drive_each_transfer_once(self):
        count = 12 if on_windows() else 60
        server = self.files(count, 20000)
        answer = server.answer
        def slowly(number, request):
            time.sleep(0.02)
            return answer(number, request)
        server.answer = slowly
        self.expect(DONE, "add", "-", stdin="\n".join(server.url(path) for path in self.content).encode())
        programs = [self.start_qz("run", "--jobs", "2", "--quiet") for _ in range(2)]
        for program_ in programs:
            _, errors = program_.communicate(timeout=60)
            self.assertIn(program_.returncode, (DONE, OTHER), errors)
            for line in errors.decode().splitlines():
                self.assertIn("is running in another program", line)
        self.expect(DONE, "run")
        self.assertEqual(sorted(self.asked), sorted(self.content))
        self.assert_files()
        self.assertEqual(self.stored(), [])


if __name__ == "__main__":
    unittest.main()
