"""The program against real servers: vsftpd, nginx with ranges, lighttpd without. tests/support/servers starts them."""

import unittest

from support import *

NEEDED = ("QZ_TEST_FTP_PORT", "QZ_TEST_FTP_ROOT", "QZ_TEST_HTTP_PORT", "QZ_TEST_HTTP_NORANGE_PORT", "QZ_TEST_HTTP_ROOT")
LARGE = 100 * 1000 * 1000
CUT = 34567891  # inside a read, inside a packet


class Forwarder(Server):
    """Passes bytes on to a real server; the first connection is cut after `cut` bytes from the server."""

    def __init__(self, port, cut, how="end"):
        self.target, self.cut, self.how = port, cut, how
        super().__init__()

    def serve(self, connection, number):
        with socket.create_connection(("127.0.0.1", self.target), SOCKET_SECONDS) as upstream:
            upstream.settimeout(SOCKET_SECONDS)
            upstream.sendall(connection.recv(65536))
            left = self.cut if number == 0 else None
            while left is None or left > 0:
                more = upstream.recv(1 << 20)
                if not more:
                    break
                connection.sendall(more if left is None else more[:left])
                left = None if left is None else left - len(more)
        if number == 0 and self.how == "reset":
            reset(connection)
        else:
            finish(connection)


class RealServers(ProgramTest):
    @classmethod
    def setUpClass(cls):
        missing = [name for name in NEEDED if name not in os.environ]
        if missing:
            raise AssertionError("start tests/support/servers and set " + " ".join(missing))
        cls.ftp = "ftp://127.0.0.1:%s/" % os.environ["QZ_TEST_FTP_PORT"]
        cls.http_port = int(os.environ["QZ_TEST_HTTP_PORT"])
        cls.http = "http://127.0.0.1:%d/" % cls.http_port
        cls.plain = "http://127.0.0.1:%s/" % os.environ["QZ_TEST_HTTP_NORANGE_PORT"]
        cls.ftp_root = os.environ["QZ_TEST_FTP_ROOT"]
        cls.http_root = os.environ["QZ_TEST_HTTP_ROOT"]
        cls.large = some_bytes(LARGE, 9)
        cls.large_name = "large-%d.bin" % os.getpid()
        for root in (cls.ftp_root, cls.http_root):
            with open(os.path.join(root, cls.large_name), "wb") as file:
                file.write(cls.large)
            os.chmod(os.path.join(root, cls.large_name), 0o644)

    @classmethod
    def tearDownClass(cls):
        for root in (cls.ftp_root, cls.http_root):
            os.remove(os.path.join(root, cls.large_name))

    def numbers(self):
        return b"".join(b"%07d\n" % number for number in range(100000))

    def test_gets_the_same_file_from_all(self):
        for base in (self.ftp, self.http, self.plain):
            self.expect(DONE, "get", base + "numbers.txt")
            self.assert_file("numbers.txt", self.numbers())
            os.remove(self.path("numbers.txt"))

    def test_gets_over_ftp_in_active_mode(self):
        self.expect(DONE, "get", "--active", self.ftp + "folder/inner.txt")
        self.assertEqual(self.read("inner.txt"), b"inner\n")

    def test_gets_empty_files(self):
        for base in (self.ftp, self.http, self.plain):
            self.expect(DONE, "get", base + "empty.txt", "-o", "out")
            self.assertEqual(self.read("out"), b"")
            os.remove(self.path("out"))

    def test_gets_a_name_with_a_space(self):
        self.expect(DONE, "get", self.http + "with%20blank.txt")
        self.assertEqual(self.read("with blank.txt"), b"blank\n")

    def test_missing_files_give_3(self):
        for base in (self.ftp, self.http, self.plain):
            self.expect(NOT_FOUND, "get", base + "no-such-file")
        self.assertEqual(self.names(), [])

    def test_resumes_at_any_byte_identically(self):
        for base in (self.ftp, self.http, self.plain):
            for have in (1, 7, 4096, 123457, 799999, 800000):
                self.write("numbers.txt.part", self.numbers()[:have])
                self.expect(DONE, "get", base + "numbers.txt")
                self.assert_file("numbers.txt", self.numbers())
                os.remove(self.path("numbers.txt"))

    def test_large_file_left_in_the_middle_is_resumed_from_ftp_and_http(self):
        for base in (self.ftp, self.http):
            self.write(self.large_name + ".part", self.large[:CUT])
            result = self.expect(DONE, "get", base + self.large_name)
            self.assertIn("resuming at 33.0 MiB", result.errors)
            self.assert_file(self.large_name, self.large)
            os.remove(self.path(self.large_name))

    def test_large_file_cut_on_the_way_is_completed(self):
        for how in ("end", "reset"):
            forwarder = self.serve(Forwarder(self.http_port, CUT, how))
            result = self.expect(DONE, "get", "http://127.0.0.1:%d/%s" % (forwarder.port, self.large_name),
                                 "--retry-wait", "0")
            self.assertEqual(forwarder.count, 2, result)
            self.assertIn("resuming at", result.errors)
            self.assert_file(self.large_name, self.large)
            os.remove(self.path(self.large_name))

    @only_posix
    def test_large_ftp_download_that_is_killed_is_resumed(self):
        process = self.start_qz("get", self.ftp + self.large_name)
        part = self.path(self.large_name + ".part")
        self.wait_for(lambda: os.path.exists(part) and os.path.getsize(part) > 1000000 or process.poll() is not None)
        process.kill()
        process.wait()
        self.expect(DONE, "get", self.ftp + self.large_name, "-o", self.large_name)
        self.assertIn(self.large_name, self.names())
        for name in self.names():
            self.assert_file(name, self.large)

    def test_stores_completely_and_resumes(self):
        remote = os.path.join(self.ftp_root, "incoming", self.large_name)
        self.write("local.bin", self.large)
        url = self.ftp + "incoming/" + self.large_name
        try:
            self.expect(DONE, "put", "local.bin", url)
            self.assert_file(remote, self.large)
            # Another user's file: it cannot be cut in place by everybody.
            os.remove(remote)
            with open(remote, "wb") as file:
                file.write(self.large[:CUT])
            os.chmod(remote, 0o666)
            result = self.expect(DONE, "put", "--continue", "local.bin", url)
            self.assertIn("resuming at 33.0 MiB", result.errors)
            self.assert_file(remote, self.large)
            self.expect(DONE, "put", "local.bin", url, "--active", "--restart")
            self.assert_file(remote, self.large)
        finally:
            os.remove(remote)

    def test_storing_where_it_is_not_allowed_fails(self):
        self.write("local.bin", b"x")
        self.assertNotEqual(self.run_qz("put", "local.bin", self.ftp + "no-such-folder/x").code, DONE)

    def test_refused_login_gives_5(self):
        self.write("pw", b"wrong\n")
        self.expect(LOGIN, "get", self.ftp + "small.txt", "--user", "nobody", "--password-file", "pw")

    def test_lists_a_folder(self):
        result = self.expect(DONE, "ls", self.ftp)
        for name in ("numbers.txt", "small.txt", "empty.txt", "folder", "incoming"):
            self.assertRegex(result.output, r"(?m)^[-d]r.* %s$" % name)
        names = self.expect(DONE, "ls", "--names", self.ftp + "folder/")
        self.assertEqual(names.output.strip(), "inner.txt")
        self.expect(NOT_FOUND, "ls", self.ftp + "no-such-folder/")
        self.assertEqual(self.names(), [])

    def test_size_of_a_file(self):
        for base, resume in ((self.ftp, "yes"), (self.http, "yes"), (self.plain, "no")):
            result = self.expect(DONE, "size", base + "numbers.txt")
            self.assertRegex(result.output, r"^size:   800000 bytes \(781\.2 KiB\)\ntime:   20\d\d-.* GMT.*\n"
                                            r"resume: %s\n$" % resume)

    def test_redirects(self):
        for path in ("redirect/10", "redirect-relative"):
            self.expect(DONE, "get", self.http + path, "-o", "out")
            self.assertEqual(self.read("out"), b"redirected\n")
            os.remove(self.path("out"))
        for path in ("redirect/11", "loop", "loop-a", "redirect-to/file//etc/passwd", "redirect-to/https/127.0.0.1/x"):
            self.expect(PROTOCOL, "get", self.http + path)
        # Nothing listens there.
        self.expect(NETWORK, "get", self.http + "redirect-to/ftp/127.0.0.1/x", "--retries", "0")
        self.assertEqual(self.names(), [])

    def test_codes(self):
        for status, code in ((400, PROTOCOL), (401, LOGIN), (403, LOGIN), (404, NOT_FOUND),
                             (500, PROTOCOL), (503, NETWORK)):
            self.expect(code, "get", self.http + "status/%d" % status, "--retries", "0")


if __name__ == "__main__":
    unittest.main()
