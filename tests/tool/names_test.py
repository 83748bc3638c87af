"""Names that need care in URLs, on the screen and in records: each file arrives under its name, also when the program
was killed in the middle."""

import signal
import unittest

from support import *

DATA = some_bytes(3000000, 61)
HALF = 1500000


class Names(ProgramTest):
    def kill_with_half(self, *arguments):
        process = self.start_qz(*arguments)
        self.wait_for(lambda: any(os.path.getsize(self.path(name)) >= HALF // 2 for name in self.names()
                                  if name.endswith(".part")))
        process.send_signal(signal.SIGKILL if not on_windows() else signal.SIGTERM)
        process.communicate()

    def ftp(self, name):
        """A server whose first connection stalls in the middle of the file."""
        server = self.serve(FTPServer({name: DATA}))
        server.cut = lambda number: (HALF, "stall") if number == 0 else None
        return server

    def test_ftp_names_with_percent_signs_survive_a_kill(self):
        for name, path in (("a%20b", "a%2520b"), ("100%.txt", "100%25.txt"), ("%41", "%2541"), ("50%25", "50%2525")):
            with self.subTest(name):
                server = self.ftp(name)
                self.kill_with_half("get", server.url(path))
                self.expect(DONE, "run")
                self.assert_file(name, DATA)
                self.assertEqual(self.names(), [name])
                self.assertGreater(server.starts[-1][3], 0)
                os.remove(self.path(name))

    def test_exact_request_of_a_mirror_survives_a_kill(self):
        for target in ("/a%2520b", "/a%26b", "/x?sig=a%2Bb%2F", "/x?a=1&b=%26"):
            with self.subTest(target):
                def answer(number, request):
                    if request.split(" ")[1] != target:
                        return [http("404 Not Found")]
                    reply = honest(DATA, request)
                    return [reply[:HALF], "stall"] if number == 0 else [reply]
                server = self.serve(HTTPServer(answer))
                dead = ports.listen()
                url = "http://127.0.0.1:%d/file" % dead.getsockname()[1]
                dead.close()
                self.kill_with_half("get", url, "--mirror", server.url(target), "--retry-wait", "0")
                self.expect(DONE, "run", "--retry-wait", "0")
                self.assertEqual({request.split(" ")[1] for request in server.requests}, {target})
                self.assert_file("file", DATA)
                os.remove(self.path("file"))

    def test_exact_request_of_a_redirect_survives_a_kill(self):
        for target in ("/a%2520b", "/x?sig=a%2Bb%2F"):
            with self.subTest(target):
                count = []
                def answer(number, request):
                    path = request.split(" ")[1]
                    if path == "/file":
                        return [http("302 Found", Location=target)]
                    if path != target:
                        return [http("404 Not Found")]
                    reply = honest(DATA, request)
                    count.append(1)
                    return [reply[:HALF], "stall"] if len(count) == 1 else [reply]
                server = self.serve(HTTPServer(answer))
                self.kill_with_half("get", server.url("/file"), "--retry-wait", "0")
                self.expect(DONE, "run", "--retry-wait", "0")
                self.assert_file("file", DATA)
                os.remove(self.path("file"))


if __name__ == "__main__":
    unittest.main()
