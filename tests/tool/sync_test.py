"""qz sync between local folders: the modes, the guards, what is shown, what is refused."""

import signal
import unittest

from sync_fixture import *

LATER = EARLY + 1000


class Modes(SyncTest):
    @one_system
    def test_new_and_changed_files_go_to_the_destination(self):
        self.put_all("a/x=1 a/sub/y=2 b/mine=3")
        result = self.sync()
        self.assertEqual(self.tree("b"), "mine=3 sub/y=2 x=1")
        self.assertEqual(self.summary(result), "2 0 0 0 1 0")
        self.assertIn("qz: kept, only at the destination: mine\n", result.errors.replace("\r", ""))
        self.put("a/x", "11", LATER)
        self.assertEqual(self.summary(self.sync()), "1 0 1 0 1 0")
        self.assertEqual(self.both(), "sub/y=2 x=11 | mine=3 sub/y=2 x=11")
        self.remove("a/x")
        self.assertEqual(self.summary(self.sync()), "0 0 1 0 2 0")
        self.assertEqual(self.tree("b"), "mine=3 sub/y=2 x=11")

    def test_delete_deletes_what_was_in_step(self):
        self.put_all("a/x=1 a/y=2 b/mine=3")
        self.sync("--delete")
        self.remove("a/x")
        result = self.sync("--delete", "--verbose")
        self.assertIn("qz: deleted at the destination: x", result.errors)
        self.assertIn("qz: equal: y", result.errors)
        self.assertEqual((self.summary(result), self.both()), ("0 1 1 0 1 0", "y=2 | mine=3 y=2"))

    @one_system
    def test_reverse_copies_to_the_source(self):
        self.put_all("b/x=1 b/y=2 a/mine=3")
        self.sync("--reverse", "--delete")
        self.assertEqual(self.tree("a"), "mine=3 x=1 y=2")
        self.remove("b/x")
        self.sync("--reverse")
        self.assertEqual(self.tree("a"), "mine=3 x=1 y=2", "without --delete")
        self.sync("--reverse", "--delete")
        self.assertEqual(self.both(), "mine=3 y=2 | y=2")

    @one_system
    def test_two_way_copies_both_ways_and_deletes_nothing(self):
        self.put_all("a/x=1 b/y=2")
        self.assertEqual(self.summary(self.sync("--two-way")), "2 0 0 0 0 0")
        self.assertEqual(self.both(), "x=1 y=2 | x=1 y=2")
        self.remove("a/x")
        self.put("b/y", "22", LATER)
        self.sync("--two-way")
        self.assertEqual(self.both(), "x=1 y=22 | x=1 y=22")

    @one_system
    def test_no_recursion_leaves_subfolders_alone(self):
        self.put_all("a/x=1 a/sub/y=2")
        self.sync("--no-recursion")
        self.assertEqual(contents(self.path("b")).keys(), {"x"})

    @one_system
    def test_each_mode_has_tables_of_its_own(self):
        self.put_all("a/x=1")
        self.sync()
        self.remove("a/x")
        self.assertIn("kept, only at the destination: x", self.sync("--delete").errors)
        self.assertEqual(self.tree("b"), "x=1")

    def test_names_with_blanks_and_other_letters(self):
        self.put("a/my photos/zw\u00f6lf 12 -> 13.txt", "1")
        self.put("a/100% #1.txt", "2")
        name = "a b %41"
        os.rename(self.path("a"), self.path(name))
        self.expect(DONE, "sync", name, "b")
        expected = {"100% #1.txt"} if on_windows() else {"my photos/zw\u00f6lf 12 -> 13.txt", "100% #1.txt"}
        self.assertLessEqual(expected, contents(self.path("b")).keys())

    @one_system
    def test_file_urls_name_local_folders(self):
        self.put_all("a/x=1")
        root = system_path(self.folder).replace("\\", "/")
        self.expect(DONE, "sync", "file:///%s/a" % root.lstrip("/"), "b")
        self.assertEqual(self.tree("b"), "x=1")
        self.assertEqual(self.summary(self.sync()), "0 0 1 0 0 0", "the same pair")


class Guards(SyncTest):
    """Numbered as in docs/program.md."""

    @one_system
    def test_1_changes_against_the_direction_are_left(self):
        self.put_all("a/x=1")
        self.sync()
        self.put("b/x", "22", LATER)
        result = self.sync()
        self.assertIn("kept, changed only at the destination: x", result.errors)
        self.assertEqual(self.both(), "x=1 | x=22")

    @one_system
    def test_2_a_file_that_changed_since_is_not_deleted(self):
        self.put_all("a/x=1 a/y=1")
        self.sync("--delete")
        self.remove("a/x")
        self.put("b/x", "22", LATER)
        self.sync("--delete")
        self.assertEqual(self.both(), "y=1 | x=22 y=1")

    @one_system
    def test_3_both_changed_is_a_conflict_until_it_is_forced(self):
        self.put_all("a/x=1 a/y=1")
        self.sync()
        self.put("a/x", "source", LATER)
        self.put("b/x", "destination", LATER + 1)
        result = self.sync(code=CONFLICT)
        self.assertIn("qz: conflict, the sides differ: x", result.errors)
        self.assertIn("--force NAME", result.errors)
        self.assertEqual(self.both(), "x=source y=1 | x=destination y=1")
        self.assertIn("no conflict of two files", self.sync("--force", "y", code=NOT_FOUND).errors)
        self.assertEqual(self.tree("b"), "x=destination y=1")
        self.assertEqual(self.summary(self.sync("--force", "x")), "1 0 1 0 0 0")
        self.assertEqual(self.both(), "x=source y=1 | x=source y=1")
        self.assertEqual(self.summary(self.sync()), "0 0 2 0 0 0")

    def test_3_forcing_two_ways_needs_a_side(self):
        self.put_all("a/s/x=1 b/s/x=22 a/y=1 b/y=22")
        self.assertIn("--force source:NAME", self.sync("--two-way", "--force", "s/x", code=USAGE).errors)
        self.sync("--two-way", "--force", "source:s/x", "--force", "destination:y")
        self.assertEqual(self.both(), "s/x=1 y=22 | s/x=1 y=22")
        self.assertIn("does not copy from the destination", self.sync("--force", "destination:y", code=USAGE).errors)

    @one_system
    def test_4_equal_files_of_a_first_run_are_in_step(self):
        self.put("a/x", "same", EARLY)
        self.put("b/x", "same", LATER)
        self.put("a/y", "1")
        self.put("b/y", "2")
        self.assertEqual(self.summary(self.sync("--delete", code=CONFLICT)), "0 0 1 1 0 0")
        self.remove("a/x")
        self.assertEqual(self.summary(self.sync("--delete", code=CONFLICT)), "0 1 0 1 0 0")

    @one_system
    def test_3_names_that_are_forced_are_made_plain(self):
        self.put_all("a/s/x=1 b/s/x=22 a/y=1 b/y=22")
        self.sync("--two-way", "--force", "source:./s//x", "--force", "destination:s/../y")
        self.assertEqual(self.both(), "s/x=1 y=22 | s/x=1 y=22")

    @one_system
    def test_3_a_file_and_a_folder_are_no_conflict_that_can_be_forced(self):
        self.put_all("a/x=1 b/x/y=2")
        result = self.sync(code=CONFLICT)
        self.assertIn("conflict, a file on one side and a folder on the other: x", result.errors)
        self.assertNotIn("--force", result.errors)

    @one_system
    def test_4_damaged_tables_stop_and_are_named(self):
        self.put_all("a/x=1")
        self.sync("--name", "mine")
        table, = (name for name in self.table_names() if name.startswith("syncentry"))
        self.put("a/y", "2")
        for line in ("y:x:True:False:1:5.0:True:False:1:5.0\n", "y:0:True\n"):
            with open(os.path.join(self.tables, table), "a", encoding="ascii") as file:
                file.write(line)
            result = self.sync("--name", "mine", code=DISK)
            self.assertIn('nothing was done. Remove "%s"' % os.path.join(self.tables, "mine.sync"), result.errors)
            self.assertEqual(self.tree("b"), "x=1")
            os.remove(os.path.join(self.tables, "mine.sync"))
            self.sync("--name", "mine")
            os.remove(os.path.join(self.tables, table))
            table, = (name for name in self.table_names() if name.startswith("syncentry") and "." not in name)
            self.remove("b/y")

    @one_system
    def test_4_lost_tables_delete_nothing(self):
        self.put_all("a/x=1 a/y=1 a/z=1")
        self.sync("--delete")
        shutil.rmtree(self.tables)
        self.remove("a/x")
        self.put("a/y", "22", LATER)
        result = self.sync("--delete", code=CONFLICT)
        self.assertEqual((self.summary(result), self.tree("b")), ("0 0 1 1 1 0", "x=1 y=1 z=1"))

    def test_5_an_empty_or_missing_root_stops(self):
        self.put_all("a/x=1")
        self.sync("--delete")
        self.remove("a/x")
        result = self.sync("--delete", code=TOO_MUCH)
        self.assertIn('the source "%s" shows nothing where files were; nothing was done' %
                      system_path(self.path("a")), result.errors)
        os.rmdir(self.path("a"))
        self.sync("--delete", code=TOO_MUCH)
        self.put_all("a/x=1")
        shutil.rmtree(self.path("b"))
        self.assertIn("the destination", self.sync("--delete", code=TOO_MUCH).errors)
        self.assertEqual(self.both(), "x=1 | ")

    @one_system
    def test_5_an_empty_folder_deletes_nothing(self):
        self.put_all("a/s/x=1 a/s/y=1 a/z=1")
        self.sync("--delete")
        self.remove("a/s/x", "a/s/y")
        result = self.sync("--delete")
        self.assertIn("kept, its folder shows nothing at the source: s/x", result.errors)
        self.assertIn("when that is to be, remove the empty folder as well", result.errors)
        self.assertEqual((self.summary(result), self.tree("b")), ("0 0 1 0 2 0", "s/x=1 s/y=1 z=1"))
        os.rmdir(self.path("a/s"))
        self.assertEqual(self.summary(self.sync("--delete")), "0 2 1 0 0 0", "as the message says")
        self.assertEqual(self.tree("b"), "z=1")

    def test_6_more_deletions_than_allowed_do_nothing(self):
        self.put_all(" ".join("a/f%d=1" % i for i in range(10)))
        self.sync("--delete")
        self.remove("a/f0", "a/f1", "a/f2")
        self.put("a/f3", "22", LATER)
        before = contents(self.path("b")), contents(self.tables)
        for limit in ("2", "29%", "0"):
            result = self.sync("--delete", "--max-delete", limit, code=TOO_MUCH)
            self.assertIn("nothing was done", result.errors)
            lines = result.output.replace("\r", "").splitlines()
            self.assertEqual(lines, ["delete at destination  f0", "delete at destination  f1",
                                     "delete at destination  f2", "copy to destination    f3"])
            self.assertEqual((contents(self.path("b")), contents(self.tables)), before)
            if on_windows():
                break
        self.assertEqual(self.summary(self.sync("--delete", "--max-delete", "30%")), "1 3 6 0 0 0")

    @only_posix
    def test_7_links_and_names_that_no_table_can_hold_are_left_and_told(self):
        self.put_all("a/x=1")
        os.symlink("/etc", self.path("a/link"))
        self.put("a/tab\tname", "1")
        result = self.sync()
        self.assertEqual((self.summary(result), self.tree("b")), ("1 0 0 0 2 0", "x=1"))
        self.assertIn("a link, or a name or date that cannot be used: link\n", result.errors)
        self.assertIn("cannot be used: tab?name\n", result.errors)

    @one_system
    def test_8_a_plan_without_work_ends_there(self):
        self.put_all("a/x=1 a/s/y=1")
        self.sync()
        before = contents(self.tables)
        self.assertEqual(self.summary(self.sync()), "0 0 2 0 0 0")
        self.assertEqual(contents(self.tables), before)


class Excludes(SyncTest):
    @one_system
    def test_excluded_files_are_neither_copied_nor_deleted(self):
        self.put_all("a/x.tmp=1 a/x=1 a/cache/y=1 a/s/cache=1 a/s/z.tmp=1 b/b.tmp=1")
        options = ("--delete", "--exclude", "*.tmp", "--exclude", "cache/")
        self.assertEqual(self.summary(self.sync(*options)), "2 0 0 0 0 0")
        self.assertEqual(self.tree("b"), "b.tmp=1 s/cache=1 x=1")
        self.assertNotIn("cache/", contents(self.path("b")))

    @one_system
    def test_a_file_in_step_that_is_excluded_stays(self):
        self.put_all("a/x.tmp=1 a/y=1")
        self.sync("--delete")
        self.remove("a/x.tmp")
        self.assertEqual(self.summary(self.sync("--delete", "--exclude", "*.tmp")), "0 0 1 0 0 0")
        self.assertEqual(self.tree("b"), "x.tmp=1 y=1")
        self.assertEqual(self.summary(self.sync("--delete")), "0 1 1 0 0 0", "still known")

    @one_system
    def test_the_tables_within_a_side_are_left_alone(self):
        self.put_all("a/x=1")
        inside = {"QZ_SYNC": system_path(self.path("a/tables"))}
        for expected in ("1 0 0 0 0 0", "0 0 1 0 0 0"):
            self.assertEqual(self.summary(self.sync(environment=inside)), expected)
        self.assertEqual(contents(self.path("b")).keys(), {"x"})

    @only_posix
    def test_the_tables_are_found_through_links_and_names_like_patterns(self):
        self.put_all("a/[x]/y=1")
        os.symlink("a", self.path("l"))
        for place in ("a/[x]/tables", "l/tables"):
            inside = {"QZ_SYNC": self.path(place)}
            for _ in range(2):
                self.assertEqual(self.sync(environment=inside).code, DONE)
            self.assertEqual(self.tree("b"), "[x]/y=1")
            shutil.rmtree(self.path(place))


class DryRuns(SyncTest):
    def everything(self):
        return [contents(place) for place in (self.folder, self.tables, self.transfers)]

    @one_system
    def test_nothing_is_changed_anywhere(self):
        self.put_all("a/x=1 a/s/y=2 b/z=3 a/c=1 b/c=2")
        before = self.everything()
        result = self.sync("--dry-run", "--two-way", code=CONFLICT)
        self.assertEqual(result.output.replace("\r", "").splitlines(),
                         ["conflict               c", "copy to destination    x", "copy to source         z",
                          "copy to destination    s/y"])
        self.assertIn("3 to copy, 0 to delete, 0 equal, 1 conflict, 0 kept, 0 failed; nothing was changed",
                      result.errors)
        self.assertEqual(self.everything(), before)
        self.assertEqual(self.table_names(), [])

    def test_nothing_is_changed_where_tables_are_known(self):
        self.put_all("a/x=1 a/y=2")
        self.sync("--delete")
        self.remove("a/x")
        self.put("a/new", "1")
        before = self.everything()
        result = self.sync("--delete", "--dry-run", "--verbose")
        self.assertEqual(sorted(result.output.replace("\r", "").splitlines()),
                         ["copy to destination    new", "delete at destination  x", "equal                  y"])
        self.assertEqual(self.everything(), before)

    @one_system
    def test_missing_destination_is_not_made(self):
        self.put_all("a/x=1")
        os.rmdir(self.path("b"))
        self.sync("--dry-run")
        self.assertEqual(self.names(), ["a"])
        self.sync()
        self.assertEqual(self.tree("b"), "x=1")


class Refusals(SyncTest):
    @one_system
    def test_folders_that_make_no_pair(self):
        self.write("file", b"1")
        for source, destination, code, text in (
                ("missing", "b", NOT_FOUND, '"%s" does not exist' % system_path(self.path("missing"))),
                ("a", "new/b", NOT_FOUND, "cannot be made: the folder above does not exist"),
                ("a", "file", NOT_FOUND, "is no folder"),
                ("file", "b", NOT_FOUND, "is no folder"),
                ("a", "a/../a", USAGE, "the same folder"),
                ("a", "a/sub", USAGE, "one of the two folders is in the other"),
                ("http://127.0.0.1/x", "b", USAGE, "HTTP servers cannot be listed"),
                ("a", "https://127.0.0.1/x", USAGE, "https"),
                ("file://host", "b", USAGE, "names no local folder")):
            result = self.expect(code, "sync", source, destination)
            self.assertIn(text, result.errors)
        self.assertEqual(self.names(), ["a", "b", "file"])

    def test_one_folder_in_the_other_is_found_through_links(self):
        self.put_all("a/x=1")
        os.mkdir(self.path("a/sub"))
        os.symlink("a", self.path("link"))
        self.assertIn("one of the two folders is in the other",
                      self.expect(USAGE, "sync", "a", "link/sub").errors)
        if not on_windows():
            self.assertIn("one of the two folders is in the other",
                          self.expect(USAGE, "sync", "a", "link/new").errors)
            self.assertIn("the same folder", self.expect(USAGE, "sync", "a", "link").errors)
        self.assertEqual(self.tree("a"), "x=1")

    @only_posix
    def test_the_folder_above_is_that_of_the_links_target(self):
        self.put_all("real/x/f=right real/deep/g=1 data/x/f=wrong")
        os.symlink("../real/deep", self.path("data/current"))
        self.expect(DONE, "sync", "data/current/../x", "b")
        self.assertEqual(self.tree("b"), "f=right")
        os.symlink("nowhere", self.path("data/broken"))
        self.assertIn("leads nowhere", self.expect(NOT_FOUND, "sync", "data/broken/../x", "b").errors)

    @one_system
    def test_options_that_do_not_go_together(self):
        for options, text in (
                (("--two-way", "--delete"), "--two-way works without"),
                (("--max-delete", "x"), "--max-delete takes"),
                (("--name", "a/b"), "--name takes"),
                (("--user", "me"), "--user is for FTP servers"),
                (("--proxy", "h:1"), "--proxy is for FTP servers"),
                (("--exclude", ""), "--exclude takes"),
                (("--active",), "--active is for FTP servers")):
            self.assertIn(text, self.sync(*options, code=USAGE).errors)

    @one_system
    def test_a_name_belongs_to_one_pair(self):
        self.put_all("a/x=1")
        self.sync("--name", "mine")
        self.assertIn("mine.sync", self.table_names())
        result = self.sync("--name", "mine", "--delete", code=USAGE)
        self.assertIn('the name "mine" belongs to', result.errors)
        self.assertIn("(copy); choose another --name", result.errors)
        self.assertEqual(self.summary(self.sync("--name", "mine")), "0 0 1 0 0 0")

    @only_posix
    def test_a_file_that_cannot_be_copied_is_told_and_the_rest_is_done(self):
        self.put("a/big", bytes(3_000_000))
        self.put_all("a/x=1 a/z=1")
        result = self.sync(code=INCOMPLETE, through=("bash", "-c", 'ulimit -f 2000; exec "$@"', "-"))
        self.assertIn('qz: cannot copy "big" to the destination: ', result.errors)
        self.assertEqual((self.summary(result), contents(self.path("b")).keys()), ("2 0 0 0 0 1", {"x", "z"}))

    def test_two_of_one_name_at_once(self):
        self.put("a/big", b"")
        with open(self.path("a/big"), "r+b") as file:
            file.truncate(1 << 30)
        first = self.start_qz("sync", "a", "b", "--name", "n")
        self.wait_for(lambda: "n.xfer" in self.table_names())
        result = self.expect(OTHER, "sync", "a", "b", "--name", "n")
        self.assertIn('another qz sync with the name "n" is running; nothing was done', result.errors)
        first.kill()
        first.wait(15)


if __name__ == "__main__":
    unittest.main()
