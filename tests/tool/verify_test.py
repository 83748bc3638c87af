"""Downloads that extensions work on: what is called verified was verified, whatever ended the program before."""

import gzip
import re
import signal
import unittest

from support import *

DATA = some_bytes(300000, 71)
DIGEST = digest(DATA)
WRONG = "0" * 64


class Checksums(OwnProgram):
    has_extensions = True

    def setUp(self):
        super().setUp()
        self.digests = None
        def answer(number, request):
            path = request.split(" ")[1]
            if not path.endswith(".sha256"):
                return [honest(DATA, request)]
            return [http("200 OK", self.digests)] if self.digests else [http("404 Not Found", b"no")]
        self.server = self.serve(HTTPServer(answer))
        self.url = self.server.url("/x")

    def assert_refused(self, *arguments):
        result = self.expect(REFUSED, *arguments)
        self.assertIn("is not verified", result.errors)
        self.assertNotIn("saved \"", result.errors)
        return result

    def test_digest_decides(self):
        result = self.expect(DONE, "get", self.url, "--sha256", DIGEST.upper())
        self.assertRegex(result.errors, r'qz: saved "x" \(293\.0 KiB.*, verified\)\n$')
        self.assert_file("x", DATA)
        os.remove(self.path("x"))
        result = self.assert_refused("get", self.url, "--sha256", WRONG)
        self.assertIn("SHA-256 is %s, expected %s; renamed" % (DIGEST, WRONG), result.errors)
        self.assertIn("transfer 2 stays in the list; qz retry 2 runs it again", result.errors)
        self.assertEqual(self.names(), ["x.bad"])
        self.assertIn("failed", self.expect(DONE, "list").output)

    def test_digest_that_is_missing_is_asked_for_again(self):
        for command in (("get", self.url, "--verify"), ("get", self.url, "--verify"), ("retry", "1")):
            self.assertIn("404", self.assert_refused(*command).errors)
            self.assertEqual(self.names(), ["x"])
        self.digests = DIGEST.encode() + b"  x\n"
        self.assertIn(", verified)", self.expect(DONE, "get", self.url, "--verify").errors)
        self.assertEqual(self.names(), ["x"])
        self.assert_file("x", DATA)
        self.assertEqual([request.split(" ")[1] for request in self.server.requests].count("/x"), 1)

    def test_file_that_was_set_aside_is_downloaded_again(self):
        for command in (("get", self.url, "--verify"), ("retry", "1")):
            self.digests = WRONG.encode() + b"  x\n"
            if self.names() == []:
                self.assert_refused("get", self.url, "--verify")
            os.remove(self.path("x.bad"))
            self.digests = DIGEST.encode() + b"  x\n"
            listed = self.expect(DONE, "list").output
            found = re.search(r"(?m)^ *(\d+)  failed ", listed)
            self.assertTrue(found, listed)
            command = ("retry", found.group(1)) if command[0] == "retry" else command
            self.assertIn(", verified)", self.expect(DONE, *command).errors)
            self.assert_file("x", DATA)
            self.assertEqual(self.names(), ["x"])
            os.remove(self.path("x"))

    def test_file_that_was_set_aside_waits_while_its_url_is_transferred(self):
        is_asked, is_done = threading.Event(), threading.Event()
        def answer(number, request):
            path = request.split(" ")[1]
            if path == "/later":
                is_asked.wait(SOCKET_SECONDS)
            elif number > 0:
                is_asked.set()
                is_done.wait(SOCKET_SECONDS)
            return [honest(DATA, request)]
        server = self.serve(HTTPServer(answer))
        self.assert_refused("get", server.url("/x"), "--sha256", WRONG)
        os.remove(self.path("x.bad"))
        self.expect(DONE, "add", server.url("/x"), "-o", "y")
        self.expect(DONE, "add", server.url("/later"))
        run = self.start_qz("retry", "2", "3", "1", "--jobs", "2")
        line = next((line for line in run.stderr if b"already" in line), b"")
        is_done.set()
        self.assertIn('"%s" is being transferred already' % server.url("/x"), line.decode())
        run.communicate(timeout=RUN_SECONDS)
        self.assertEqual(run.returncode, OTHER)
        self.assertEqual(self.names(), ["later", "y"])
        self.assert_refused("retry", "1")
        self.assertEqual(self.names(), ["later", "x.bad", "y"])

    @only_posix
    def test_program_killed_when_the_file_has_its_name_verifies_it_then(self):
        for digests, code in ((WRONG, REFUSED), (DIGEST, DONE)):
            self.digests = digests.encode() + b"  x\n"
            killed = self.run_qz("get", self.url, "--verify", environment=preloaded(self, QZ_KILL_AT=self.path("x")))
            self.assertEqual(killed.code, -signal.SIGKILL, killed)
            self.assertEqual(self.names(), ["x"])
            self.expect(code, "run")
            self.assertEqual(self.names(), ["x" if code == DONE else "x.bad"])
            os.remove(self.path(self.names()[0]))
            if code != DONE:
                self.expect(DONE, "remove", "1")

    def test_old_file_stays_until_the_new_one_is_verified(self):
        old = some_bytes(len(DATA), 72)
        for is_killed in (False, True):
            self.write("x", old)
            if is_killed and not on_windows():
                killed = self.run_qz("get", self.url, "--verify", "--overwrite",
                                     environment=preloaded(self, QZ_KILL_AT=self.path("x(0)")))
                self.assertEqual(killed.code, -signal.SIGKILL, killed)
                self.assert_file("x", old)
            self.digests = WRONG.encode() + b"  x\n"
            self.assert_refused("get", self.url, "--verify", "--overwrite")
            self.assert_file("x", old)
            self.assertEqual(self.names(), ["x", "x(0).bad"])
            os.remove(self.path("x(0).bad"))
            self.digests = DIGEST.encode() + b"  x\n"
            self.assertIn('saved "x" (', self.expect(DONE, "get", self.url, "--verify", "--overwrite").errors)
            self.assert_file("x", DATA)
            self.assertEqual(self.names(), ["x"])

    def test_digest_is_compared_when_it_is_asked_for_later(self):
        self.expect(DONE, "add", self.url)
        self.assertIn("options:  none\n", self.expect(DONE, "show", "1").output)
        self.assert_refused("get", self.url, "--sha256", WRONG)
        self.assertEqual(self.names(), ["x.bad"])

    def test_small_file_that_is_refused_stays_in_the_list(self):
        for number, content in (("1", b"hello"), ("2", b"")):
            server = self.serve(HTTPServer(lambda n, request: [http("200 OK", content)]))
            result = self.assert_refused("get", server.url("/x"), "--sha256", WRONG)
            self.assertIn("transfer %s stays in the list; qz retry %s runs it again" % (number, number), result.errors)
            self.assertEqual(self.names(), ["x.bad"])
            self.assertEqual(self.read("x.bad"), content)
            self.assertIn(" %s  failed" % number, self.expect(DONE, "list").output)
            os.remove(self.path("x.bad"))
            self.assert_refused("retry", number)
            self.assertEqual(self.names(), ["x.bad"])
            os.remove(self.path("x.bad"))
            self.expect(DONE, "remove", number)

    def test_small_file_whose_digest_is_missing_is_verified_by_the_next_run(self):
        content = b"hello"
        def answer(number, request):
            path = request.split(" ")[1]
            return [http("200 OK", files[path]) if path in files else http("404 Not Found", b"no")]
        files = {"/x": content}
        server = self.serve(HTTPServer(answer))
        self.assertIn("404", self.assert_refused("get", server.url("/x"), "--verify").errors)
        self.assertIn("404", self.assert_refused("retry", "1").errors)
        files["/x.sha256"] = digest(content).encode()
        self.assertIn(", verified)", self.expect(DONE, "retry", "1").errors)
        self.assertEqual(self.names(), ["x"])

    def test_digest_is_fetched_over_ftp(self):
        server = self.serve(FTPServer({"x": DATA, "x.sha256": DIGEST.encode() + b"  x\n"}))
        self.assertIn(", verified)", self.expect(DONE, "get", "--verify", server.url("x")).errors)
        self.assert_file("x", DATA)
        server.files["x.sha256"] = WRONG.encode() + b"  x\n"
        self.assert_refused("get", "--verify", server.url("x"), "-o", "y")
        self.assertEqual(self.names(), ["x", "y.bad"])

    def test_digest_is_fetched_as_the_file_was(self):
        server = self.serve(HomeServer({"home/me/f": DATA, "home/me/f.sha256": DIGEST.encode()}))
        self.write("password", b"geheim\n")
        for mode in ((), ("--active",)):
            result = self.expect(DONE, "get", "--verify", server.url("f", "me@"), "--password-file", "password", *mode)
            self.assertIn(", verified)", result.errors)
            self.assert_file("f", DATA)
            os.remove(self.path("f"))

    def test_another_digest_is_refused(self):
        self.expect(DONE, "add", self.url, "--sha256", WRONG)
        self.assertIn("options:  sha256\n", self.expect(DONE, "show", "1").output)
        for other in (("--sha256", DIGEST), ("--verify",)):
            result = self.expect(USAGE, "get", self.url, *other)
            self.assertIn("transfer 1 compares with another digest; qz remove 1 ends it", result.errors)
        self.assertEqual(self.names(), [])
        self.assert_refused("get", self.url)
        self.assertEqual(self.names(), ["x.bad"])


class Documented(OwnProgram):
    """The commands of docs/program.md about checksums and unpacking."""

    has_extensions = True

    def test_they_run(self):
        folder = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
        with open(os.path.join(folder, "docs", "program.md"), encoding="utf-8") as page:
            section = page.read().split("### Checksums and unpacking\n")[1].split("\n#")[0]
        files = {"/disk.iso": DATA, "/disk.iso.sha256": DIGEST.encode() + b"  disk.iso\n", "/test": b"test"}
        web = self.serve(HTTPServer(lambda n, request: [http("200 OK", files[request.split(" ")[1]])]))
        ftp = self.serve(FTPServer({"pub/notes.txt.gz": gzip.compress(DATA)}))
        commands = [line.split(" ") for line in section.split("```")[1].strip().split("\n")]
        self.assertEqual([command[:3] for command in commands],
                         [["qz", "get", "--verify"], ["qz", "get", "--sha256"], ["qz", "get", "--unpack"]])
        for command in commands:
            place = command[-1].replace(":8080/", ":%d/" % web.port).replace(":2121/", ":%d/" % ftp.port)
            self.expect(DONE, *command[1:-1], place)
        self.assertEqual(self.names(), ["disk.iso", "notes.txt", "notes.txt.gz", "test"])
        self.assert_file("notes.txt", DATA)


class Packed(OwnProgram):
    has_extensions = True

    def get(self, code, content, *options):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", content)]))
        return self.expect(code, "get", "--unpack", server.url("/notes.txt.gz"), *options)

    def test_file_is_unpacked_and_kept(self):
        packed = gzip.compress(DATA)
        self.get(DONE, packed)
        self.assertEqual(self.names(), ["notes.txt", "notes.txt.gz"])
        self.assert_file("notes.txt", DATA)
        self.assert_file("notes.txt.gz", packed)

    def test_file_that_replaces_another_is_unpacked_under_its_name(self):
        packed = gzip.compress(DATA)
        self.write("notes.txt.gz", b"old")
        self.get(DONE, packed, "--overwrite")
        self.assertEqual(self.names(), ["notes.txt", "notes.txt.gz"])
        self.assert_file("notes.txt", DATA)
        self.assert_file("notes.txt.gz", packed)

    def test_what_is_not_packed_stays(self):
        result = self.get(REFUSED, b"hello")
        self.assertIn('is not unpacked: it is damaged', result.errors)
        self.assertEqual(self.names(), ["notes.txt.gz"])
        self.assertEqual(self.read("notes.txt.gz"), b"hello")
        self.assertIn(" 1  failed", self.expect(DONE, "list").output)

    def test_file_is_verified_first(self):
        self.get(REFUSED, gzip.compress(DATA), "--sha256", WRONG)
        self.assertEqual(self.names(), ["notes.txt.gz.bad"])


if __name__ == "__main__":
    unittest.main()
