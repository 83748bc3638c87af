"""Saved transfers as the program lists, shows and removes them; its preferences and its check for upgrades."""

import unittest

from support import *

# As docs/formats.md shows it; %s: direction, path, status and further lines.
CONFIGURATION = """# A saved transfer of qz.
format = 1
direction = %s
url = %s
path = %s
status = %s
attempts = 0
exit-code = 0
done = %d
source-size = 0
source-time = 0
%send
"""


class SavedTransfers(ProgramTest):
    def save(self, number, url="http://127.0.0.1:1/x", path="/here/x", upload=False, failed=False, done=0, size=None,
             record=b"no record"):
        os.makedirs(self.transfers, 0o700, exist_ok=True)
        text = CONFIGURATION % ("upload" if upload else "download", url, path, "failed" if failed else "waiting", done,
                                "" if size is None else "size = %d\n" % size)
        self.write_saved("%d.conf" % number, text.encode())
        self.write_saved("%d.vrx" % number, record)

    def write_saved(self, name, data):
        with open(os.path.join(self.transfers, name), "wb") as file:
            file.write(data)

    def saved_names(self):
        return sorted(name for name in os.listdir(self.transfers) if name not in ("lock", "next", "files"))


class Listing(SavedTransfers):
    def test_nothing_is_listed_before_anything_is_saved(self):
        result = self.expect(DONE, "list")
        self.assertEqual(result.output, "")
        self.assertEqual(result.errors, "qz: no saved transfers\n")
        self.assertEqual(self.expect(DONE, "list", "--quiet").errors, "")

    def test_each_transfer_has_a_row_with_aligned_columns(self):
        self.save(2, path="/here/disk.iso", done=512, size=2048)
        self.save(7, path="/here/report.pdf", upload=True, failed=True, done=1536)
        self.save(10, path="/here/\u65e5\u672c.txt", done=5 * 1024 * 1024 * 1024, size=5 * 1024 * 1024 * 1024)
        self.save(11, path="/here/almost", done=999, size=1000)
        self.save(12, path="/here/empty", done=0, size=0)
        result = self.expect(DONE, "list")
        self.assertEqual(result.output, "No  State          Size     Done  Name\n"
                                        " 2  waiting     2.0 KiB      25%  disk.iso\n"
                                        " 7  failed      unknown  1.5 KiB  report.pdf\n"
                                        "10  waiting     5.0 GiB     100%  \u65e5\u672c.txt\n"
                                        "11  waiting  1000 bytes      99%  almost\n"
                                        "12  waiting     0 bytes  0 bytes  empty\n")
        self.assertEqual(result.errors, "")

    def test_names_cannot_control_the_terminal(self):
        self.save(1, path="/here/a%1B[31mb")
        self.assertIn("  a?[31mb\n", self.expect(DONE, "list").output)

    def test_damaged_record_is_named_and_left_alone(self):
        self.save(1, path="/here/good")
        self.save(2)
        self.write_saved("2.conf", b"format = 1\ndirection = sideways\n")
        result = self.expect(OTHER, "list")
        self.assertIn("  good\n", result.output)
        self.assertEqual(result.output.count("\n"), 2)
        self.assertIn("2.conf", result.errors)
        self.assertIn("damaged", result.errors)
        self.assertEqual(self.saved_names(), ["1.conf", "1.vrx", "2.conf", "2.vrx"])

    def test_many_rows_come_in_their_order(self):
        count = 1000 if on_windows() else 10000
        for number in range(1, count + 1):
            self.save(number, path="/here/file-%d" % number)
        lines = self.expect(DONE, "list").output.split("\n")
        self.assertEqual(len(lines), count + 2)
        for number in (1, 999, count):
            self.assertEqual(lines[number].split()[-1], "file-%d" % number)


class Showing(SavedTransfers):
    def test_number_that_does_not_exist_gives_3(self):
        for command in ("show", "remove"):
            result = self.expect(NOT_FOUND, command, "5")
            self.assertEqual(result.errors, "qz: there is no transfer 5\n")

    def test_damaged_record_shows_what_the_program_knows(self):
        self.save(3, url="ftp://127.0.0.1:1/pub/disk.iso", path="/here/disk.iso", failed=True, done=5, size=10)
        result = self.expect(OTHER, "show", "3")
        self.assertRegex(result.output, r"(?m)^URL: +ftp://127\.0\.0\.1:1/pub/disk\.iso$")
        self.assertRegex(result.output, r"(?m)^state: +failed$")
        self.assertRegex(result.output, r"(?m)^done: +50%$")
        self.assertTrue(result.errors.startswith("qz: "), result)


class Removing(SavedTransfers):
    def test_damaged_record_is_not_removed_and_its_files_are_named(self):
        self.save(1)
        self.save(2)
        self.write_saved("2.conf", b"nonsense")
        result = self.expect(OTHER, "remove", "1", "2")
        for name in ("1.vrx", "1.conf", "2.vrx", "2.conf"):
            self.assertIn(name, result.errors)
        self.assertIn("nothing was removed", result.errors)
        self.assertEqual(self.saved_names(), ["1.conf", "1.vrx", "2.conf", "2.vrx"])


class Preferences(OwnProgram):
    def values(self):
        lines = self.expect(DONE, "prefs").output.rstrip("\n").split("\n")
        return {line[:20].rstrip(): line[20:] for line in lines}

    def test_all_are_shown_with_their_defaults(self):
        values = self.values()
        desktop = "Desktop" if on_windows() else os.path.join(self.place, "qzDesk")
        self.assertTrue(values.pop("download-directory").endswith(desktop))
        self.assertEqual(values, {
            "download-type": "default", "upload-type": "default", "anonymous-password": "user@example.invalid",
            "dial-up": "no", "dial-up-entry": "(none)", "hang-up": "no", "proxy": "no", "ftp-proxy": "(none)",
            "http-proxy": "(none)", "proxy-bypass": "(none)", "upgrade-location": "(none)"})

    def test_values_are_kept_from_run_to_run(self):
        os.mkdir(self.path("downloads"))
        given = {"download-type": "text", "upload-type": "binary", "anonymous-password": "me@a.example",
                 "dial-up-entry": "At home", "hang-up": "yes", "proxy": "yes", "ftp-proxy": "ftp.a.example:2121",
                 "http-proxy": "a.example:8080", "proxy-bypass": "127.0.0.1;b.example",
                 "upgrade-location": "ftp://127.0.0.1/pub;ftp://127.0.0.1:2121/pub#2"}
        for name, value in given.items():
            result = self.expect(DONE, "prefs", name, value)
            self.assertEqual(result.errors, 'qz: %s is now "%s"\n' % (name, value))
        self.expect(DONE, "prefs", "download-directory", "downloads")
        values = self.values()
        self.assertEqual(values.pop("download-directory"), system_path(self.path("downloads")))
        self.assertEqual(values, {**given, "dial-up": "no"})
        self.assertEqual(self.expect(DONE, "prefs", "proxy-bypass").output, "127.0.0.1;b.example\n")

    def test_empty_value_takes_texts_away(self):
        for name, value in few((("anonymous-password", "x"), ("http-proxy", "a.example:1"), ("proxy-bypass", "b"),
                                ("upgrade-location", "ftp://127.0.0.1/pub"))):
            self.expect(DONE, "prefs", name, value)
            self.expect(DONE, "prefs", name, "")
            self.assertEqual(self.expect(DONE, "prefs", name).output, "\n")

    def test_values_that_cannot_be_meant_give_2_and_change_nothing(self):
        before = self.values()
        for name, value in few((("download-type", "ascii"), ("proxy", "on"), ("proxy", ""), ("http-proxy", "a.example"),
                                ("http-proxy", "a.example:0"), ("http-proxy", "me@a.example:1"), ("dial-up", "yes"),
                                ("ftp-proxy", "a:b:1"), ("http-proxy", "h" * 255 + ":1"),
                                ("anonymous-password", "p" * 255), ("anonymous-password", "a\nb"),
                                ("proxy-bypass", "b" * 1023), ("download-directory", "none"),
                                ("download-directory", ""), ("upgrade-location", "http://127.0.0.1/pub"),
                                ("upgrade-location", "ftp://127.0.0.1/pub;nonsense"),
                                ("upgrade-location", "ftp://127.0.0.1/" + "x" * 1020), ("nonsense", "yes"))):
            result = self.expect(USAGE, "prefs", name, value)
            self.assertTrue(result.errors.startswith("qz: "), result)
        self.assertEqual(self.values(), before)

    def test_longest_values_are_taken(self):
        for name, value in (("anonymous-password", "p" * 254), ("proxy-bypass", "b" * 1022),
                            ("http-proxy", "h" * 254 + ":65535")):
            self.expect(DONE, "prefs", name, value)
            self.assertEqual(self.expect(DONE, "prefs", name).output, value + "\n")

    def test_unknown_name_never_shows_a_password(self):
        result = self.expect(USAGE, "prefs", "ftp://me:s3cr3t-w0rd@h/x")
        self.assertNotIn("s3cr3t", result.errors)

    def test_damaged_preferences_end_the_program_with_their_path(self):
        self.expect(DONE, "prefs")
        with open(self.preferences, "wb") as file:
            file.write(b"\xff\xff")
        for arguments in (("prefs",), ("list",), ("ls", "ftp://127.0.0.1:1/")):
            result = self.expect(OTHER, *arguments)
            self.assertIn("qzVRXPrefs", result.errors)
            self.assertIn("remove this file", result.errors)
        with open(self.preferences, "rb") as file:
            self.assertEqual(file.read(), b"\xff\xff")

    def test_commands_go_through_the_proxy_of_the_preferences(self):
        proxy = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"through")]))
        self.expect(DONE, "prefs", "http-proxy", "127.0.0.1:%d" % proxy.port)
        self.expect(NETWORK, "size", "http://files.invalid/a%20b")
        self.expect(DONE, "prefs", "proxy", "yes")
        self.assertIn("size:   7 bytes\n", self.expect(DONE, "size", "http://files.invalid/a%20b").output)
        self.assertTrue(proxy.requests[0].startswith("GET http://files.invalid/a%20b HTTP/1.0\r\n"))
        self.expect(DONE, "prefs", "proxy-bypass", "files.invalid")
        self.expect(NETWORK, "size", "http://files.invalid/a%20b")

    def test_proxy_of_the_preferences_that_is_down_is_named(self):
        proxy = "127.0.0.1:%d" % ports.unused()
        for name, value in (("http-proxy", proxy), ("proxy", "yes")):
            self.expect(DONE, "prefs", name, value)
        result = self.expect(NETWORK, "get", "http://files.invalid/a", "--retries", "0")
        self.assertIn("cannot connect to files.invalid through the proxy %s: connection refused" % proxy, result.errors)

    def test_option_proxy_takes_the_place_of_the_preferences(self):
        proxy = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"through")]))
        for name, value in (("http-proxy", "127.0.0.1:1"), ("proxy", "yes"), ("proxy-bypass", "files.invalid")):
            self.expect(DONE, "prefs", name, value)
        result = self.expect(DONE, "size", "http://files.invalid/a", "--proxy", "127.0.0.1:%d" % proxy.port)
        self.assertIn("size:   7 bytes\n", result.output)

    def test_ftp_proxy_of_the_preferences_is_refused_for_a_port_that_it_cannot_reach(self):
        for name, value in (("ftp-proxy", "127.0.0.1:1"), ("proxy", "yes")):
            self.expect(DONE, "prefs", name, value)
        self.assertIn("proxy-bypass", self.expect(USAGE, "ls", "ftp://a.invalid:2121/").errors)
        self.assertIn("through the proxy 127.0.0.1:1", self.expect(NETWORK, "ls", "ftp://a.invalid/").errors)


class Upgrades(OwnProgram):
    def server(self, listing):
        server = self.serve(FTPServer())
        server.folders = {"pub"}
        server.listing = listing
        return server

    def test_without_a_location_the_way_to_set_one_is_told(self):
        result = self.expect(USAGE, "upgrade")
        self.assertIn("qz prefs upgrade-location", result.errors)
        self.assertIn("--location", result.errors)

    def test_newest_version_is_named(self):
        server = self.server(b"qz.26\r\nqz.28\r\nqz.27\r\nreadme\r\n")
        result = self.expect(DONE, "upgrade", "--location", server.url("pub"))
        self.assertEqual(result.output, "newer version: %s/qz.28\n" % server.url("pub"))
        self.assertIn("USER ftp", [line for _, line in server.commands])

    def test_installed_version_is_not_newer_than_itself(self):
        server = self.server(b"qz.26\r\nqz.28\r\n")
        for installed, output in (("27", "newer version: %s/qz.28\n" % server.url("pub")), ("28", "no newer version\n")):
            result = self.expect(DONE, "upgrade", "--location", server.url("pub"), "--installed", installed)
            self.assertEqual(result.output, output)

    def test_location_of_the_preferences_is_used(self):
        server = self.server(b"qz.30\r\n")
        self.expect(DONE, "prefs", "upgrade-location", server.url("pub"))
        self.assertEqual(self.expect(DONE, "upgrade").output, "newer version: %s/qz.30\n" % server.url("pub"))
        other = self.server(b"qz.3\r\n")
        self.assertEqual(self.expect(DONE, "upgrade", "--location", other.url("pub")).output, "no newer version\n")

    def test_next_location_is_asked_when_one_cannot_be_listed(self):
        server = self.server(b"qz.30\r\n")
        result = self.expect(DONE, "upgrade", "--location", "ftp://127.0.0.1:1/pub;" + server.url("pub"))
        self.assertEqual(result.output, "newer version: %s/qz.30\n" % server.url("pub"))

    def test_check_that_fails_is_no_answer(self):
        server = self.server(b"qz.30\r\n")
        server.login = "530 no"
        for location, details in (("ftp://127.0.0.1:1/pub", "[Sock_Connect"), (server.url("pub"), "")):
            result = self.expect(NETWORK, "upgrade", "--location", location)
            self.assertEqual(result.output, "")
            self.assertIn("cannot look for upgrades", result.errors)
            self.assertIn(details, result.errors)
            self.assertNotIn("Registry", result.errors)
            self.assertNotIn("Shutdown", result.errors)

    def test_failure_just_after_a_success_is_still_one(self):
        server = self.server(b"qz.3\r\n")
        self.expect(DONE, "upgrade", "--location", server.url("pub"))
        self.expect(NETWORK, "upgrade", "--location", "ftp://127.0.0.1:1/pub")
        self.expect(DONE, "upgrade", "--location", server.url("pub"))

    def test_locations_that_are_no_ftp_urls_give_2(self):
        for location in few(("http://127.0.0.1/pub", "nonsense", "ftp://127.0.0.1/a;",
                             "ftp://127.0.0.1/" + "x" * 1020)):
            self.expect(USAGE, "upgrade", "--location", location)
        for installed in few(("", "0", "-1", "4000000001", "99999999999")):
            self.expect(USAGE, "upgrade", "--location", "ftp://127.0.0.1:1/", "--installed", installed)


class CommandLine(SavedTransfers):
    def test_wrong_command_lines_give_2(self):
        for arguments in few((("list", "x"), ("show",), ("show", "1", "2"), ("show", "0"), ("show", "x"), ("show", "-1"),
                          ("show", "1x"), ("show", ""), ("remove",), ("remove", "1", "two"), ("remove", "4000000001"),
                          ("remove", "99999999999999999999"), ("upgrade", "x"), ("prefs", "a", "b", "c"),
                          ("list", "--user", "me"), ("list", "--verbose"), ("upgrade", "--verbose"),
                              ("upgrade", "--user", "me"))):
            result = self.expect(USAGE, *arguments)
            self.assertTrue(result.errors.startswith("qz: "), result)
            self.assertIn("see qz " + arguments[0] + " --help", result.errors)
        self.assertFalse(os.path.exists(self.transfers))

    def test_operands_that_may_be_passwords_are_not_shown(self):
        for command in ("list", "upgrade", "show", "remove"):
            self.assertNotIn("s3cr3t", self.expect(USAGE, command, "ftp://me:s3cr3t@h/x").errors)

    def test_help_of_every_command_has_options_examples_and_exit_codes(self):
        for command in ("list", "show", "remove", "prefs", "upgrade"):
            result = self.expect(DONE, command, "--help")
            self.assertTrue(result.output.startswith("Usage: qz " + command), result)
            for part in ("\nOptions:\n", "\nExamples:\n", "\n  qz " + command, "\nExit codes:\n", "-h, --help"):
                self.assertIn(part, result.output)
            for line in result.output.split("\n"):
                self.assertLessEqual(len(line), 120, line)


if __name__ == "__main__":
    unittest.main()
