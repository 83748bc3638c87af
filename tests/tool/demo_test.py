"""scripts/demo shows what it says, with the program under test instead of one that it builds."""

import unittest

from support import *

DEMO = os.path.join(CHECKOUT, "scripts", "demo")


@only_posix
class Demo(OwnProgram):
    has_extensions = True

    def run_demo(self, *arguments):
        environment = dict(os.environ, QZ_DEMO_PROGRAM=os.path.join(self.place, "qz"))
        done = subprocess.run([DEMO, *arguments], cwd=self.folder, env=environment, capture_output=True, timeout=150,
                              check=False)
        return Result(done.returncode, done.stdout, done.stderr)

    def test_every_part_works(self):
        result = self.run_demo()
        self.assertEqual(result.code, DONE, result)
        shown = result.errors
        for text in ('qz: saved "disk.iso" (64.0 MiB', " bytes; 127.0.0.1:", "qz: resuming at 768.0 KiB\n",
                     " left\n", "qz: saved as transfer 6: ", 'qz: saved "second.iso" (64.0 MiB', ", verified)\n",
                     'is not verified: SHA-256 is ', "qz: removed transfer 8 (small.iso)\n", "\n== success\n"):
            self.assertIn(text, shown)
        self.assertEqual(shown.count(" is identical\n"), 8)
        self.assertEqual(shown.count("qz: resuming at "), 2, "from the mirror, and after the kill")
        self.assertRegex(result.output, r"\n *4  waiting  1\.5 MiB +\d+%  small\.iso\n")
        self.assertRegex(result.output, r"\n *8  failed +1\.5 MiB  100%  small\.iso\n")
        for text in ("qz: 2 copied, 0 deleted, 0 equal, 0 conflicts, 0 kept, 0 failed\n",
                     "qz: conflict, the sides differ: list.txt\n", "qz: 1 copied, 0 deleted, 1 equal, 0 conflicts"):
            self.assertIn(text, shown)
        self.assertIn("\ncopy to source         list.txt\ncopy to destination    plans/june.txt\n", result.output)
        self.assertIn("size:   67108864 bytes (64.0 MiB)\n", result.output)
        self.assertRegex(result.output, r" 1572864 .* small\.iso\n")
        self.assertEqual(self.names(), [])

    def test_arguments_go_to_the_program(self):
        server = self.serve(HTTPServer(lambda n, request: [http("200 OK", b"data")]))
        self.assertEqual(self.run_demo("get", server.url("/x")).code, DONE)
        self.assert_file("x", b"data")
        self.assertEqual(self.run_demo("nonsense").code, USAGE)


if __name__ == "__main__":
    unittest.main()
