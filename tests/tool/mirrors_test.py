"""qz get --mirror: what one server does not give, another one does, and two files are never mixed."""

import unittest

from support import *

DATA = some_bytes(300000, 21)
OTHER = some_bytes(250000, 22)
CUT = 100000
NOW = ("--retry-wait", "0")
GONE = "connection closed after 100,000 of 300,000 bytes; 127.0.0.1:%d follows"


class Mirrors(ProgramTest):
    def ftp(self, data=DATA, **attributes):
        server = self.serve(FTPServer({"data": data} if data else {}))
        for name, value in attributes.items():
            setattr(server, name, value)
        return server

    def http(self, answer):
        return self.serve(HTTPServer(answer))

    def http_honest(self, data=DATA):
        return self.http(lambda number, request: [honest(data, request)])

    @staticmethod
    def die(server):
        """No other connection is taken. Closing alone would leave a thread that waits for one."""
        server.listener.shutdown(socket.SHUT_RDWR)
        server.listener.close()

    def ftp_that_dies(self):
        server = self.ftp()
        def cut(number):
            self.die(server)
            return (CUT, "fin")
        server.cut = cut
        return server

    def http_that_dies(self):
        def answer(number, request):
            self.die(server)
            return [http("200 OK", DATA[:CUT], length=len(DATA))]
        server = self.http(answer)
        return server

    def url(self, server):
        return server.url("data" if isinstance(server, FTPServer) else "/data")

    def offsets(self, server):
        """Where the data began that a server was asked for."""
        if isinstance(server, FTPServer):
            return [offset for _, _, _, offset in server.starts]
        return [range_start(request) or 0 for request in server.requests]

    def get(self, code, first, *mirrors, options=()):
        arguments = [argument for mirror in mirrors for argument in ("--mirror", self.url(mirror))]
        return self.expect(code, "get", self.url(first), "-o", "data", *arguments, *options)

    # ---- a server that dies

    def test_server_that_dies_in_the_middle_is_followed_by_the_mirror_at_once(self):
        for dying, mirror in ((self.ftp_that_dies, self.ftp), (self.http_that_dies, self.http_honest),
                              (self.ftp_that_dies, self.http_honest), (self.http_that_dies, self.ftp)):
            first, second = dying(), mirror()
            result = self.get(DONE, first, second)
            self.assert_file("data", DATA)
            self.assertEqual(self.offsets(second), [CUT])
            self.assertIn(GONE % second.port, result.errors)
            self.assertIn("qz: resuming at 97.7 KiB\n", result.errors)
            self.assertNotIn("next try", result.errors)
            self.assertEqual(self.names(), ["data"])
            os.remove(self.path("data"))

    def test_each_mirror_gives_what_the_one_before_did_not(self):
        def dies_after(first, count):
            server = self.http(lambda number, request: [http("206 Partial Content", DATA[first:first + count],
                                                             length=len(DATA) - first, Content_Range="bytes %d-%d/%d"
                                                             % (first, len(DATA) - 1, len(DATA)))])
            return server
        servers = [dies_after(0, 50000), dies_after(50000, 50000), dies_after(100000, 100000)]
        last = self.ftp()
        self.get(DONE, *servers, last)
        self.assert_file("data", DATA)
        self.assertEqual([self.offsets(server) for server in servers + [last]], [[0], [50000], [100000], [200000]])

    def test_server_that_cannot_be_reached_is_followed_by_the_mirror_at_once(self):
        mirror = self.ftp()
        dead = "127.0.0.1:%d" % ports.unused()
        for scheme in ("ftp", "http"):
            result = self.expect(DONE, "get", "%s://%s/data" % (scheme, dead), "--mirror", self.url(mirror))
            self.assertIn("cannot connect to " + dead, result.errors)
            self.assertIn("127.0.0.1:%d follows" % mirror.port, result.errors)
            self.assert_file("data", DATA)
            os.remove(self.path("data"))

    def test_mirrors_are_saved_with_the_transfer(self):
        first, mirror = self.ftp_that_dies(), self.ftp(greeting=lambda n: "421 busy" if n == 0 else "220 ready")
        result = self.get(NETWORK, first, mirror, options=("--retries", "0"))
        self.assertIn('97.7 KiB are kept in "data.part"', result.errors)
        self.assertEqual(self.names(), ["data.part"])
        self.get(DONE, first)
        self.assert_file("data", DATA)
        self.assertEqual(self.offsets(mirror), [CUT])

    # ---- servers that do not always answer

    def test_server_that_answers_every_third_connection_only(self):
        first = self.ftp(greeting=lambda n: "421 busy" if n % 3 != 2 else "220 ready", 
                         cut=lambda n: (CUT, "fin") if n < 8 else None)
        result = self.get(DONE, first, options=("--retries", "3", *NOW))
        self.assertEqual(self.offsets(first), [0, CUT, 2 * CUT], result)
        self.assert_file("data", DATA)
        os.remove(self.path("data"))

        def answer(number, request):
            if number % 3 != 2:
                return []
            begin = range_start(request) or 0
            return [honest(DATA, request)[:-(len(DATA) - begin - CUT)] if begin + CUT < len(DATA)
                    else honest(DATA, request)]
        second = self.http(answer)
        self.get(DONE, second, options=("--retries", "3", *NOW))
        self.assertEqual(self.offsets(second)[2::3], [0, CUT, 2 * CUT])
        self.assert_file("data", DATA)

    def test_server_that_never_answers_uses_the_retries_up(self):
        first, mirror = self.ftp(greeting="421 busy"), self.http(lambda number, request: [])
        result = self.get(NETWORK, first, mirror, options=("--retries", "2", *NOW))
        self.assertEqual((first.count, mirror.count), (3, 3))
        self.assertEqual(result.errors.count("; next try in 0 s (retry "), 2)
        self.assertEqual(self.names(), [])

    # ---- refusals

    def test_refusals_for_good_end_the_run_at_once(self):
        for first, mirror in ((self.ftp(None), self.http(lambda n, request: [http("404 Not Found")])),
                              (self.http(lambda n, request: [http("404 Not Found")]), self.ftp(None))):
            result = self.get(NOT_FOUND, first, mirror)
            self.assertEqual((first.count, mirror.count), (1, 1))
            self.assertIn("127.0.0.1:%d follows" % mirror.port, result.errors)
            self.assertNotIn("next try", result.errors)
            self.assertEqual(self.names(), [])

    def test_mirror_on_the_same_server_follows_at_once_too(self):
        server = self.serve(FTPServer({"b/data": DATA}))
        result = self.expect(DONE, "get", server.url("a/data"), "--mirror", server.url("b/data"))
        self.assertIn("127.0.0.1:%d follows" % server.port, result.errors)
        self.assertNotIn("next try", result.errors)
        self.assert_file("data", DATA)

    def test_refusal_of_one_server_is_no_end_while_another_may_answer(self):
        first = self.ftp(None)
        mirror = self.ftp(greeting=lambda n: "421 busy" if n < 2 else "220 ready")
        self.get(DONE, first, mirror, options=NOW)
        self.assertEqual(mirror.count, 3)
        self.assert_file("data", DATA)

    def test_server_that_was_busy_is_asked_again_when_its_mirror_refuses(self):
        first = self.ftp(greeting=lambda n: "421 busy" if n == 0 else "220 ready")
        mirror = self.ftp(None)
        self.get(DONE, first, mirror, options=NOW)
        self.assertEqual((first.count, mirror.count), (2, 1))
        self.assert_file("data", DATA)

    def test_run_ends_when_all_servers_refuse_in_one_round(self):
        first = self.ftp(None, greeting=lambda n: "421 busy" if n == 0 else "220 ready")
        mirror = self.ftp(None)
        result = self.get(NOT_FOUND, first, mirror, options=NOW)
        self.assertEqual((first.count, mirror.count), (2, 2))
        self.assertEqual(result.errors.count("; next try"), 1)

    def test_mirror_that_is_no_file_is_refused_before_anything_is_asked(self):
        first = self.ftp()
        for mirror in ("ftp://127.0.0.1/folder/", "gopher://127.0.0.1/data", "data"):
            self.expect(USAGE, "get", self.url(first), "--mirror", mirror)
        self.assertEqual(first.count, 0)

    # ---- another file

    def test_mirror_with_another_size_is_never_mixed(self):
        ranges = lambda: self.http_honest(OTHER)
        plain = lambda: self.http(lambda number, request: [http("200 OK", OTHER)])
        for dying in (self.ftp_that_dies, self.http_that_dies):
            for mirror in (lambda: self.ftp(OTHER), ranges, plain):
                first, second = dying(), mirror()
                result = self.get(DONE, first, second, options=NOW)
                self.assert_file("data", OTHER)
                self.assertEqual(self.names(), ["data"], result)
                os.remove(self.path("data"))

    def test_mirror_that_is_shorter_than_what_is_held_is_never_mixed(self):
        short = some_bytes(CUT // 2, 23)
        for mirror in (lambda: self.ftp(short), lambda: self.http_honest(short)):
            self.get(DONE, self.ftp_that_dies(), mirror(), options=NOW)
            self.assert_file("data", short)
            os.remove(self.path("data"))

    def test_mirror_of_another_size_that_fails_leaves_nothing_of_the_first(self):
        first = self.ftp_that_dies()
        mirror = self.ftp(OTHER, cut=lambda number: (1000, "fin") if number == 0 else None)
        self.get(DONE, first, mirror, options=NOW)
        self.assert_file("data", OTHER)
        self.assertEqual(self.offsets(mirror), [0, 1000])

    def test_server_that_refuses_is_named(self):
        first = self.serve(HTTPServer(lambda n, request: [http("404 Not Found")]))
        ftp = self.serve(FTPServer({}))
        third = self.serve(HTTPServer(lambda n, request: [http("410 Gone")]))
        result = self.expect(NOT_FOUND, "get", first.url("/x"), "--mirror", ftp.url("folder/y"), "--mirror",
                             third.url("/z?a=b;c"))
        for shown in (first.url("/x"), ftp.url("folder/y"), third.url("/z%3Fa%3Db%3Bc")):
            self.assertIn('cannot get "%s": the server answered' % shown, result.errors)
        self.assertEqual(third.requests[0].split(" ")[1], "/z?a=b;c")


if __name__ == "__main__":
    unittest.main()
