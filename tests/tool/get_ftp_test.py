"""qz get, ls and size over FTP against servers that do what no good server does."""

import signal
import unittest
import unittest.mock

from support import *

DATA = some_bytes(300000, 2)
SOON = ("--retry-wait", "0")


class FTPGet(ProgramTest):
    def server(self, **attributes):
        server = self.serve(FTPServer({"data": DATA, "sub/file.txt": b"in a folder"}))
        for name, value in attributes.items():
            setattr(server, name, value)
        return server

    def test_gets_a_file_anonymously(self):
        server = self.server()
        self.expect(DONE, "get", server.url("sub/file.txt"))
        self.assertEqual(self.read("file.txt"), b"in a folder")
        self.assertEqual([line for _, line in server.commands if not line.startswith("PASS")],
                         ["USER ftp", "MIRR sub/file.txt", "CWD sub", "CWD file.txt", "TYPE I", "SIZE file.txt",
                          "REST 100", "REST 0", "PASV", "RETR file.txt", "QUIT"])

    def test_gets_a_file_in_active_mode(self):
        server = self.server()
        self.expect(DONE, "get", server.url("data"), "--active")
        self.assert_file("data", DATA)
        self.assertIn("PORT", server.verbs())

    def test_url_login_is_used(self):
        server = self.server()
        self.expect(DONE, "get", server.url("data", "me%40home:p%3Aw@"))
        self.assertEqual([line for _, line in server.commands][:2], ["USER me@home", "PASS p:w"])

    def test_user_and_password_file_are_used(self):
        self.write("pw.txt", b"geheim\r\nsecond line")
        server = self.server()
        self.expect(DONE, "get", server.url("data"), "--user", "me", "--password-file", "pw.txt")
        self.assertEqual([line for _, line in server.commands][:2], ["USER me", "PASS geheim"])

    def test_password_comes_from_standard_input(self):
        server = self.server()
        self.expect(DONE, "get", server.url("data"), "--user", "me", "--password-file", "-", stdin=b"typed\n")
        self.assertEqual([line for _, line in server.commands][:2], ["USER me", "PASS typed"])

    def test_refused_login_gives_5_and_is_not_tried_again(self):
        server = self.server(login="530 go away")
        result = self.expect(LOGIN, "get", server.url("data"), *SOON)
        self.assertEqual(server.count, 1)
        self.assertIn("go away", result.errors)

    def test_missing_file_gives_3(self):
        for mode in ((), ("--active",)):
            server = self.server()
            self.expect(NOT_FOUND, "get", server.url("nothing"), *mode)
            self.assertEqual(self.names(), [])

    def test_codes_of_the_greeting(self):
        for greeting, code, connections in (("500 broken", PROTOCOL, 1), ("hello there", PROTOCOL, 1),
                                            ("421 too many", NETWORK, 3)):
            server = self.server(greeting=greeting)
            self.expect(code, "get", server.url("data"), "--retries", "2", *SOON)
            self.assertEqual(server.count, connections, greeting)

    # ---- cut and resumed

    def test_resumes_by_itself_after_a_cut_at_any_byte(self):
        for how in ("fin", "reset"):
            for cut in (1, 4097, 299999):
                server = self.server(cut=lambda number, cut=cut, how=how: (cut, how) if number == 0 else None)
                name = "%s-%d" % (how, cut)
                server.files[name] = DATA
                self.expect(DONE, "get", server.url(name), *SOON)
                self.assert_file(name, DATA)
                if how == "fin":
                    self.assertIn((1, "REST %d" % cut), server.commands)

    def test_resumes_after_a_stall(self):
        server = self.server(cut=lambda number: (100000, "stall") if number == 0 else None)
        self.expect(DONE, "get", server.url("data"), "--timeout", "1", *SOON)
        self.assert_file("data", DATA)

    def test_resumes_a_part_that_was_left(self):
        self.write("data.part", DATA[:4321])
        server = self.server()
        result = self.expect(DONE, "get", server.url("data"))
        self.assertIn((0, "REST 4321"), server.commands)
        self.assert_file("data", DATA)
        self.assertEqual(self.names(), ["data"])
        self.assertIn("qz: resuming at 4.2 KiB\n", result.errors)

    def test_speed_is_that_of_the_bytes_that_came(self):
        self.write("data.part", DATA)
        result = self.expect(DONE, "get", self.server().url("data"))
        self.assertIn('qz: saved "data" (293.0 KiB)\n', result.errors.replace("\r", ""))

    def test_starts_again_when_the_server_refuses_rest(self):
        self.write("data.part", b"y" * 4321)
        server = self.server(rest=False)
        result = self.expect(DONE, "get", server.url("data"))
        self.assert_file("data", DATA)
        self.assertIn("the server does not support resuming: restarting from the beginning", result.errors)

    def test_starts_again_when_the_file_became_smaller(self):
        self.write("data.part", b"y" * 300001)
        server = self.server()
        result = self.expect(DONE, "get", server.url("data"))
        self.assert_file("data", DATA)
        self.assertIn("the file on the server became smaller: restarting from the beginning", result.errors)
        self.assertEqual(server.starts, [(0, "RETR", "data", 0)])

    def test_starts_again_when_the_size_changed_between_attempts(self):
        longer = some_bytes(400000, 3)
        def cut(number):
            if number == 0:
                return (1000, "fin")
            return None
        server = self.server(cut=cut)
        original = server._value
        def value(name, number):
            if number == 1:
                server.files["data"] = longer
            return original(name, number)
        server._value = value
        result = self.expect(DONE, "get", server.url("data"), *SOON)
        self.assert_file("data", longer)
        self.assertIn("the file on the server changed: restarting from the beginning", result.errors)
        self.assertEqual([start[3] for start in server.starts], [0, 0])

    def test_mixes_nothing_when_an_attempt_fails_after_the_size_changed(self):
        new = some_bytes(250000, 7)
        server = self.server()
        def size(number):
            if number > 0:
                server.files["data"] = new
        server.size = size
        server.cut = lambda number: (100000, "reset") if number == 0 else None
        server.pasv = lambda number: "425 not now" if number == 1 else None
        self.expect(DONE, "get", server.url("data"), "--retry-wait", "0")
        self.assert_file("data", new)
        self.assertEqual(server.starts, [(0, "RETR", "data", 0), (2, "RETR", "data", 0)])

    def test_names_a_part_that_is_whole(self):
        self.write("data.part", DATA)
        server = self.server()
        self.expect(DONE, "get", server.url("data"))
        self.assert_file("data", DATA)
        self.assertEqual(server.starts, [(0, "RETR", "data", 300000)])

    def test_part_is_not_cut_when_the_server_refuses(self):
        self.write("nothing.part", b"keep me")
        server = self.server()
        self.expect(NOT_FOUND, "get", server.url("nothing"))
        self.assertEqual(self.read("nothing.part"), b"keep me")
        # Nor is it that server's from now on.
        other = self.server()
        other.files["nothing"] = b"keep me, and more"
        self.expect(DONE, "get", other.url("nothing"))
        self.assertEqual(self.read("nothing"), b"keep me, and more")
        self.assertEqual(other.starts, [(0, "RETR", "nothing", 7)])

    # ---- the end of a transfer

    def test_not_complete_without_the_final_reply(self):
        server = self.server(final="")
        self.expect(NETWORK, "get", server.url("data"), "--retries", "0")
        self.assertEqual(self.names(), ["data.part"])

    def test_not_complete_while_the_final_reply_does_not_come(self):
        server = self.server(final="silent")
        self.expect(NETWORK, "get", server.url("data"), "--retries", "0", "--timeout", "1")
        self.assertEqual(self.names(), ["data.part"])

    def test_not_complete_when_the_final_reply_is_a_failure(self):
        server = self.server()
        for final, code in (("426 aborted", NETWORK), ("451 local error", NETWORK), ("550 oops", NOT_FOUND)):
            server.final = final
            self.expect(code, "get", server.url("data"), "--retries", "0", "--restart")
            self.assertEqual(self.names(), ["data.part"])

    def test_missing_final_reply_is_made_good_by_asking_again(self):
        server = self.server(final=lambda number: "" if number == 0 else "226 done")
        self.expect(DONE, "get", server.url("data"), *SOON)
        self.assert_file("data", DATA)

    def test_refusal_behind_data_that_came_is_tried_again(self):
        server = self.server(final=lambda number: "550 oops" if number == 0 else "226 done")
        self.expect(DONE, "get", server.url("data"), *SOON)
        self.assertEqual([offset for _, _, _, offset in server.starts], [0, 300000])
        self.assert_file("data", DATA)

    def test_not_complete_when_size_promises_more(self):
        server = self.server(size="213 300500")
        result = self.expect(NETWORK, "get", server.url("data"), "--retries", "2", *SOON)
        self.assertEqual(self.names(), ["data.part"])
        self.assertIn("connection closed after 300,000 of 300,500 bytes", result.errors)

    def test_not_complete_when_size_promises_less(self):
        server = self.server(size="213 200000")
        for _ in range(2):  # nor by a rerun
            result = self.expect(PROTOCOL, "get", server.url("data"), *SOON)
            self.assertIn("sent more than the reported 200,000 bytes", result.errors)
            self.assertEqual(self.names(), ["data.part"])
            self.assertEqual(self.read("data.part"), DATA[:200000])
        server.size = None
        self.expect(DONE, "get", server.url("data"))
        self.assert_file("data", DATA)

    def test_sizes_that_cannot_be_used_count_as_unknown(self):
        for size in ("550 not for you", "502 no SIZE", "213 junk", "213"):
            server = self.server(size=size)
            self.expect(DONE, "get", server.url("data"))
            self.assert_file("data", DATA)
            os.remove(self.path("data"))

    def test_four_gibibytes_and_more_are_never_complete_when_short(self):
        server = self.server()
        for size in ("4,294,967,295", "5,368,709,120"):
            server.size = "213 " + size.replace(",", "")
            result = self.expect(NETWORK, "get", server.url("data"), "--retries", "0", "--restart")
            self.assertEqual(self.names(), ["data.part"])
            self.assertIn("connection closed after 300,000 of %s bytes" % size, result.errors)

    def test_size_that_no_disk_holds_fails_before_the_first_byte(self):
        server = self.server(size="213 9223372036854775808")
        result = self.expect(DISK, "get", server.url("data"), "--retries", "0")
        self.assertIn("disk full", result.errors)
        self.assertEqual(self.names(), [])

    def test_unknown_size_does_not_make_a_longer_part_complete(self):
        self.write("data.part", DATA + b"tail of another file")
        server = self.server(size="502 no SIZE")
        self.expect(PROTOCOL, "get", server.url("data"))
        self.assertEqual(self.names(), ["data.part"])

    def test_part_is_continued_where_the_size_is_unknown(self):
        self.write("data.part", DATA[:1000])
        server = self.server(size="502 no SIZE")
        self.expect(DONE, "get", server.url("data"))
        self.assertEqual(server.starts, [(0, "RETR", "data", 1000)])
        self.assert_file("data", DATA)

    def test_passive_replies_that_lie(self):
        port = ports.unused()
        for pasv, code in (("227 (1,2,3)", PROTOCOL), ("227 (127,0,0,256,4,5)", PROTOCOL), ("227 nowhere", PROTOCOL),
                           ("502 no", PROTOCOL), ("227 (127,0,0,1,%d,%d)" % (port >> 8, port & 255), NETWORK)):
            server = self.server(pasv=pasv)
            result = self.expect(code, "get", server.url("data"), "--retries", "1", *SOON)
            self.assertEqual(server.count, 2 if code == NETWORK else 1, pasv)
            self.assertEqual("try --active" in result.errors, code == NETWORK, result)
            self.assertEqual(self.names(), [])

    def test_line_ends_in_a_url_are_never_sent(self):
        server = self.server()
        for path in ("x%0D%0ADELE%20data", "x%0d%0aDELE data"):
            result = self.run_qz("get", server.url(path))
            self.assertNotEqual(result.code, DONE)
        self.expect(USAGE, "get", server.url("data", "me%0AQUIT:x@"))
        self.assertNotIn("DELE", server.verbs())

    def test_a_folder_is_refused_with_a_hint(self):
        result = self.expect(USAGE, "get", self.server().url("sub/"))
        self.assertIn("qz ls", result.errors)

    def test_a_folder_among_several_urls_is_refused_before_anything_is_fetched(self):
        server = self.server()
        self.expect(USAGE, "get", server.url("data"), server.url("sub/"))
        self.assertEqual(server.count, 0)

    def test_says_that_the_remaining_urls_were_skipped(self):
        os.mkdir(self.path("data.part"))
        server = self.server()
        result = self.expect(DISK, "get", server.url("data"), server.url("sub/file.txt"))
        self.assertIn("the remaining URLs were skipped", result.errors)
        self.assertEqual(server.count, 0)

    def test_null_byte_in_a_path_never_names_another_file(self):
        server = self.server()
        result = self.expect(USAGE, "get", server.url("data%00.txt"))
        self.assertIn("null byte", result.errors)
        self.assertEqual(server.count, 0)

    def test_transfer_type_in_a_url_is_refused_with_a_hint(self):
        server = self.server()
        for kind in (";type=a", ";type=i", ";TYPE=D"):
            result = self.expect(USAGE, "get", server.url("data" + kind))
            self.assertIn('omit the transfer type "%s"' % kind, result.errors)
        self.assertEqual(server.count, 0)

    def test_password_file_without_a_user_name_is_refused(self):
        self.write("pw", b"geheim\n")
        server = self.server()
        result = self.expect(USAGE, "get", server.url("data"), "--password-file", "pw")
        self.assertIn("add --user NAME", result.errors)
        self.assertEqual(server.count, 0)

    def test_empty_password_file_is_refused_and_an_empty_line_is_an_empty_password(self):
        server = self.server()
        self.write("pw", b"")
        result = self.expect(USAGE, "get", server.url("data"), "--user", "me", "--password-file", "pw")
        self.assertIn("empty", result.errors)
        self.assertEqual(server.count, 0)
        self.write("pw", b"\n")
        self.expect(DONE, "get", server.url("data"), "--user", "me", "--password-file", "pw")
        self.assertEqual([line for _, line in server.commands][:2], ["USER me", "PASS "])

    def test_password_file_needs_no_line_end(self):
        server = self.server()
        self.write("pw", b"geheim")
        self.expect(DONE, "get", server.url("data"), "--user", "me", "--password-file", "pw")
        self.assertEqual([line for _, line in server.commands][:2], ["USER me", "PASS geheim"])

    def test_server_that_is_silent_at_the_end_does_not_hold_the_program(self):
        self.write("local", b"x")
        for command in (("get", "data"), ("get", "data", "sub/file.txt"), ("ls", ""), ("size", "data"), ("put", "new")):
            server = self.server(silent_at_the_end=True)
            urls = [server.url(path) for path in command[1:]]
            began = time.monotonic()
            self.expect(DONE, command[0], *(["local"] if command[0] == "put" else []), *urls)
            # Wine takes its time to start a program.
            self.assertLess(time.monotonic() - began, 5 + 2 * len(urls))
            # An upload asks first, over a connection of its own, whether there is a file of that name.
            self.wait_for(lambda: server.verbs().count("QUIT") >= len(urls))
        self.assertEqual(self.names(), ["data", "data(0)", "file.txt", "local"])

    @only_posix
    def test_ctrl_c_while_the_server_is_left_loses_nothing(self):
        server = self.server(silent_at_the_end=True)
        process = self.start_qz("get", server.url("data"))
        self.wait_for(lambda: "QUIT" in server.verbs())
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.assertEqual(self.names(), ["data.part"])
        # The data is complete: the same command only gives it its name.
        self.expect(DONE, "get", server.url("data"))
        self.assertEqual(server.count, 1)
        self.assertEqual(self.names(), ["data"])
        self.assert_file("data", DATA)

    @only_posix
    def test_name_that_is_taken_after_ctrl_c_at_the_end_is_left_to_its_file(self):
        mine = some_bytes(len(DATA), 9)
        server = self.server(silent_at_the_end=True)
        process = self.start_qz("get", server.url("data"))
        self.wait_for(lambda: "QUIT" in server.verbs())
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=10)
        self.write("data", mine)
        killed = self.run_qz("get", server.url("data"), environment=preloaded(self, QZ_KILL_AT="/data(0)"))
        self.assertEqual(killed.code, -signal.SIGKILL, killed)
        self.assertIn('saved "data(0)"', self.expect(DONE, "get", server.url("data")).errors)
        self.assert_file("data", mine)
        self.assert_file("data(0)", DATA)

    # ---- ls and size

    def test_ls_prints_what_the_server_lists(self):
        lines = b"-rw-r--r-- 1 a b 5 Jan  1 10:00 one\r\n-rw-r--r-- 1 a b 6 Jan  1 10:00 two\r\n"
        server = self.server(listing=lines, folders={"pub"})
        result = self.expect(DONE, "ls", server.url("pub/"))
        self.assertEqual(result.output, lines.decode().replace("\r", ""))
        self.assertIn((0, "CWD pub"), server.commands)
        self.assertIn((0, "LIST"), server.commands)
        self.assertEqual(self.names(), [])

    def test_ls_names_only(self):
        server = self.server(listing=b"one\r\ntwo\r\n")
        result = self.expect(DONE, "ls", "--names", server.url(""))
        self.assertEqual(result.output, "one\ntwo\n")
        self.assertIn((0, "NLST"), server.commands)
        self.assertNotIn("CWD", server.verbs())

    def test_ls_makes_control_bytes_harmless(self):
        server = self.server(listing=b"a\x1b[2Jb\x07c\x9b31md\r\n\xc2\x9bx\xc3\xa4\r\n")
        result = self.expect(DONE, "ls", server.url(""))
        self.assertEqual(result.output, "a?[2Jb?c?31md\n?x\u00e4\n")

    def test_ls_of_an_empty_folder_prints_nothing(self):
        self.assertEqual(self.expect(DONE, "ls", self.server(listing=b"").url("")).output, "")

    def test_ls_loses_nothing_after_a_very_long_line(self):
        server = self.server(listing=b"x" * 20000 + b"\r\nlast\r\n")
        output = self.expect(DONE, "ls", server.url("")).output
        self.assertEqual(output.count("x"), 20000)
        self.assertTrue(output.endswith("last\n"))

    def test_ls_of_a_missing_folder_gives_3(self):
        self.expect(NOT_FOUND, "ls", self.server().url("missing/"))

    def test_ls_that_breaks_off_gives_a_failure(self):
        server = self.server(listing=b"one\r\ntwo\r\n", final="426 broken")
        self.assertNotEqual(self.run_qz("ls", server.url("")).code, DONE)

    def test_size_shows_size_time_and_resume(self):
        result = self.expect(DONE, "size", self.server().url("data"))
        self.assertEqual(result.output, "size:   300000 bytes (293.0 KiB)\ntime:   2026-03-04 05:06:07 GMT\n"
                                        "resume: yes\n")

    def test_size_counts_in_64_bits(self):
        for size, line in (("4294967295", "4294967295 bytes (4.0 GiB)"), ("5368709120", "5368709120 bytes (5.0 GiB)"),
                           ("18446744073709551616", "unknown")):
            result = self.expect(DONE, "size", self.server(size="213 " + size).url("data"))
            self.assertEqual(result.output.split("\n")[0], "size:   " + line)

    def test_size_says_no_when_rest_is_refused(self):
        result = self.expect(DONE, "size", self.server(rest=False).url("data"))
        self.assertIn("resume: no", result.output)

    def test_size_gives_4_when_the_connection_is_lost_before_size_and_time_are_known(self):
        with unittest.mock.patch.object(Session, "on_mdtm", lambda session, argument: "close"):
            result = self.expect(NETWORK, "size", self.server().url("data"))
        self.assertEqual(result.output, "")

    def test_size_says_unknown_and_gives_4_when_the_question_whether_to_resume_fails(self):
        def leave(session, argument):
            session.say("421 going down")
            return "close"
        for answer in (lambda session, argument: "close", leave):
            with unittest.mock.patch.object(Session, "on_rest", answer):
                result = self.expect(NETWORK, "size", self.server().url("data"))
            self.assertEqual(result.output, "size:   300000 bytes (293.0 KiB)\ntime:   2026-03-04 05:06:07 GMT\n"
                                            "resume: unknown\n")
            self.assertTrue(result.errors.startswith("qz: cannot "), result)

    def test_size_of_a_missing_file_gives_3(self):
        self.expect(NOT_FOUND, "size", self.server().url("nothing"))


if __name__ == "__main__":
    unittest.main()
