"""qz put: storing on an FTP server."""

import time
import unittest
import unittest.mock

from support import *

DATA = some_bytes(400000, 4)
SOON = ("--retry-wait", "0")


class Put(ProgramTest):
    def setUp(self):
        super().setUp()
        self.write("local.bin", DATA)
        self.server = self.serve(FTPServer())

    def test_stores_every_byte(self):
        self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"))
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_takes_the_files_name_for_a_folder(self):
        self.server.folders.add("inbox")
        self.expect(DONE, "put", "local.bin", self.server.url("inbox/"))
        self.assertEqual(digest(self.server.files["inbox/local.bin"]), digest(DATA))

    def test_stores_in_active_mode(self):
        self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"), "--active")
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_stores_an_empty_file(self):
        self.write("empty", b"")
        self.expect(DONE, "put", "empty", self.server.url("empty"))
        self.assertEqual(self.server.files["empty"], b"")

    def starts(self):
        """Path and offset of each upload that was begun."""
        return [(path, offset) for _, verb, path, offset in self.server.starts if verb == "STOR"]

    def test_replaces_what_the_server_has_and_says_so(self):
        for old in (DATA[:150000], b"z" * 150000, DATA, b"z" * 500000):
            self.server.files["remote.bin"] = old
            result = self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"))
            self.assertRegex(result.errors, r'replacing "remote.bin" on the server \((146.5|390.6|488.3) KiB\)')
            self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))
        self.assertEqual(self.starts(), [("remote.bin", 0)] * 4)
        self.assertEqual(self.server.verbs().count("DELE"), 4)

    def test_replaces_a_file_whose_size_is_not_told(self):
        self.server.files["remote.bin"] = b"z" * 150000
        self.server.size = "502 no SIZE"
        result = self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"))
        self.assertIn('replacing "remote.bin" on the server\n', result.errors)
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_replaces_nothing_that_may_not_be_removed(self):
        self.server.files["remote.bin"] = DATA[:150000]
        self.server.dele = "550 not yours"
        result = self.expect(LOGIN, "put", "local.bin", self.server.url("remote.bin"))
        self.assertIn('does not let it be replaced: "550 not yours"', result.errors)
        self.assertIn("--continue", result.errors)
        self.assertEqual(self.server.files["remote.bin"], DATA[:150000])
        self.assertEqual(self.server.starts, [])

    def test_continue_sends_only_the_rest(self):
        self.server.files["remote.bin"] = DATA[:150000]
        result = self.expect(DONE, "put", "--continue", "local.bin", self.server.url("remote.bin"))
        self.assertEqual(self.starts(), [("remote.bin", 150000)])
        self.assertIn("qz: resuming at 146.5 KiB\n", result.errors)
        self.assertNotIn("DELE", self.server.verbs())
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_continue_sends_nothing_when_it_is_there(self):
        self.server.files["remote.bin"] = DATA
        result = self.expect(DONE, "put", "--continue", "local.bin", self.server.url("remote.bin"))
        self.assertEqual(self.server.starts, [])
        self.assertIn("--restart", result.errors)

    def test_continue_sends_all_of_it_when_the_servers_is_longer(self):
        self.server.files["remote.bin"] = b"z" * 500000
        result = self.expect(DONE, "put", "--continue", "local.bin", self.server.url("remote.bin"))
        self.assertIn('qz: "remote.bin" is longer on the server (488.3 KiB): sending all of it\n', result.errors)
        self.assertEqual(self.starts(), [("remote.bin", 0)])
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_continue_sends_all_of_it_when_rest_is_refused(self):
        self.server.files["remote.bin"] = DATA[:150000]
        self.server.rest = False
        self.expect(DONE, "put", "--continue", "local.bin", self.server.url("remote.bin"))
        self.assertEqual(self.starts(), [("remote.bin", 0)])
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_sends_all_of_it_again_with_restart(self):
        self.server.files["remote.bin"] = b"z" * 150000
        self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"), "--restart")
        self.assertEqual(self.starts(), [("remote.bin", 0)])
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_resumes_by_itself_after_a_cut(self):
        # The first connection asks whether there is a file of that name.
        self.server.cut = lambda number: (100000, "reset") if number == 1 else None
        self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"), *SOON)
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))
        self.assertEqual(self.starts(), [("remote.bin", 0), ("remote.bin", 100000)])

    def test_first_connection_is_tried_again_too(self):
        self.server.greeting = lambda number: "421 too many" if number < 2 else "220 ready"
        result = self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"), *SOON)
        self.assertIn("(retry 2 of 5)", result.errors)
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_full_server_is_not_tried_for_ever_and_what_it_did_not_keep_is_no_progress(self):
        def on_stor(session, name):
            session.say("150 send it")
            data = session.open_data()
            received = b""
            while more := data.recv(65536):
                received += more
            offset = session.begin("STOR", name)
            session.server.files[name] = (session.server.files.get(name, b"")[:offset] + received)[:50000]
            data.close()
            session.say("451 Failure writing to local file.")
        with unittest.mock.patch.object(Session, "on_stor", on_stor):
            result = self.expect(NETWORK, "put", "local.bin", self.server.url("x"), "--retries", "2", *SOON)
        # The first, and two without progress.
        self.assertEqual(self.starts(), [("x", 0), ("x", 50000), ("x", 50000)], result)
        self.assertEqual(result.errors.count("resuming at 48.8 KiB"), 2, result)
        self.assertEqual(result.errors.count("resuming at"), 2, result)
        self.assertIn("451 Failure writing to local file.", result.errors)

    def test_not_stored_without_the_final_reply(self):
        self.server.final = ""
        self.expect(NETWORK, "put", "local.bin", self.server.url("remote.bin"), "--retries", "0")

    def test_full_disk_on_the_server_gives_1(self):
        self.server.final = "552 full"
        result = self.expect(OTHER, "put", "local.bin", self.server.url("remote.bin"), "--retries", "0")
        self.assertIn('"552 full"; disk full or quota exceeded on the server', result.errors)

    def test_missing_local_file_gives_3_and_asks_nobody(self):
        self.expect(NOT_FOUND, "put", "nothing", self.server.url("remote.bin"))
        self.assertEqual(self.server.count, 0)

    def test_folder_is_refused(self):
        os.mkdir(self.path("folder"))
        result = self.expect(USAGE, "put", "folder", self.server.url("remote.bin"))
        self.assertIn("is a folder", result.errors)
        self.assertEqual(self.server.count, 0)

    @only_posix
    def test_pipe_is_refused_at_once(self):
        os.mkfifo(self.path("pipe"))
        result = self.expect(DISK, "put", "pipe", self.server.url("remote.bin"), seconds=20)
        self.assertIn("not a regular file", result.errors)
        self.assertEqual(self.server.count, 0)

    def change_while_sent(self, change):
        def on_stor(session, name):
            change()
            return stor(session, name)
        stor = Session.on_stor
        return unittest.mock.patch.object(Session, "on_stor", on_stor)

    @only_posix
    def test_file_that_changes_while_it_is_sent_is_stored_as_it_was(self):
        def grow():
            with open(self.path("local.bin"), "ab") as file:
                file.write(b"more")
        for change in (grow, lambda: os.truncate(self.path("local.bin"), 1000)):
            self.write("local.bin", DATA)
            with self.change_while_sent(change):
                self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"))
            self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    @only_posix
    def test_line_end_in_the_files_name_is_never_sent(self):
        server = self.serve(FTPServer())
        self.write("a\r\nDELE b", b"x")
        self.expect(USAGE, "put", "a\r\nDELE b", server.url(""))
        self.assertEqual(server.count, 0)

    def test_server_that_takes_bytes_slowly_is_no_time_out(self):
        """A system may report room only when a third of its send buffer is free, which takes a slow peer long."""
        data = some_bytes(12000000, 5)
        received = []
        def on_pasv_with_a_small_window(session, argument):
            # A large window would open again only when much of it is free, and no byte could be sent before.
            listen = ports.listen
            def listen_small():
                listener = listen()
                listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8192)
                return listener
            with unittest.mock.patch.object(ports, "listen", listen_small):
                return on_pasv(session, argument)
        def take_slowly_at_first(session, name):
            session.say("150 send it")
            connection = session.open_data()
            begun = time.monotonic()
            while True:
                is_slow = time.monotonic() - begun < 8
                piece = connection.recv(3000 if is_slow else 1000000)
                if not piece:
                    break
                received.append(piece)
                if is_slow:
                    time.sleep(0.1)
            connection.close()
            session.server.files[name] = b"".join(received)
            return session.end_data()
        on_pasv = Session.on_pasv
        self.write("large.bin", data)
        with unittest.mock.patch.object(Session, "on_pasv", on_pasv_with_a_small_window), \
             unittest.mock.patch.object(Session, "on_stor", take_slowly_at_first):
            self.expect(DONE, "put", "large.bin", self.server.url("x"), "--timeout", "3", "--retries", "0")
        self.assertEqual(digest(self.server.files["x"]), digest(data))

    def test_server_that_sends_on_the_upload_connection_does_not_hold_the_program(self):
        def endless(session, name):
            session.say("150 send it")
            data = session.open_data()
            try:
                while not session.server.stopping.is_set():
                    data.sendall(b"x" * 4096)
            except OSError:
                pass
            return "close"
        with unittest.mock.patch.object(Session, "on_stor", endless):
            server = self.serve(FTPServer())
            self.write("file", b"x" * 10)
            self.expect(NETWORK, "put", "file", server.url("x"), "--timeout", "2", "--retries", "0")

    def test_mixes_nothing_where_the_server_keeps_the_old_file_until_the_new_one_is_whole(self):
        old, new = some_bytes(1000, 3), some_bytes(200000, 4)
        server = self.serve(FTPServer({"x": old}))
        whole = Session.on_stor
        def replace_at_the_end(session, name):
            if session.number > 1:
                return whole(session, name)
            session.begin("STOR", name)
            session.say("150 send it")
            data = session.open_data()
            data.recv(65536)
            reset(data)
            return "close"
        self.write("x", new)
        with unittest.mock.patch.object(Session, "on_stor", replace_at_the_end):
            self.expect(DONE, "put", "x", server.url("x"), "--retry-wait", "0")
        self.assertEqual(digest(server.files["x"]), digest(new))
        self.assertEqual([start[2:] for start in server.starts], [("x", 0), ("x", 0)])

    def test_mixes_nothing_when_a_file_appears_before_the_first_byte(self):
        def on_mirr(session, path):
            if session.number == 1:
                session.server.files["remote.bin"] = b"another's"
            session.say("502 not known")
        with unittest.mock.patch.object(Session, "on_mirr", on_mirr, create=True):
            result = self.expect(DONE, "put", "local.bin", self.server.url("remote.bin"), *SOON)
        self.assertIn('"remote.bin" has appeared on the server', result.errors)
        self.assertEqual(digest(self.server.files["remote.bin"]), digest(DATA))

    def test_http_is_refused(self):
        self.expect(USAGE, "put", "local.bin", "http://127.0.0.1:1/x")


if __name__ == "__main__":
    unittest.main()
