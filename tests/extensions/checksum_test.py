"""checksum.AXT with real transfers: the digest of the application and that beside the URL."""

import os
import time

from driving import DriverTest, only_posix, tool, unittest

SMALL = b"hello\n"
# sha256sum of: "hello" and a newline; 0123456789abcdef 4,194,304 times; its first 3,000,000 bytes
DIGEST = "5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03"
LARGE = b"0123456789abcdef" * (4 * 1024 * 1024)
LARGE_DIGEST = "42ef3a50fe506ced865473b082c8b28f6ce254e6e2b01266b6a563531a6267bc"
OTHER_DIGEST = "6e85d0869c4a8efc24e8191a269778236019313b8a15f68e20445447c487da1d"


class Folders(tool.Session):
    """Names are those of files, in the one folder there is."""

    def on_cwd(self, folder):
        self.say("250 there" if folder == "/" else "550 no such folder")

    def on_retr(self, name):
        return super().on_retr(name.lstrip("/"))


class FTPServer(tool.FTPServer):
    def serve(self, connection, number):
        Folders(self, connection, number).run()


class HomeServer(tool.HomeServer):
    def lines(self, number):
        return [line for n, line in self.commands if n == number and line.split(" ")[0] in
                ("USER", "PASS", "CWD", "PASV", "RETR")]


class TheDigestOfTheApplication(DriverTest):
    def test_a_right_one_verifies_the_file(self):
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + DIGEST)
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], '"f.iso" is verified: SHA-256 %s.' % DIGEST)
        self.assertEqual(self.names(), ["f.iso"])
        self.assertEqual(self.read("f.iso"), SMALL)
        self.assertEqual(len(server.requests), 1)

    def test_it_may_be_in_upper_case(self):
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=5891B5B522D5DF086D0FF0B110FBD9D21BB4FC7163AF34D0"
                                                            "8286A2E846F6BE03")
        self.assert_completed(outcome)

    def test_a_wrong_one_sets_the_file_aside(self):
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + OTHER_DIGEST)
        self.assert_failed(outcome, '"f.iso" is not verified: SHA-256 is %s, expected %s; renamed "f.iso.bad".'
                           % (DIGEST, OTHER_DIGEST))
        self.assertEqual(self.names(), ["f.iso.bad"])
        self.assertEqual(self.read("f.iso.bad"), SMALL)

    def test_a_file_that_stands_under_the_name_for_bad_ones_is_kept(self):
        self.write("f.iso.bad", b"somebody's")
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + OTHER_DIGEST)
        self.assert_failed(outcome, '"f.iso" is not verified: SHA-256 is %s, expected %s; renamed "f.iso(0).bad".'
                           % (DIGEST, OTHER_DIGEST))
        self.assertEqual(self.names(), ["f.iso(0).bad", "f.iso.bad"])
        self.assertEqual(self.read("f.iso.bad"), b"somebody's")

    def test_what_is_no_digest_is_refused_at_once(self):
        for digest in ("123", DIGEST[1:], DIGEST + "0", "x" + DIGEST[1:]):
            outcome = self.drive("http://127.0.0.1:1/f.iso", "f.iso", "verify=" + digest, code=1)
            self.assertEqual(outcome.values["failed"], "verify: -4")

    def test_nothing_is_verified_unasked(self):
        server = self.files({"/f.iso": SMALL, "/f.iso.sha256": OTHER_DIGEST.encode()})
        outcome = self.drive(server.url("/f.iso"), "f.iso")
        self.assert_completed(outcome)
        self.assertEqual(len(server.requests), 1)

    def test_an_upload_is_refused(self):
        self.write("f.iso", SMALL)
        outcome = self.drive("ftp://127.0.0.1:1/f.iso", "f.iso", "verify=" + DIGEST, "upload", code=1)
        self.assertEqual(outcome.values["failed"], "verify: -4")

    def test_a_wrong_file_does_not_replace_another(self):
        self.write("f.iso", b"old")
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + OTHER_DIGEST, "overwrite")
        self.assertEqual((outcome.number("result"), outcome.number("reason")), (4, 17))
        self.assertEqual(self.names(), ["f(0).iso.bad", "f.iso"])
        self.assertEqual(self.read("f.iso"), b"old")

    def test_a_right_file_replaces_another(self):
        self.write("f.iso", b"old")
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + DIGEST, "overwrite")
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], '"f.iso" is verified: SHA-256 %s.' % DIGEST)
        self.assertEqual(self.names(), ["f.iso"])
        self.assertEqual(self.read("f.iso"), SMALL)

    def test_a_completed_transfer_is_refused(self):
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify-late")
        self.assert_completed(outcome)
        self.assertEqual(outcome.number("late"), 2)

    def test_a_file_is_left_alone_when_a_web_page_came(self):
        self.write("f.iso", b"mine")
        outcome = self.drive(self.page("/f.iso").url("/f.iso"), "f.iso", "verify=" + OTHER_DIGEST, "verify", "go-on")
        self.assert_no_file_came(outcome, ['"f.iso" is not verified: no file came.'] * 2)
        self.assertEqual(self.names(), ["f.iso"])
        self.assertEqual(self.read("f.iso"), b"mine")

    def test_a_file_is_left_alone_by_the_next_program_too(self):
        self.write("f.iso", b"mine")
        url = self.page("/f.iso").url("/f.iso")
        self.drive(url, "f.iso", "verify=" + OTHER_DIGEST, "record=f.vrx", "end-at-failure", code=9)
        outcome = self.drive(url, "f.iso", "record=f.vrx", "go-on")
        self.assert_no_file_came(outcome, ['"f.iso" is not verified: no file came.'])
        self.assertEqual(self.names(), ["f.iso", "f.vrx"])
        self.assertEqual(self.read("f.iso"), b"mine")

    def test_an_empty_one_stands_for_that_beside_the_url(self):
        server = self.files({"/f.iso": SMALL, "/f.iso.sha256": DIGEST.encode()})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=")
        self.assert_completed(outcome)
        self.assertIn("SHA-256 digest fetched from %s." % server.url("/f.iso.sha256"), outcome.messages)

    def test_a_file_that_has_gone_is_a_failure_in_words(self):
        server = self.files({"/f.iso": LARGE})
        self.drive(server.url("/f.iso"), "f.iso", "verify=" + DIGEST, "record=f.vrx", "end-in-agents=1", code=9)
        os.remove(os.path.join(self.folder, "f.iso"))
        outcome = self.drive(server.url("/f.iso"), "f.iso", "record=f.vrx")
        self.assert_failed(outcome, '"f.iso" is not verified: it cannot be opened.')

    @only_posix
    def test_a_file_that_cannot_be_read_is_a_failure_in_words(self):
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + DIGEST, environment=self.broken_reads("f.iso"))
        self.assert_failed(outcome, '"f.iso" is not verified: it cannot be read.')
        self.assertEqual(self.names(), ["f.iso"])

    @only_posix
    def test_a_path_without_room_for_another_name_keeps_its_own(self):
        path = self.long_path(1020)
        server = self.files({"/f.gz": SMALL})
        outcome = self.drive(server.url("/f.gz"), path, "verify=" + OTHER_DIGEST)
        self.assert_failed(outcome, '"%s" is not verified: SHA-256 is %s, expected %s; it could not be renamed "%s".'
                           % (path, DIGEST, OTHER_DIGEST, path + ".ba"))
        self.assertEqual(self.read(path), SMALL)

    def test_a_transfer_that_is_closed_while_the_file_is_read_ends(self):
        server = self.files({"/f.iso": LARGE})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + LARGE_DIGEST, "close-in-agents=2")
        self.assertEqual(outcome.number("state"), 13)
        self.assertIn("ended", outcome.values)

    def test_a_large_file_takes_many_short_steps(self):
        server = self.files({"/f.iso": LARGE})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify=" + LARGE_DIGEST)
        self.assert_completed(outcome)
        self.assert_short_steps(outcome, 5)


class TheDigestBesideTheURL(DriverTest):
    def beside(self, answer, name="/f.iso.sha256"):
        return self.files({"/f.iso": SMALL, name: answer})

    def test_it_is_fetched(self):
        server = self.beside(b"%s  f.iso\n" % DIGEST.encode())
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify")
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-3:],
                         ["Fetching the SHA-256 digest...",
                          "SHA-256 digest fetched from %s." % server.url("/f.iso.sha256"),
                          '"f.iso" is verified: SHA-256 %s.' % DIGEST])
        self.assertEqual(self.names(), ["f.iso"])

    def test_it_is_fetched_over_ftp(self):
        server = self.serve(FTPServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode() + b"  f.iso\n"}))
        outcome = self.drive(server.url("f.iso"), "f.iso", "verify")
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], '"f.iso" is verified: SHA-256 %s.' % DIGEST)

    def test_the_login_of_the_url_is_used_and_not_shown(self):
        server = self.serve(FTPServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode() + b"  f.iso\n"}))
        outcome = self.drive(server.url("f.iso", "anna:geheim@"), "f.iso", "verify")
        self.assert_completed(outcome)
        logins = [line for number, line in server.commands if number == 1 and line.split(" ")[0] in ("USER", "PASS")]
        self.assertEqual(logins, ["USER anna", "PASS geheim"])
        self.assertNotIn("geheim", outcome.messages[-2])

    def test_the_login_and_the_folder_of_the_transfer_are_used(self):
        server = self.serve(HomeServer({"home/me/pub/f.iso": SMALL, "home/me/pub/f.iso.sha256": DIGEST.encode(),
                                        "pub/f.iso.sha256": OTHER_DIGEST.encode()}))
        outcome = self.drive(server.url("pub/f.iso"), "f.iso", "verify", "user=me", "password=geheim", "relative")
        self.assert_completed(outcome)
        self.assertEqual(server.lines(1), ["USER me", "PASS geheim", "CWD pub", "PASV", "RETR f.iso.sha256"])
        self.assertFalse([line for line in outcome.messages if "geheim" in line])

    def test_the_login_of_the_transfer_comes_before_that_of_the_url(self):
        server = self.serve(HomeServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode()}))
        outcome = self.drive(server.url("f.iso", "anna:falsch@"), "f.iso", "verify", "user=me", "password=geheim")
        self.assert_completed(outcome)
        self.assertEqual(server.lines(1), ["USER me", "PASS geheim", "CWD /", "PASV", "RETR f.iso.sha256"])

    def test_the_login_of_the_transfer_does_not_go_to_a_web_server(self):
        server = self.files({"/f.iso": SMALL, "/f.iso.sha256": DIGEST.encode()})
        self.assert_completed(self.drive(server.url("/f.iso"), "f.iso", "verify", "user=me", "password=geheim"))
        self.assertNotIn("geheim", "".join(server.requests))
        self.assertNotIn("Authorization", "".join(server.requests))

    def test_a_file_of_the_login_folder_itself(self):
        server = self.serve(HomeServer({"home/me/f.iso": SMALL, "home/me/f.iso.sha256": DIGEST.encode()}))
        outcome = self.drive(server.url("f.iso"), "f.iso", "verify", "user=me", "password=geheim", "relative")
        self.assert_completed(outcome)
        self.assertEqual(server.lines(1), ["USER me", "PASS geheim", "PASV", "RETR f.iso.sha256"])

    def test_active_mode_is_used(self):
        server = self.serve(HomeServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode()}))
        server.pasv = "502 no PASV"
        outcome = self.drive(server.url("f.iso"), "f.iso", "verify", "user=me", "password=geheim", "active")
        self.assert_completed(outcome)
        self.assertEqual(server.lines(1), ["USER me", "PASS geheim", "CWD /", "RETR f.iso.sha256"])
        self.assertIn("PORT", server.verbs(1))

    def test_anonymous_logins_are_those_of_the_transfer(self):
        server = self.serve(FTPServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode()}))
        server.login = lambda number: "230 welcome" if number == 0 else "530 no"
        outcome = self.drive(server.url("f.iso"), "f.iso", "verify")
        self.assert_failed(outcome, '"f.iso" is not verified: %s: 530 no.' % server.url("f.iso.sha256"))
        self.assertEqual([line for number, line in server.commands if line.startswith(("USER", "PASS"))],
                         ["USER ftp", "PASS user@example.invalid"] * 2 +
                         ["USER anonymous", "PASS user@example.invalid", "USER public", "PASS user@example.invalid",
                          "USER guest", "PASS user@example.invalid"])

    def test_a_wrong_one_sets_the_file_aside(self):
        server = self.beside(b"%s  f.iso\n" % OTHER_DIGEST.encode())
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify")
        self.assert_failed(outcome, '"f.iso" is not verified: SHA-256 is %s, expected %s; renamed "f.iso.bad".'
                           % (DIGEST, OTHER_DIGEST))
        self.assertEqual(self.names(), ["f.iso.bad"])

    def fails_with(self, answers, why):
        answers["/f.iso"] = SMALL
        server = self.files(answers)
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify")
        self.assert_failed(outcome, '"f.iso" is not verified: %s: %s.' % (server.url("/f.iso.sha256"), why))
        self.assertEqual(self.read("f.iso"), SMALL)
        os.remove(os.path.join(self.folder, "f.iso"))

    def test_without_one_the_file_is_not_verified_and_keeps_its_name(self):
        self.fails_with({}, "404 Not")

    def test_one_that_cannot_be_used_does_not_verify(self):
        wrong_page = b"<html>not found</html>"
        for answer, why in ((wrong_page, "holds no digest of this file"), (b"", "holds no digest of this file"),
                            (b"x" * 70000, "Exceed"), (tool.http("200 OK", b"short", 1000), "Ended"),
                            (tool.http("302 Found", Location="https://127.0.0.1/x"), "302 Found"),
                            (tool.http("302 Found", Location="//127.0.0.1/x"), "302 Found"),
                            (tool.http("204 No Content", DIGEST.encode()), "204 No"),
                            (tool.http("302 Found", Location="/f.iso.sha256"), "Exceed")):
            with self.subTest(answer=answer[:40]):
                self.fails_with({"/f.iso.sha256": answer}, why)

    def test_a_redirect_is_followed(self):
        server = self.files({"/f.iso": SMALL, "/f.iso.sha256": tool.http("302 Found", Location="/sums/1?x"),
                             "/sums/1?x": DIGEST.encode()})
        self.assert_completed(self.drive(server.url("/f.iso"), "f.iso", "verify"))

    def test_five_redirects_in_a_row_are_followed(self):
        for count, is_followed in ((5, True), (6, False)):
            with self.subTest(count=count):
                answers = {"/f.iso": SMALL, "/f.iso.sha256": tool.http("302 Found", Location="/1"),
                           "/%d" % count: DIGEST.encode()}
                for i in range(1, count):
                    answers["/%d" % i] = tool.http("302 Found", Location="/%d" % (i + 1))
                server = self.files(answers)
                outcome = self.drive(server.url("/f.iso"), "f%d.iso" % count, "verify")
                if is_followed:
                    self.assert_completed(outcome)
                else:
                    self.assert_failed(outcome, '"f6.iso" is not verified: %s: Exceed.' % server.url("/f.iso.sha256"))

    def test_a_file_over_ftp_that_is_too_large_holds_none(self):
        server = self.serve(FTPServer({"f.iso": SMALL, "f.iso.sha256": DIGEST.encode() + b"\n" * 70000}))
        outcome = self.drive(server.url("f.iso"), "f.iso", "verify")
        self.assert_failed(outcome, '"f.iso" is not verified: %s: Exceed.' % server.url("f.iso.sha256"))

    def test_the_first_server_says_why(self):
        mirror = self.files({"/m/f.iso.sha256": tool.http("500 Broken")})
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "mirror=" + mirror.url("/m/f.iso"))
        self.assert_failed(outcome, '"f.iso" is not verified: %s: 404 Not.' % server.url("/f.iso.sha256"))
        self.assertEqual(len(mirror.requests), 1)

    def test_what_the_first_server_sent_is_no_part_of_what_the_second_sends(self):
        mirror = self.files({"/m/f.iso.sha256": DIGEST.encode()})
        server = self.files({"/f.iso": SMALL, "/f.iso.sha256": tool.http("200 OK", b"some", 1000)})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "mirror=" + mirror.url("/m/f.iso"))
        self.assert_completed(outcome)

    def test_a_mirror_may_have_it(self):
        mirror = self.files({"/m/f.iso.sha256": DIGEST.encode()})
        server = self.files({"/f.iso": SMALL})
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "mirror=" + mirror.url("/m/f.iso"))
        self.assert_completed(outcome)
        self.assertIn("SHA-256 digest fetched from %s." % mirror.url("/m/f.iso.sha256"), outcome.messages)

    def test_a_server_that_does_not_answer_holds_nothing_up(self):
        """The transfer is closed while the digest is fetched; the program ends within seconds, not minutes."""
        server = self.beside(None)
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "close-in-agents=20")
        self.assertEqual(outcome.number("state"), 13)
        self.assert_short_steps(outcome, 20)
        self.assertIn("ended", outcome.values)


    def test_a_transfer_that_is_closed_asks_no_further_server(self):
        mirror = self.files({"/m/f.iso.sha256": DIGEST.encode()})

        def answer(number, request):
            if request.startswith("GET /f.iso "):
                return [tool.honest(SMALL, request)]
            time.sleep(1)
            return [tool.http("404 Not", b"nothing here")]
        server = self.serve(tool.HTTPServer(answer))
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "mirror=" + mirror.url("/m/f.iso"),
                             "close-in-agents=5", "linger=3000")
        self.assertEqual((len(server.requests), len(mirror.requests)), (2, 0), outcome)

    def test_a_fetch_may_end_after_the_library(self):
        """Its thread still runs the code of the extension, which must not be unloaded."""
        def answer(number, request):
            if request.startswith("GET /f.iso "):
                return [tool.honest(SMALL, request)]
            time.sleep(3)
            return [tool.http("200 OK", DIGEST.encode())]
        server = self.serve(tool.HTTPServer(answer))
        outcome = self.drive(server.url("/f.iso"), "f.iso", "verify", "close-in-agents=5", "linger=5000")
        self.assertIn("ended", outcome.values)
        self.assertEqual(len(server.requests), 2)


class TheRecord(DriverTest):
    def test_has_the_digest_behind_a_version(self):
        server = self.files({"/f.iso": SMALL})
        self.assert_completed(self.drive(server.url("/f.iso"), "f.iso", "verify=" + DIGEST, "record=f.vrx"))
        agent = bytes.fromhex("09000000" "436865636B73756D00" "01000000"  # "Checksum", the version of the class
                              "01000000" "41000000") + DIGEST.encode() + b"\0"
        self.assertEqual(self.read("f.vrx").count(agent), 1)

    def test_has_no_digest_that_was_not_given(self):
        server = self.files({"/f.iso": SMALL})
        self.drive(server.url("/f.iso"), "f.iso", "verify", "record=f.vrx", "end-in-agents=1", code=9)
        agent = bytes.fromhex("09000000" "436865636B73756D00" "01000000" "01000000" "01000000" "00")
        self.assertEqual(self.read("f.vrx").count(agent), 1)

    def end_and_resume(self, content, digest, *asked, steps="end-in-agents=2", answers=None):
        server = self.files(dict({"/f.iso": content}, **(answers or {})))
        first = self.drive(server.url("/f.iso"), "f.iso", *asked, "record=f.vrx", steps, code=9)
        self.assertNotIn("ended", first.values)
        second = self.drive(server.url("/f.iso"), "f.iso", "record=f.vrx")
        return second

    def test_a_program_that_ends_in_the_middle_goes_on(self):
        second = self.end_and_resume(LARGE, LARGE_DIGEST, "verify=" + LARGE_DIGEST)
        self.assert_completed(second)
        self.assertEqual(second.messages, ['"f.iso" is verified: SHA-256 %s.' % LARGE_DIGEST])

    def test_a_wrong_file_is_found_by_the_next_program(self):
        second = self.end_and_resume(LARGE, LARGE_DIGEST, "verify=" + DIGEST)
        self.assert_failed(second, '"f.iso" is not verified: SHA-256 is %s, expected %s; renamed "f.iso.bad".'
                           % (LARGE_DIGEST, DIGEST))
        self.assertEqual(self.names(), ["f.iso.bad", "f.vrx"])

    def test_one_whose_digest_is_damaged_is_refused(self):
        server = self.files({"/f.iso": LARGE})
        self.drive(server.url("/f.iso"), "f.iso", "verify=" + LARGE_DIGEST, "record=f.vrx", "end-in-agents=1", code=9)
        record = self.read("f.vrx")
        self.assertEqual(record.count(LARGE_DIGEST.encode()), 1)
        self.write("f.vrx", record.replace(LARGE_DIGEST.encode(), b"g" + LARGE_DIGEST[1:].encode()))
        outcome = self.drive(server.url("/f.iso"), "f.iso", "record=f.vrx", code=1)
        self.assertEqual(outcome.values["failed"], "reading the record: -4")

    def test_the_digest_is_fetched_by_the_next_program(self):
        second = self.end_and_resume(LARGE, LARGE_DIGEST, "verify", steps="end-in-agents=1",
                                     answers={"/f.iso.sha256": LARGE_DIGEST.encode()})
        self.assert_completed(second)
        self.assertIn("Fetching the SHA-256 digest...", second.messages)


if __name__ == "__main__":
    unittest.main()
