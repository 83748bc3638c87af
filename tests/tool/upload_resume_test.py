"""qz put, broken off in the middle and run again: what the server holds is continued, or sent anew; never mixed."""

import signal
import unittest

from support import *

DATA = some_bytes(3000000, 31)
OTHER = some_bytes(3000000, 32)
HELD = 100000


class StallingSession(Session):
    """Takes some bytes of an upload, and says nothing more."""

    def on_stor(self, name):
        number = len(self.server.starts)
        if number not in self.server.stalls:
            return super().on_stor(name)
        path = self.resolve(name)
        offset = self.begin("STOR", path)
        self.say("150 send it")
        data = self.open_data()
        kept = self.server.files.get(path, b"")[:offset]
        received = b""
        while len(received) < self.server.stalls[number]:
            received += data.recv(self.server.stalls[number] - len(received))
        self.server.files[path] = kept + received
        self.server.stall()
        data.close()
        return "close"


class StallingServer(FTPServer):
    """stalls: the number of an upload, from 0 -> after how many bytes it stalls."""

    stalls = {}

    def serve(self, connection, number):
        StallingSession(self, connection, number).run()


class UploadResume(ProgramTest):
    def setUp(self):
        super().setUp()
        self.write("local.bin", DATA)
        self.server = self.serve(StallingServer())
        self.server.stalls = {0: HELD}
        self.command = ("put", "local.bin", self.server.url("in/remote.bin"))
        self.server.folders.add("in")

    def held(self):
        return len(self.server.files.get("in/remote.bin", b""))

    def offsets(self):
        return [offset for _, _, _, offset in self.server.starts]

    def kill_in_the_middle(self, *options, held=HELD):
        process = self.start_qz(*self.command, *options)
        self.wait_for(lambda: self.held() == held or process.poll() is not None)
        self.assertIsNone(process.poll())
        process.kill()
        process.wait()

    def assert_stored(self, data):
        self.assertEqual(digest(self.server.files["in/remote.bin"]), digest(data))

    def test_same_command_sends_the_rest(self):
        self.kill_in_the_middle()
        result = self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, HELD])
        self.assertIn("qz: resuming at 97.7 KiB\n", result.errors)
        self.assertNotIn("DELE", self.server.verbs())
        self.assert_stored(DATA)
        # It is done: the next one is another upload.
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, HELD, 0])

    def test_several_kills_in_a_row(self):
        self.server.stalls = {0: 1, 1: 70000, 2: 1234567}
        for held in (1, 70001, 1304568):
            self.kill_in_the_middle(held=held)
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, 1, 70001, 1304568])
        self.assert_stored(DATA)

    @only_posix
    def test_ctrl_c_in_the_middle(self):
        process = self.start_qz(*self.command)
        self.wait_for(lambda: self.held() == HELD)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.assertIn(b"interrupted; rerun the command to resume", errors)
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, HELD])
        self.assert_stored(DATA)

    def test_source_that_changed_in_between_is_sent_anew(self):
        for number, changed in enumerate((OTHER, OTHER[:2999999], OTHER + b"more")):
            self.server.stalls = {2 * number: HELD}
            self.write("local.bin", DATA)
            self.server.files.clear()
            self.kill_in_the_middle()
            self.write("local.bin", changed)
            os.utime(self.path("local.bin"), (2000000000 + number, 2000000000 + number))
            result = self.expect(DONE, *self.command)
            self.assertEqual(self.offsets()[-2:], [0, 0])
            self.assertIn('"local.bin" has changed: sending all of it', result.errors)
            self.assert_stored(changed)

    def test_source_that_changes_within_a_run_is_sent_anew(self):
        self.server.stalls = {}
        def cut(number):
            if len(self.server.starts) > 1:
                return None
            self.write("local.bin", OTHER)
            return (HELD, "reset")
        self.server.cut = cut
        self.expect(DONE, *self.command, "--retry-wait", "0")
        self.assertEqual(self.offsets(), [0, 0])
        self.assert_stored(OTHER)

    def remove_copies(self):
        files = os.path.join(self.transfers, "files")
        for name in os.listdir(files):
            if name.startswith("vrxData"):
                os.remove(os.path.join(files, name))

    def test_copy_that_is_made_again_is_sent_from_its_beginning(self):
        self.kill_in_the_middle()
        self.remove_copies()
        result = self.expect(DONE, *self.command)
        self.assertIn('"local.bin" has changed: sending all of it', result.errors)
        self.assertEqual(self.offsets(), [0, 0])
        self.assert_stored(DATA)

    def test_copy_counts_for_nothing_before_a_byte_is_sent(self):
        # The first connection asks whether there is a file of that name.
        self.server.login = lambda number: "230 welcome" if number == 0 else "421 later"
        self.expect(NETWORK, *self.command, "--retries", "0")
        self.assertRegex(self.expect(DONE, "list").output, r" 1  waiting +unknown +0 bytes +local\.bin\n")

    def change_source(self, data, seconds):
        self.write("local.bin", data)
        os.utime(self.path("local.bin"), (seconds, seconds))

    def test_nothing_is_mixed_where_the_old_bytes_may_not_be_removed(self):
        self.assert_nothing_is_mixed(OTHER, 2000000000)

    def test_nothing_is_mixed_when_only_the_size_tells_of_the_change(self):
        self.assert_nothing_is_mixed(OTHER + b"more", 1900000000)

    def test_nothing_is_mixed_when_the_change_is_less_than_a_second_old(self):
        self.assert_nothing_is_mixed(OTHER, 1900000000.5)

    def test_copy_that_is_made_again_continues_nothing(self):
        self.server.files["in/remote.bin"] = DATA[:70000]
        self.kill_in_the_middle("--continue", held=70000 + HELD)
        self.remove_copies()
        self.server.dele = "550 not allowed"
        for _ in range(2):
            self.expect(LOGIN, *self.command)
        self.server.dele = None
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [70000, 0])
        self.assert_stored(DATA)

    def assert_nothing_is_mixed(self, changed, seconds):
        self.change_source(DATA, 1900000000)
        self.kill_in_the_middle()
        self.change_source(changed, seconds)
        self.server.dele = "550 not allowed"
        for _ in range(2):
            result = self.expect(LOGIN, *self.command)
            self.assertIn('"550 not allowed"', result.errors)
            self.assertEqual(self.server.files["in/remote.bin"], DATA[:HELD])
        self.server.dele = None
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, 0])
        self.assert_stored(changed)

    def test_unchanged_source_needs_no_right_to_remove(self):
        self.server.dele = "550 not allowed"
        self.kill_in_the_middle()
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, HELD])
        self.assert_stored(DATA)

    def test_restart_sends_all_of_it(self):
        self.kill_in_the_middle()
        self.expect(DONE, *self.command, "--restart")
        self.assertEqual(self.offsets(), [0, 0])
        self.assertIn("DELE", self.server.verbs())
        self.assert_stored(DATA)

    def test_restart_holds_for_the_first_attempt_only(self):
        self.server.stalls = {}
        self.server.cut = lambda number: (HELD, "reset") if len(self.server.starts) == 1 else None
        self.expect(DONE, *self.command, "--restart", "--retry-wait", "0")
        self.assertEqual(self.offsets(), [0, HELD])
        self.assert_stored(DATA)

    def test_continue_goes_on_behind_what_the_server_had(self):
        self.server.files["in/remote.bin"] = DATA[:70000]
        self.kill_in_the_middle("--continue", held=70000 + HELD)
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [70000, 70000 + HELD])
        self.assert_stored(DATA)

    def test_restart_holds_over_continue(self):
        self.server.files["in/remote.bin"] = OTHER[:70000]
        self.server.login = "421 later"
        self.expect(NETWORK, *self.command, "--continue", "--retries", "0")
        self.server.login = "230 welcome"
        self.server.stalls = {}
        self.expect(DONE, *self.command, "--restart")
        self.assertEqual(self.offsets(), [0])
        self.assert_stored(DATA)

    def test_source_that_has_gone_is_sent_from_its_copy(self):
        self.kill_in_the_middle()
        os.remove(self.path("local.bin"))
        self.expect(DONE, "run")
        self.assertEqual(self.offsets(), [0, HELD])
        self.assert_stored(DATA)

    @only_posix
    def test_nothing_is_sent_again_after_ctrl_c_while_the_server_is_left(self):
        self.server.stalls = {}
        # The first connection asks whether there is a file of that name.
        self.server.silent_at_the_end = lambda number: number == 1
        process = self.start_qz(*self.command)
        self.wait_for(lambda: self.server.verbs(1)[-1:] == ["QUIT"])
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=10)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0])
        self.assert_stored(DATA)

    def test_bytes_that_the_server_has_lost_are_sent_again(self):
        self.kill_in_the_middle()
        del self.server.files["in/remote.bin"]
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, 0])
        self.assert_stored(DATA)

    def test_longer_file_of_somebody_else_is_replaced(self):
        self.kill_in_the_middle()
        self.server.files["in/remote.bin"] = OTHER + b"longer"
        self.expect(DONE, *self.command)
        self.assertEqual(self.offsets(), [0, 0])
        self.assert_stored(DATA)


if __name__ == "__main__":
    unittest.main()
