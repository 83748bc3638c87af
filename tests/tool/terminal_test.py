"""What a person at a terminal sees: the bar, the password question, Ctrl-C."""

import re
import select
import signal
import unicodedata
import unittest
import urllib.parse

from support import *

if not on_windows():
    import fcntl
    import pty
    import termios

DATA = some_bytes(4 * 1024 * 1024, 6)


def columns_of(character):
    if unicodedata.combining(character):
        return 0
    return 2 if unicodedata.east_asian_width(character) in "WF" else 1


class Terminal:
    """The program with a terminal of its own for everything."""

    def __init__(self, arguments, folder, columns=80, environment=None):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        full = {"TERM": "xterm", **os.environ, **(environment or {})}
        full["TERM"] = (environment or {}).get("TERM", "xterm")
        def own_terminal():
            os.setsid()
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
        self.process = subprocess.Popen(program() + arguments, cwd=folder, stdin=slave, stdout=slave, stderr=slave,
                                        env=full, preexec_fn=own_terminal)
        self.slave = slave
        self.text = ""

    def read(self, seconds=0.1):
        ready, _, _ = select.select([self.master], [], [], seconds)
        if ready:
            try:
                self.text += os.read(self.master, 65536).decode("utf-8", "replace")
            except OSError:
                pass

    def read_until(self, pattern, seconds=20):
        end = time.monotonic() + seconds
        while not re.search(pattern, self.text):
            if time.monotonic() > end:
                raise AssertionError("no %r in %r" % (pattern, self.text))
            self.read()

    def type(self, text):
        os.write(self.master, text.encode())

    def echo_is_on(self):
        return bool(termios.tcgetattr(self.slave)[3] & termios.ECHO)

    def finish(self, seconds=20):
        end = time.monotonic() + seconds
        while self.process.poll() is None:
            if time.monotonic() > end:
                self.process.kill()
                raise AssertionError("does not end: %r" % self.text)
            self.read()
        self.read()
        return self.process.returncode

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.master)
        os.close(self.slave)


@only_posix
class AtTheTerminal(ProgramTest):
    def terminal(self, *arguments, **options):
        terminal = Terminal(list(arguments), self.folder, **options)
        self.addCleanup(terminal.close)
        return terminal

    def slow_server(self, pause=0.3, pieces=8):
        def answer(number, request):
            whole = honest(DATA, request)
            step = len(whole) // pieces + 1
            for start in range(0, len(whole), step):
                time.sleep(pause)
                yield whole[start:start + step]
        return self.serve(HTTPServer(answer))

    def test_bar_shows_name_share_amount_speed_and_time_left(self):
        terminal = self.terminal("get", self.slow_server().url("/disk.iso"))
        self.assertEqual(terminal.finish(), DONE)
        plain = re.sub(r"\x1b\[\d+m", "", terminal.text)
        self.assertRegex(plain, r"\rdisk\.iso +\d+% \[=+> +\] ")
        self.assertRegex(plain, r"\rdisk\.iso +\d\d% .*MiB of 4\.0 MiB  \d+\.\d MiB/s  \d+ seconds? left")
        self.assertIn("disk.iso 100% [====================] 4.0 MiB of 4.0 MiB", plain)
        self.assertIn('saved "disk.iso" (4.0 MiB', terminal.text)

    def test_bar_fits_the_terminal(self):
        for columns in (20, 40, 80, 200):
            terminal = self.terminal("get", self.slow_server(0.15).url("/" + "n" * 60), columns=columns)
            self.assertEqual(terminal.finish(), DONE)
            plain = re.sub(r"\x1b\[\d+m", "", terminal.text)
            bars = [line for line in re.split(r"[\r\n]", plain) if "%" in line]
            self.assertTrue(bars)
            for bar in bars:
                self.assertEqual(len(bar), columns - 3)  # "^C" fits behind it, and the last column stays free

    def test_bar_counts_columns_not_characters(self):
        for name in ("\u65e5\u672c\u8a9e" * 8, "e\u0301" * 40, "\U0001f600x\u0301" * 20):
            server = self.slow_server(0.15)
            terminal = self.terminal("get", server.url("/" + urllib.parse.quote(name)), columns=60)
            self.assertEqual(terminal.finish(), DONE)
            plain = re.sub(r"\x1b\[\d+m", "", terminal.text)
            bars = [line for line in re.split(r"[\r\n]", plain) if "%" in line]
            self.assertTrue(bars)
            for bar in bars:
                self.assertTrue(bar.startswith(name[:8]), bar)
                self.assertEqual(sum(columns_of(character) for character in bar), 57, bar)

    def test_bar_is_drawn_while_nothing_comes(self):
        server = self.slow_server(4.6, pieces=2)
        terminal = self.terminal("get", server.url("/disk.iso"))
        terminal.read_until(r" 49% .*2\.0 MiB of 4\.0 MiB")
        self.assertEqual(terminal.finish(), DONE)
        half = [line for line in terminal.text.split("\r") if " 49% " in line]
        self.assertRegex(half[-1], r"2\.0 MiB of 4\.0 MiB  no data for 4 s *(\x1b|$)")
        self.assertTrue(any("no data for 3 s" in line for line in half))
        self.assertFalse(any(re.search(r"no data for [0125-9]", line) for line in half))
        self.assertNotRegex(terminal.text, r"no data for \d+ s[^\r]*/s")

    def test_no_color_is_respected(self):
        terminal = self.terminal("get", self.slow_server(0.1).url("/x"), environment={"NO_COLOR": "1"})
        self.assertEqual(terminal.finish(), DONE)
        self.assertNotIn("\x1b", terminal.text)
        self.assertIn("100%", terminal.text)

    def test_colour_without_no_color(self):
        terminal = self.terminal("get", self.slow_server(0.1).url("/x"), environment={"NO_COLOR": ""})
        self.assertEqual(terminal.finish(), DONE)
        self.assertIn("\x1b[36m", terminal.text)

    def test_dumb_terminal_gets_lines(self):
        terminal = self.terminal("get", self.slow_server(0.1).url("/x"), environment={"TERM": "dumb"})
        self.assertEqual(terminal.finish(), DONE)
        self.assertNotIn("\x1b", terminal.text)
        self.assertNotIn("\r[", terminal.text)

    def test_progress_choice_wins_over_the_terminal(self):
        terminal = self.terminal("get", "--progress=none", self.slow_server(0.1).url("/x"))
        self.assertEqual(terminal.finish(), DONE)
        self.assertEqual(terminal.text.count("\n"), 1)

    def test_hostile_name_cannot_steer_the_bar(self):
        terminal = self.terminal("get", self.slow_server(0.1).url("/a%1B%5B31mb"), environment={"NO_COLOR": "1"})
        self.assertEqual(terminal.finish(), DONE)
        self.assertNotIn("\x1b", terminal.text)

    def test_password_is_asked_for_and_not_shown(self):
        server = self.serve(FTPServer({"data": b"x"}))
        terminal = self.terminal("get", "--user", "me", server.url("data"))
        terminal.read_until("Password of me at 127.0.0.1:%d: " % server.port)
        self.wait_for(lambda: not terminal.echo_is_on())
        terminal.type("hush hush\n")
        self.assertEqual(terminal.finish(), DONE)
        self.assertNotIn("hush", terminal.text)
        self.assertTrue(terminal.echo_is_on())
        self.assertEqual([line for _, line in server.commands][:2], ["USER me", "PASS hush hush"])

    def test_ctrl_c_at_the_password_question_restores_the_echo(self):
        server = self.serve(FTPServer({"data": b"x"}))
        terminal = self.terminal("get", "--user", "me", server.url("data"))
        terminal.read_until("Password of me")
        self.wait_for(lambda: not terminal.echo_is_on())
        terminal.type("\x03")
        self.assertEqual(terminal.finish(), INTERRUPTED)
        self.assertTrue(terminal.echo_is_on())
        self.assertEqual(server.count, 0)

    def test_ctrl_c_during_a_transfer_keeps_the_part(self):
        server = self.slow_server(0.4)
        terminal = self.terminal("get", server.url("/data"))
        terminal.read_until(r"\d\d% ")
        terminal.type("\x03")
        self.assertEqual(terminal.finish(), INTERRUPTED)
        self.assertIn("data.part", terminal.text)
        kept = self.read("data.part")
        self.assertEqual(digest(kept), digest(DATA[:len(kept)]))
        self.assertEqual(self.names(), ["data.part"])

    def test_no_terminal_to_ask_on_gives_2(self):
        server = self.serve(FTPServer({"data": b"x"}))
        result = self.expect(USAGE, "get", "--user", "me", server.url("data"), start_new_session=True)
        self.assertIn("--password-file", result.errors)


if __name__ == "__main__":
    unittest.main()
