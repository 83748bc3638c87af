"""qz sync with real FTP servers: vsftpd, proftpd, pure-ftpd. tests/support/servers starts them."""

import signal
import unittest

from sync_fixture import *

NEEDED = ("QZ_TEST_FTP_PORT", "QZ_TEST_FTP_PROFTPD_PORT", "QZ_TEST_FTP_PUREFTPD_PORT", "QZ_TEST_FTP_ROOT")


class ActiveOnly(Session):
    def on_pwd(self, _):
        self.say('257 "/%s"' % self.folder)


class ActiveOnlyServer(FTPServer):
    def serve(self, connection, number):
        ActiveOnly(self, connection, number).run()


class ServerTest(SyncTest):
    def setUp(self):
        super().setUp()
        missing = [name for name in NEEDED if name not in os.environ]
        if missing:
            self.fail("start tests/support/servers and set " + " ".join(missing))
        self.remote = "incoming/sync-%d" % os.getpid()
        self.far = os.path.join(os.environ["QZ_TEST_FTP_ROOT"], self.remote)
        self.addCleanup(shutil.rmtree, self.far, True)
        self.servers = ["127.0.0.1:" + os.environ[name] for name in NEEDED[:2]]
        self.servers.append("qz:secret@127.0.0.1:" + os.environ[NEEDED[2]])

    def go(self, source, destination, *options, code=DONE):
        result = self.expect(code, "sync", source, destination, *options)
        return self.summary(result)

    def far_tree(self, below=""):
        return self.tree(os.path.join(self.far, below))

    def put_far(self, name, text, seconds=EARLY):
        self.put(os.path.join(self.far, name), text, seconds)


class Servers(ServerTest):
    def test_local_to_server_and_back(self):
        for server in self.servers[2:] if on_windows() else self.servers:
            url = "ftp://%s/%s" % (server, self.remote)
            self.put_all("a/x=1 a/s/y=22")
            self.assertEqual(self.go("a", url, "--delete"), "2 0 0 0 0 0")
            self.assertEqual(self.far_tree(), "s/y=22 x=1")
            if on_windows():
                return
            self.assertEqual(self.go("a", url, "--delete"), "0 0 2 0 0 0")
            self.remove("a/x")
            self.put("a/s/y", "333", EARLY + 7200)
            self.assertEqual(self.go("a", url, "--delete"), "1 1 0 0 0 0")
            self.assertEqual(self.far_tree(), "s/y=333")
            self.put_far("s/z", "4")
            self.assertEqual(self.go(url, "b"), "2 0 0 0 0 0")
            self.assertEqual(self.tree("b"), "s/y=333 s/z=4")
            shutil.rmtree(self.far)
            self.assertEqual(self.go("a", url, "--delete", code=TOO_MUCH), "")
            shutil.rmtree(self.path("b"))
            shutil.rmtree(self.tables)

    @one_system
    def test_two_way_with_conflicts(self):
        url = "ftp://%s/%s" % (self.servers[1], self.remote)
        self.put_all("a/x=1 a/c=1")
        self.put_far("my file.txt", "2")
        self.put_far("c", "22")
        os.chmod(self.far, 0o777)
        self.assertEqual(self.go("a", url, "--two-way", code=CONFLICT), "2 0 0 1 0 0")
        self.assertEqual((self.tree("a"), self.far_tree()), ("c=1 my file.txt=2 x=1", "c=22 my file.txt=2 x=1"))
        self.assertEqual(self.go("a", url, "--two-way", "--force", "destination:c"), "1 0 2 0 0 0")
        self.assertEqual(self.tree("a"), "c=22 my file.txt=2 x=1")

    @one_system
    def test_server_to_server(self):
        self.put_far("one/x", "1")
        self.put_far("one/s/y", "2")
        pair = ["ftp://%s/%s/%s" % (server, self.remote, name)
                for server, name in ((self.servers[0], "one"), (self.servers[2], "two"))]
        os.chmod(self.far, 0o777)
        self.assertEqual(self.go(*pair), "2 0 0 0 0 0")
        self.assertEqual(self.far_tree("two"), "s/y=2 x=1")
        self.assertEqual(self.go(*pair), "0 0 2 0 0 0")

    @one_system
    def test_password_stands_nowhere(self):
        self.put_all("a/x=1")
        self.write("pw", b"secret\n")
        address = self.servers[2].rpartition("@")[2]
        for url, options in (("ftp://qz:secret@" + address, ()),
                             ("ftp://" + address, ("--user", "qz", "--password-file", "pw"))):
            result = self.expect(DONE, "sync", "a", url + "/" + self.remote, "--verbose", *options)
            self.assertNotIn("secret", result.output + result.errors)
        self.assertEqual(self.summary(result), "0 0 1 0 0 0", "the same tables")
        for name, value in contents(self.tables).items():
            self.assertNotIn(b"secret", value[0] + name.encode())
        self.write("pw", b"wrong\n")
        result = self.expect(LOGIN, "sync", "a", "ftp://qz@%s/%s" % (address, self.remote), "--password-file", "pw")
        self.assertNotIn("wrong", result.errors)

    @one_system
    def test_dry_run_changes_nothing_on_the_server(self):
        self.put_all("a/x=1 a/s/y=2")
        url = "ftp://%s/%s" % (self.servers[0], self.remote)
        self.assertEqual(self.go("a", url, "--dry-run"), "2 0 0 0 0 0")
        self.assertFalse(os.path.exists(self.far))

    @only_posix
    def test_ctrl_c_inside_an_upload_removes_what_was_sent(self):
        self.put_all("a/x=1")
        self.put("a/big", b"begin")
        os.truncate(self.path("a/big"), 3 << 30)
        url = "ftp://%s/%s" % (self.servers[0], self.remote)
        process = self.start_qz("sync", "a", url)
        self.wait_for(lambda: os.path.isdir(self.far) and any(
            name.startswith("xfer") and os.path.getsize(os.path.join(self.far, name)) > 100_000_000
            for name in os.listdir(self.far)))
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=15)
        self.assertLess(time.monotonic() - begin, 1)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.assertLessEqual(set(os.listdir(self.far)), {"x"})
        os.truncate(self.path("a/big"), 5)
        self.expect(DONE, "sync", "a", url)
        self.assertEqual(self.far_tree(), "big=begin x=1")

    @one_system
    def test_active_mode(self):
        server = self.serve(ActiveOnlyServer({"pub/x": b"1"}))
        server.pasv = "502 not here"
        server.listing = b"-rw-r--r--   1 ftp      ftp             1 Mar 04  2026 x\r\n"
        self.assertEqual(self.go(server.url("pub"), "b", "--active"), "1 0 0 0 0 0")
        self.assertEqual(self.tree("b"), "x=1")
        self.assertIn("PORT", server.verbs())
        self.run_qz("sync", server.url("pub"), "a")
        self.assertEqual(self.tree("a"), "", "passive mode is refused")

    @one_system
    def test_folder_that_cannot_be_made_gives_5(self):
        self.put_all("a/x=1")
        result = self.expect(LOGIN, "sync", "a", "ftp://%s/%s/x/y" % (self.servers[0], self.remote))
        self.assertIn("can be neither entered nor made", result.errors)

    @one_system
    def test_folder_that_is_copied_from_and_does_not_exist_gives_3(self):
        for server in self.servers:
            url = "ftp://%s/%s" % (server, self.remote)
            for words in ((url, "b"), ("b", url, "--reverse"), (url, "b", "--two-way")):
                result = self.expect(NOT_FOUND, "sync", *words)
                self.assertIn(self.remote + '" does not exist', result.errors)
        self.assertFalse(os.path.exists(self.far))

    @one_system
    def test_one_folder_in_the_other(self):
        self.put_far("x", "1")
        url = "ftp://%s/%s" % (self.servers[0], self.remote)
        result = self.expect(USAGE, "sync", url, url + "/sub")
        self.assertIn("one of the two folders is in the other", result.errors)
        self.assertIn("the same folder", self.expect(USAGE, "sync", url, url + "/./").errors)
        self.assertEqual(self.far_tree(), "x=1")

    @one_system
    def test_root_with_a_line_that_is_not_understood(self):
        self.put_far("x", "1")
        self.put_far("two\nlines", "1")
        url = "ftp://%s/%s" % (self.servers[0], self.remote)
        result = self.expect(TOO_MUCH, "sync", url, "b")
        self.assertIn("is not listed whole: its listing is cut, or has a line that is not "
                      "understood; nothing was done", result.errors)
        self.assertEqual(self.tree("b"), "")

    @one_system
    def test_names_with_blanks_without_mlsd(self):
        self.put_all("a/x=1")
        self.put("a/my photo.jpg", "1")
        result = self.expect(DONE, "sync", "a", "ftp://%s/%s" % (self.servers[0], self.remote))
        self.assertIn("kept, a name with blanks, and the server has no MLSD to list it surely: my photo.jpg",
                      result.errors)
        self.assertEqual((self.summary(result), self.far_tree()), ("1 0 0 0 1 0", "x=1"))

    @one_system
    def test_verbose_shows_files_and_no_protocol(self):
        self.put_all("a/x=1")
        url = "ftp://%s/%s" % (self.servers[2], self.remote)
        result = self.expect(DONE, "sync", "a", url, "--verbose")
        self.assertEqual(result.errors.splitlines()[0], "qz: copied to the destination: x")

    @one_system
    def test_server_that_is_not_there_gives_4(self):
        self.put_all("a/x=1")
        with socket.create_server(("127.0.0.1", 0)) as gone:
            port = gone.getsockname()[1]
        self.assertIn("cannot connect", self.expect(NETWORK, "sync", "a", "ftp://127.0.0.1:%d/x" % port).errors)


class Documented(ServerTest):
    """The commands of docs/program.md."""

    @one_system
    def test_they_run(self):
        with open(os.path.join(CHECKOUT, "docs", "program.md"), encoding="utf-8") as page:
            section = page.read().split("## Synchronising\n")[1]
        commands = [shlex.split(line) for line in section.split("```")[1].strip().split("\n")]
        self.assertEqual([command[:2] for command in commands], [["qz", "sync"]] * 4)
        os.mkdir(self.path("backup"))
        self.put_all("photos/2026/june.jpg=1 photos/x.tmp=2 photos/cache/y=3 notes/n=4 stick/notes/m=5")
        server = "ftp://%s/%s" % (self.servers[2], self.remote)
        os.mkdir(self.far)
        os.chmod(self.far, 0o777)
        for command in commands:
            words = [word.replace("/mnt/", "").replace("ftp://127.0.0.1:2121", server) for word in command[1:]]
            self.expect(DONE, *words)
        self.assertEqual(self.tree("backup"), "photos/2026/june.jpg=1")
        self.assertEqual(self.far_tree(), "photos/2026/june.jpg=1 photos/cache/y=3 photos/x.tmp=2")
        self.assertEqual((self.tree("notes"), self.tree("stick")), ("m=5 n=4", "notes/m=5 notes/n=4"))


if __name__ == "__main__":
    unittest.main()
