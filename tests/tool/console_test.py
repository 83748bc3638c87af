"""Runs the tests that need a Windows console in one: under Wine a terminal is the console of the programs on it."""

import os
import unittest

from support import *

if os.name == "posix":
    import fcntl
    import pty
    import select
    import termios


@unittest.skipUnless(on_windows() and os.name == "posix", "needs a Windows console on a terminal")
class OnAConsole(ProgramTest):
    def test_display(self):
        report = os.path.join(self.folder, "report.xml")
        tests = os.path.join(os.path.dirname(program()[-1]), "console_tests.exe")
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))

        def own_terminal():
            os.setsid()
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
        process = subprocess.Popen([*program()[:-1], tests, "--gtest_output=xml:report.xml"], cwd=self.folder,
                                   stdin=slave, stdout=slave, stderr=slave, preexec_fn=own_terminal)
        end = time.monotonic() + RUN_SECONDS
        while process.poll() is None and time.monotonic() < end:
            if select.select([master], [], [], 0.1)[0]:
                os.read(master, 65536)
        if process.poll() is None:
            process.kill()
        code = process.wait()
        os.close(slave)
        os.close(master)
        with open(report) as file:
            text = file.read()
        self.assertEqual(code, 0, text)
        self.assertRegex(text, r'testsuites tests="3" failures="0"')


if __name__ == "__main__":
    unittest.main()
