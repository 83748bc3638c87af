"""The command line, local names, and what is never shown."""

import re
import unittest

from support import *

ONCE = ("--retries", "0")


class CommandLine(ProgramTest):
    def test_version_needs_nothing(self):
        result = self.expect(DONE, "--version")
        self.assertRegex(result.output, r"^qz \d+\.\d+\.\d+\n$")
        self.assertEqual(result.errors, "")

    def test_help_goes_to_standard_output_with_the_exit_codes(self):
        for arguments in (("--help",), ("get", "--help"), ("put", "--help"), ("ls", "-h"), ("size", "--help"),
                          ("help", "get")):
            result = self.expect(DONE, *arguments)
            self.assertIn("Exit codes:", result.output)
            self.assertIn("130", result.output)
            self.assertIn("Examples:", result.output)
            self.assertEqual(result.errors, "")

    def test_wrong_command_lines_give_2(self):
        url = "http://127.0.0.1:1/x"
        for arguments in ((), ("fetch", url), ("get",), ("get", "--nonsense", url), ("get", url, "-o"),
                          ("get", url, url, "-o", "one"), ("get", url, "-o", ""), ("put", "x"), ("ls",),
                          ("ls", url), ("size", url, url), ("get", url, "--progress", "loud"),
                          ("get", url, "--retries", "-1"), ("get", url, "--timeout", "0"),
                          ("get", url, "--proxy", "host"), ("get", url, "--proxy", "host:99999"),
                          ("ls", "--output", "x", "ftp://127.0.0.1:1/"), ("get", url, "--password-file", "missing")):
            result = self.expect(USAGE, *arguments)
            self.assertTrue(result.errors.startswith("qz: "), result)
            self.assertEqual(self.names(), [])

    def test_urls_that_cannot_be_used_give_2(self):
        for url in ("data.bin", "https://127.0.0.1/x", "gopher://127.0.0.1/x", "file:///etc/passwd", "://x", "http://",
                    "http:///x", "http://127.0.0.1:0/x", "http://127.0.0.1:65536/x", "http://127.0.0.1:80x/x",
                    "http://a b/x", "http://h%0Ax/x", "http://127.0.0.1/" + "x" * 2000, "http://me:pw@127.0.0.1/x",
                    "http://127.0.0.1/a\nb", "ftp://127.0.0.1/", "http://[::1]/x", "http://127.0.0.1\\x/y"):
            result = self.expect(USAGE, "get", url)
            self.assertEqual(self.names(), [], url)
            self.assertNotIn("pw", result.errors)

    def test_https_is_named_in_its_refusal(self):
        result = self.expect(USAGE, "get", "https://127.0.0.1/x")
        self.assertEqual(result.errors, 'qz: unsupported URL "https://127.0.0.1/x": https (encrypted HTTP) is not '
                                        "supported; try http:// or ftp://\n")

    def test_urls_that_are_invalid_are_called_so(self):
        for url, why in (("data.bin", "no scheme; write ftp://host/path or http://host/path"),
                         ("http:///x", "the host is missing"),
                         ("http://127.0.0.1:65536/x", "the port must be a number from 1 to 65535"),
                         ("ftp://127.0.0.1/a%00b", "it contains a null byte (%00)"),
                         ("http://a b/x", "invalid character in the host name")):
            result = self.expect(USAGE, "get", url)
            self.assertEqual(result.errors, 'qz: invalid URL "%s": %s\n' % (url, why))

    def test_command_that_is_unknown_or_missing_is_named_so(self):
        self.assertEqual(self.expect(USAGE, "fetch").errors, 'qz: unknown command "fetch"; see qz --help\n')
        self.assertEqual(self.expect(USAGE).errors, "qz: missing command; see qz --help\n")
        self.assertEqual(self.expect(USAGE, "get").errors, "qz: missing URL; see qz get --help\n")

    def test_options_before_the_command_are_refused_with_a_hint(self):
        self.assertIn("options follow it", self.expect(USAGE, "-q", "get", "http://127.0.0.1:1/x").errors)

    def test_ftp_proxy_is_refused_for_a_port_that_it_cannot_reach(self):
        result = self.expect(USAGE, "get", "ftp://127.0.0.1:2121/x", "--proxy", "127.0.0.1:1")
        self.assertIn("port 21 only", result.errors)

    def test_ftp_proxy_that_is_down_is_named(self):
        result = self.expect(NETWORK, "get", "ftp://127.0.0.1/x", "--proxy", "127.0.0.1:1", *ONCE)
        self.assertIn("through the proxy 127.0.0.1:1", result.errors)

    def test_ipv6_is_named_in_its_refusal(self):
        for url in ("http://[::1]/x", "ftp://me@[::1]:2121/x"):
            self.assertIn("IPv6", self.expect(USAGE, "get", url).errors)

    def test_hosts_that_cannot_be_connected_to_are_named_so(self):
        for scheme in ("http", "ftp"):
            result = self.expect(USAGE, "get", scheme + "://" + "h" * 256 + "/x")
            self.assertIn("the host name is too long", result.errors)
            result = self.expect(USAGE, "get", scheme + "://255.255.255.255/x")
            self.assertIn("255.255.255.255 is the broadcast address", result.errors)

    def test_option_without_a_value_is_not_called_unknown_when_it_gets_one(self):
        result = self.expect(USAGE, "get", "--quiet=3", "http://127.0.0.1:1/x")
        self.assertEqual(result.errors, 'qz: option "--quiet" takes no value; see qz get --help\n')
        result = self.expect(USAGE, "get", "--quite", "http://127.0.0.1:1/x")
        self.assertEqual(result.errors, 'qz: unknown option "--quite"; see qz get --help\n')
        result = self.expect(USAGE, "get", "http://127.0.0.1:1/x", "-o")
        self.assertEqual(result.errors, 'qz: option "-o" needs a value; see qz get --help\n')

    def test_login_for_http_is_refused(self):
        self.write("pw", b"x")
        for command in ("get", "size"):
            for option in (("--user", "me"), ("--password-file", "pw")):
                result = self.expect(USAGE, command, "http://127.0.0.1:1/x", *option)
                self.assertIn("HTTP authentication is not supported; omit --user", result.errors)

    def test_standard_output_is_no_file_to_get_into(self):
        result = self.expect(USAGE, "get", "http://127.0.0.1:1/x", "-o", "-")
        self.assertIn('"./-"', result.errors)
        self.assertEqual(self.names(), [])

    def test_unknown_host_gives_4(self):
        self.expect(NETWORK, "get", "http://no-such-host.invalid/x", *ONCE)

    def test_refused_connection_is_told_with_the_systems_number(self):
        # The system has given this port to nobody yet.
        with socket.socket() as unused:
            unused.bind(("127.0.0.1", 0))
            port = unused.getsockname()[1]
            words = "No connection could be made|Connection refused" if on_windows() else "Connection refused"
            number = 10061 if on_windows() else 111
            for scheme in ("http", "ftp"):
                result = self.expect(NETWORK, "get", "%s://127.0.0.1:%d/%s" % (scheme, port, scheme), *ONCE)
                self.assertRegex(result.errors, r"^qz: cannot connect to 127\.0\.0\.1:%d: connection refused "
                                                r"\[Sock_Connect.*: .*(%s).* \(%d\)\]\n"
                                                r"qz: saved as transfer \d+; rerun the command, or qz run, to "
                                                r"try again\n$" % (port, words, number))


class Names(ProgramTest):
    def saved(self, path):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x")]))
        self.expect(DONE, "get", server.url(path))
        names = self.names()
        self.assertEqual(len(names), 1)
        os.remove(self.path(names[0]))
        return names[0]

    def test_hostile_names_stay_in_the_folder(self):
        for path, name in (("/a/b.txt", "b.txt"), ("/", "_"), ("/a/", "_"), ("/a/..", "_" if on_windows() else "_.."), ("/.", "_" if on_windows() else "_."),
                           ("/%2E%2E%2F%2E%2E%2Fetc%2Fpasswd", "passwd"), ("/..%5C..%5Cboot.ini", "boot.ini"),
                           ("/C:x", "C_x"), ("/a%3Ab%2Ac%3Fd%22e%3Cf%3Eg%7Ch", "a_b_c_d_e_f_g_h"),
                           ("/x%1B%5B2Jy%0Az", "x_[2Jy_z"), ("/CON", "_CON"), ("/nul.txt", "_nul.txt"),
                           ("/Com1", "_Com1"), ("/lpt9.tar.gz", "_lpt9.tar.gz"), ("/console", "console"),
                           ("/trailing.", "trailing_"), ("/blank%20", "blank_"), ("/q.txt?a=b/c", "q.txt"),
                           ("/-rf", "-rf"), ("/%%", "%%")):
            self.assertEqual(self.saved(path), name, path)

    def test_long_names_are_cut_and_keep_their_extension(self):
        name = self.saved("/" + "n" * 500 + ".tar")
        self.assertEqual(name, "n" * 196 + ".tar")

    def test_output_that_is_a_folder_is_refused(self):
        os.mkdir(self.path("there"))
        for output in ("there", "there/", ".", "..", "none/x"):
            result = self.run_qz("get", "http://127.0.0.1:1/x", "-o", output)
            self.assertIn(result.code, (USAGE, DISK), output)
            if output in ("there/", ".", ".."):
                self.assertIn('"%s" is a folder; --output takes a file name' % output, result.errors)
        self.assertEqual(self.names(), ["there"])


class Privacy(ProgramTest):
    SECRET = "s3cr3t-w0rd"

    def assert_hidden(self, result):
        self.assertNotIn(self.SECRET, result.output + result.errors, result)

    def test_verbose_shows_the_messages_of_a_transfer_without_the_password(self):
        server = self.serve(FTPServer({"data": b"x"}))
        result = self.expect(DONE, "get", "-v", server.url("data", "me:%s@" % self.SECRET))
        self.assert_hidden(result)
        for line in ('* Trying "ftp://127.0.0.1:%d"...' % server.port, "* Connected.", '* Logging in as "me"...',
                     "* File size is 1 bytes.", "* Downloading..."):
            self.assertIn(line + "\n", result.errors.replace("\r", ""))

    def test_verbose_hides_the_password_where_a_message_repeats_it(self):
        server = self.serve(FTPServer({"data": b"x"}))
        result = self.expect(DONE, "get", "-v", server.url("data", "%s:%s@" % (self.SECRET, self.SECRET)))
        self.assertIn('* Logging in as "********"...\n', result.errors.replace("\r", ""))

    def test_verbose_shows_the_exchange_of_a_listing_without_the_password(self):
        server = self.serve(FTPServer())
        server.listing = b"one\r\n"
        result = self.expect(DONE, "ls", "-v", server.url("", "me:%s@" % self.SECRET))
        self.assert_hidden(result)
        for line in ("> USER me", "> PASS ********", "< 230 welcome", "> TYPE A", "< 226 done"):
            self.assertIn(line + "\n", result.errors.replace("\r", ""))

    def test_failures_never_show_the_password(self):
        server = self.serve(FTPServer({"data": b"x"}))
        server.login = "530 no"
        login = "me:%s@" % self.SECRET
        for command in ("get", "ls", "size"):
            self.assert_hidden(self.run_qz(command, "-v", server.url("data", login)))
        for url in ("http://me:%s@127.0.0.1:1/x", "ftp://me:%s@127.0.0.1:1/x", "ftp://me:%s@127.0.0.1:99999/x",
                    "gopher://me:%s@h/x", "ftp://a@me:%s@h h/x", "me:%s@host", "ftp://me:%s@h/" + "x" * 3000):
            result = self.run_qz("get", "-v", url % self.SECRET, *ONCE)
            self.assertNotEqual(result.code, DONE)
            self.assert_hidden(result)
        self.assert_hidden(self.run_qz("get", "--password=" + self.SECRET, "ftp://h/x"))

    def test_misspelt_command_lines_never_show_the_password(self):
        for arguments in (("ftp://me:%s@h/x",), ("get", "ftp:/me:%s@h/x"), ("get", "ftp://me:%s/1@h/x"),
                          ("get", "me:%s/1@h/x"), ("get", "-p%s", "ftp://h/x"), ("get", "ftp://me:%s@h/x", "-zq"),
                          ("get", "--proxy", "me:%s@127.0.0.1:1", "ftp://h/x")):
            filled = [word.replace("%s", self.SECRET) for word in arguments]
            self.assert_hidden(self.expect(USAGE, *filled))

    def test_password_that_the_server_repeats_is_not_shown(self):
        server = self.serve(FTPServer({"data": b"x"}))
        server.login = "530 what is PASS %s" % self.SECRET
        result = self.expect(LOGIN, "get", "-v", server.url("data", "me:%s@" % self.SECRET))
        self.assert_hidden(result)
        self.assertIn("530 what is PASS ***", result.errors)

    def login_reply(self, password, reply):
        server = self.serve(FTPServer({"data": b"x"}))
        server.login = reply
        self.write("password", password.encode())
        result = self.expect(LOGIN, "get", "-v", "--user", "me", "--password-file", "password", server.url("data"))
        found = re.search('refused the login of "me": "(530 .*)"; check the user name', result.errors)
        self.assertTrue(found, result)
        return found[1]

    def test_short_password_blanks_no_letters_of_other_words(self):
        self.assertEqual(self.login_reply("in", "530 Login incorrect in '/in'; begin again with in"),
                         "530 Login incorrect ******** '/********'; begin again with ********")
        self.assertEqual(self.login_reply("o", "530 No, you cannot go"), "530 No, you cannot go")
        self.assertEqual(self.login_reply("12", "530 error 1234 at 12:34"), "530 error 1234 at ********:34")
        self.assertEqual(self.login_reply("a-", "530 PASS a-"), "530 PASS ********")

    def test_long_password_is_masked_inside_other_words_too(self):
        self.assertEqual(self.login_reply("s3cr3tw0", "530 PASSs3cr3tw0, s3cr3tw0x"),
                         "530 PASS********, ********x")

    @only_posix
    def test_password_leaves_the_list_of_processes(self):
        server = self.serve(FTPServer({"data": b"x" * 1000}))
        server.cut = (500, "stall")
        process = self.start_qz("get", server.url("data", "me:%s@" % self.SECRET))
        self.wait_for(lambda: "RETR" in server.verbs())
        with open("/proc/%d/cmdline" % process.pid, "rb") as file:
            line = file.read()
        self.assertIn(b"ftp://me:***", line)
        self.assertNotIn(self.SECRET.encode(), line)

    def test_folder_as_password_file_is_refused(self):
        os.mkdir(self.path("folder"))
        server = self.serve(FTPServer({"data": b"x"}))
        self.expect(USAGE, "get", "--user", "me", "--password-file", "folder", server.url("data"))
        self.assertEqual(server.count, 0)

    def test_null_bytes_in_a_password_are_refused(self):
        self.write("password", b"one\0two\n")
        self.expect(USAGE, "get", "ftp://me@127.0.0.1:1/x", "--password-file", "password")

    def test_the_password_is_in_no_file(self):
        server = self.serve(FTPServer({"data": b"x" * 1000}))
        server.cut = (500, "fin")
        self.run_qz("get", server.url("data", "me:%s@" % self.SECRET), "--retries", "0")
        for name in self.names():
            self.assertNotIn(self.SECRET.encode(), self.read(name))

    def test_server_texts_cannot_control_the_terminal(self):
        server = self.serve(FTPServer({"data": b"x"}))
        server.login = "530 \x1b]0;title\x07\x1b[31mred \x9b1m"
        result = self.expect(LOGIN, "get", "-v", server.url("data"))
        for byte in "\x1b\x07\x9b":
            self.assertNotIn(byte, result.errors)
        self.assertIn("530 ?]0;title??[31mred", result.errors)

    def test_server_texts_are_no_formats(self):
        server = self.serve(FTPServer({"data": b"x"}))
        server.login = "530 %s%n%x 100%"
        self.assertIn("%s%n%x 100%", self.expect(LOGIN, "get", server.url("data")).errors)


class Output(ProgramTest):
    def test_quiet_says_nothing(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x")]))
        result = self.expect(DONE, "get", "-q", server.url("/x"))
        self.assertEqual(result.errors + result.output, "")

    def test_quiet_still_shows_errors(self):
        server = self.serve(HTTPServer(lambda n, request: [http("404 Not Found")]))
        self.assertIn("404", self.expect(NOT_FOUND, "get", "-q", server.url("/x")).errors)

    def test_lines_show_name_share_amount_and_time_left(self):
        data = some_bytes(3 * 1024 * 1024)
        def answer(number, request):
            whole = http("200 OK", data)
            for start in range(0, len(whole), 400000):
                time.sleep(1.1)
                yield whole[start:start + 400000]
        server = self.serve(HTTPServer(answer))
        result = self.expect(DONE, "get", server.url("/big"), "--progress", "lines")
        self.assertRegex(result.errors, r"big:   0%  0 bytes of 3\.0 MiB\n")
        self.assertRegex(result.errors, r"big:  \d\d%  \d\.\d MiB of 3\.0 MiB  \d+\.\d KiB/s  \d+ seconds? left\n")
        self.assertIn('saved "big" (3.0 MiB', result.errors)
        self.assertNotIn("\r", result.errors)

    @only_posix
    def test_closed_standard_streams_never_lead_into_a_file_or_a_connection(self):
        def close_all():
            for descriptor in (0, 1, 2):
                os.close(descriptor)
        content = some_bytes(100000)
        server = self.serve(FTPServer({"data": content}))
        server.listing = b"one\r\n"
        for command, code in (("get", DONE), ("ls", DISK)):
            process = subprocess.Popen([*program(), command, "-v", server.url("data" if command == "get" else "")],
                                       cwd=self.folder, preexec_fn=close_all)
            self.assertEqual(process.wait(RUN_SECONDS), code)
        self.assert_file("data", content)
        self.assertEqual([line for _, line in server.commands if line.split(" ")[0] not in
                          ("USER", "PASS", "TYPE", "SIZE", "PASV", "RETR", "LIST", "QUIT", "MIRR", "CWD", "REST")], [])

    def test_reader_that_closes_the_pipe_is_not_a_failure(self):
        server = self.serve(FTPServer())
        server.listing = b"".join(b"name-%06d\r\n" % number for number in range(200000))
        process = self.start_qz("ls", server.url(""))
        self.assertTrue(process.stdout.readline().startswith(b"name-000000"))
        process.stdout.close()
        errors = process.stderr.read()
        self.assertEqual(process.wait(RUN_SECONDS), DONE, errors)
        self.assertEqual(errors, b"")

    @only_posix
    def test_output_that_cannot_be_written_gives_7(self):
        server = self.serve(FTPServer())
        server.listing = b"one\r\n"
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*program(), "ls", server.url("")], cwd=self.folder, stdout=full,
                                  stderr=subprocess.PIPE, timeout=RUN_SECONDS, check=False)
        self.assertEqual(done.returncode, DISK)
        self.assertIn(b"standard output", done.stderr)

    def test_none_shows_messages_only(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"x")]))
        result = self.expect(DONE, "get", "--progress=none", server.url("/x"))
        self.assertEqual(result.errors.count("\n"), 1)
        self.assertIn('saved "x"', result.errors)


if __name__ == "__main__":
    unittest.main()
