"""gunzip.AXT with real transfers."""

import gzip
import os
import resource
import signal
import zlib

from driving import DriverTest, only_posix, tool, unittest

TEXT = b"one line\n" * 1000
LARGE = b"0123456789abcdef" * (4 * 1024 * 1024)


def noise(count):
    return tool.some_bytes(count, 5)


def limit_files():
    """No file of the program grows beyond 1,000,000 bytes."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000000, 1000000))


class Gunzip(DriverTest):
    def unpack(self, content, *options, name="f.txt.gz", code=0, **others):
        server = self.files({"/" + name: content})
        return self.drive(server.url("/" + name), name, *(options or ("unpack",)), code=code, **others)

    def test_a_good_file_is_unpacked_and_kept(self):
        packed = gzip.compress(TEXT)
        outcome = self.unpack(packed)
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], 'Unpacked to "f.txt".')
        self.assertEqual(self.names(), ["f.txt", "f.txt.gz"])
        self.assertEqual(self.read("f.txt"), TEXT)
        self.assertEqual(self.read("f.txt.gz"), packed)

    def test_it_goes_when_that_was_asked_for(self):
        self.assert_completed(self.unpack(gzip.compress(TEXT), "unpack=remove"))
        self.assertEqual(self.names(), ["f.txt"])
        self.assertEqual(self.read("f.txt"), TEXT)

    def test_a_name_that_is_taken_is_numbered(self):
        self.write("f.txt", b"somebody's")
        outcome = self.unpack(gzip.compress(TEXT))
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], 'Unpacked to "f(0).txt".')
        self.assertEqual(self.read("f.txt"), b"somebody's")
        self.assertEqual(self.read("f(0).txt"), TEXT)

    def test_a_file_that_is_replaced_gives_the_name(self):
        self.write("f.txt.gz", b"old")
        packed = gzip.compress(TEXT)
        outcome = self.unpack(packed, "overwrite", "unpack")
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], 'Unpacked to "f.txt".')
        self.assertEqual(self.names(), ["f.txt", "f.txt.gz"])
        self.assertEqual(self.read("f.txt"), TEXT)
        self.assertEqual(self.read("f.txt.gz"), packed)

    def test_a_file_that_is_replaced_gives_a_name_that_may_be_taken(self):
        self.write("f.txt.gz", b"old")
        self.write("f.txt", b"somebody's")
        outcome = self.unpack(gzip.compress(TEXT), "overwrite", "unpack")
        self.assert_completed(outcome)
        self.assertEqual(outcome.messages[-1], 'Unpacked to "f(0).txt".')
        self.assertEqual(self.names(), ["f(0).txt", "f.txt", "f.txt.gz"])
        self.assertEqual(self.read("f.txt"), b"somebody's")

    def test_what_goes_leaves_no_older_file_in_its_place(self):
        self.write("f.txt.gz", b"old")
        outcome = self.unpack(gzip.compress(TEXT), "overwrite", "unpack=remove")
        self.assert_completed(outcome)
        self.assertEqual(outcome.values["path"], "f.txt.gz")
        self.assertEqual(self.names(), ["f.txt"])
        self.assertEqual(self.read("f.txt"), TEXT)

    def test_a_damaged_file_replaces_no_other(self):
        self.write("f.txt.gz", b"old")
        outcome = self.unpack(gzip.compress(TEXT)[:-1], "overwrite", "unpack=remove")
        self.assert_failed(outcome, '"f.txt(0).gz" is not unpacked: it is cut short.')
        self.assertEqual(self.names(), ["f.txt(0).gz", "f.txt.gz"])
        self.assertEqual(self.read("f.txt.gz"), b"old")

    def test_a_file_is_left_alone_when_a_web_page_came(self):
        mine = gzip.compress(b"mine")
        self.write("f.txt.gz", mine)
        outcome = self.drive(self.page("/f.txt.gz").url("/f.txt.gz"), "f.txt.gz", "unpack=remove", "go-on")
        self.assert_no_file_came(outcome, ['"f.txt.gz" is not unpacked: no file came.'])
        self.assertEqual(self.names(), ["f.txt.gz"])
        self.assertEqual(self.read("f.txt.gz"), mine)

    def test_the_record_has_a_version_and_whether_it_goes(self):
        for action, number in (("unpack", "00000000"), ("unpack=remove", "01000000")):
            self.assert_completed(self.unpack(gzip.compress(TEXT), action, "record=f.vrx"))
            agent = bytes.fromhex("07000000" "47756E7A697000" "01000000" "01000000" + number)
            self.assertEqual(self.read("f.vrx").count(agent), 1)
            os.remove(os.path.join(self.folder, "f.vrx"))

    def test_members_stand_one_behind_the_other_and_zeroes_behind_them(self):
        first, second = noise(100000), noise(70000)
        outcome = self.unpack(gzip.compress(first) + gzip.compress(b"") + gzip.compress(second) + bytes(512))
        self.assert_completed(outcome)
        self.assertEqual(self.read("f.txt"), first + second)

    def test_sizes_around_the_chunks(self):
        for size in (0, 1, 65535, 65536, 65537, 131072):
            with self.subTest(size=size):
                self.assert_completed(self.unpack(gzip.compress(noise(size)), name="n%d.gz" % size))
                self.assertEqual(self.read("n%d" % size), noise(size))

    def test_a_member_may_end_with_a_chunk(self):
        first = noise(65513)
        size = (65513).to_bytes(2, "little")
        stored = b"\x01" + size + bytes(0xFF ^ byte for byte in size) + first
        packed = b"\x1f\x8b\x08\0\0\0\0\0\0\xff" + stored
        packed += zlib.crc32(first).to_bytes(4, "little") + size + b"\0\0"
        self.assertEqual(len(packed), 65536)
        self.assert_completed(self.unpack(packed + gzip.compress(TEXT)))
        self.assertEqual(self.read("f.txt"), first + TEXT)

    def refuses(self, content, why, name="f.txt.gz", **options):
        outcome = self.unpack(content, name=name, **options)
        self.assert_failed(outcome, '"%s" is not unpacked: %s.' % (name, why))
        self.assertEqual(self.names(), [name])
        self.assertEqual(self.read(name), content)
        os.remove(os.path.join(self.folder, name))

    def test_a_damaged_file_stays_as_it_is(self):
        packed = bytearray(gzip.compress(noise(200000)))
        for place in (0, 1, 100000, len(packed) - 6, len(packed) - 1):  # mark, mark, data, checksum, size
            damaged = bytearray(packed)
            damaged[place] ^= 0xFF
            with self.subTest(place=place):
                self.refuses(bytes(damaged), "it is damaged")
        self.refuses(bytes(packed) + b"what is this", "it is damaged")

    def test_what_is_not_packed_stays_as_it_is(self):
        self.refuses(TEXT, "it is damaged")
        self.refuses(zlib.compress(TEXT), "it is damaged")

    def test_a_file_that_is_cut_short_stays_as_it_is(self):
        packed = gzip.compress(noise(200000))
        for length in (1, 9, 10, 100000, len(packed) - 8, len(packed) - 1):
            with self.subTest(length=length):
                self.refuses(packed[:length], "it is cut short")
        self.refuses(packed + packed[:100], "it is cut short")

    def test_another_name_is_refused(self):
        for name in ("f.txt", "f.gzip", "gz", ".gz", "f.txt-gz"):
            with self.subTest(name=name):
                self.refuses(gzip.compress(TEXT), 'its name does not end in ".gz"', name)

    def test_a_suffix_is_no_name(self):
        os.mkdir(os.path.join(self.folder, "below"))
        server = self.files({"/.gz": gzip.compress(TEXT)})
        outcome = self.drive(server.url("/.gz"), "below/.gz", "unpack")
        self.assert_failed(outcome, '"below/.gz" is not unpacked: its name does not end in ".gz".')

    @only_posix
    def test_a_path_without_room_for_another_name_is_refused(self):
        path = self.long_path(1020)
        server = self.files({"/f.gz": gzip.compress(TEXT)})
        outcome = self.drive(server.url("/f.gz"), path, "unpack")
        self.assert_failed(outcome, '"%s" is not unpacked: its name is too long.' % path)
        self.assertEqual(os.listdir(os.path.join(self.folder, os.path.dirname(path))), ["f.gz"])

    def test_a_file_that_has_gone_is_a_failure_in_words(self):
        server = self.files({"/f.gz": gzip.compress(LARGE * 2)})
        self.drive(server.url("/f.gz"), "f.gz", "unpack", "record=f.vrx", "end-in-agents=1", code=9)
        os.remove(os.path.join(self.folder, "f.gz"))
        outcome = self.drive(server.url("/f.gz"), "f.gz", "record=f.vrx")
        self.assert_failed(outcome, '"f.gz" is not unpacked: it cannot be opened.')

    @only_posix
    def test_a_file_that_cannot_be_read_is_a_failure_in_words(self):
        self.refuses(gzip.compress(TEXT), "it cannot be read", environment=self.broken_reads("f.txt.gz"))

    @only_posix
    def test_a_full_disk_is_a_failure_in_words(self):
        self.refuses(gzip.compress(bytes(2000000)), "the unpacked file cannot be written", preexec_fn=limit_files)

    def test_a_file_without_a_free_name_is_refused(self):
        for number in ["", *("(%d)" % i for i in range(512))]:
            self.write("f%s.txt" % number, b"")
        outcome = self.unpack(gzip.compress(TEXT))
        self.assert_failed(outcome, '"f.txt.gz" is not unpacked: the unpacked file cannot be written.')
        self.assertEqual([name for name in self.names() if name.endswith((".gz", ".unpacking"))], ["f.txt.gz"])

    def test_what_has_failed_leaves_nothing_even_when_the_program_ends(self):
        outcome = self.unpack(gzip.compress(TEXT)[:-1], "unpack", "end-at-failure", code=9)
        self.assertEqual(outcome.messages[-1], '"f.txt.gz" is not unpacked: it is cut short.')
        self.assertEqual(self.names(), ["f.txt.gz"])

    def test_the_suffix_may_be_in_any_case(self):
        self.assert_completed(self.unpack(gzip.compress(TEXT), name="f.GZ"))
        self.assertEqual(self.read("f"), TEXT)

    def test_nothing_is_unpacked_unasked(self):
        self.assert_completed(self.unpack(gzip.compress(TEXT), "overwrite"))
        self.assertEqual(self.names(), ["f.txt.gz"])

    def test_a_small_file_that_grows_takes_many_short_steps(self):
        """300 MB out of 300 KB: no step is longer than others, and no more memory is needed."""
        size = 300 * 1000 * 1000
        outcome = self.unpack(gzip.compress(bytes(size)))
        self.assert_completed(outcome)
        self.assert_short_steps(outcome, 5)
        self.assertEqual(os.path.getsize(os.path.join(self.folder, "f.txt")), size)

    def test_a_folder_in_the_way_is_a_failure_in_words(self):
        os.mkdir(os.path.join(self.folder, "f.txt.gz.unpacking"))
        outcome = self.unpack(gzip.compress(TEXT))
        self.assert_failed(outcome, '"f.txt.gz" is not unpacked: a file beside it cannot be written.')
        self.assertEqual(self.names(), ["f.txt.gz", "f.txt.gz.unpacking"])

    def test_a_transfer_that_is_closed_in_the_middle_leaves_no_other_file(self):
        outcome = self.unpack(gzip.compress(bytes(100 * 1000 * 1000)), "unpack", "close-in-agents=2")
        self.assertEqual(outcome.number("state"), 13)
        self.assertEqual(self.names(), ["f.txt.gz"])

    def test_a_program_that_ends_in_the_middle_goes_on(self):
        server = self.files({"/f.txt.gz": gzip.compress(LARGE * 2)})
        self.drive(server.url("/f.txt.gz"), "f.txt.gz", "unpack=remove", "record=f.vrx", "end-in-agents=2", code=9)
        self.assertEqual(self.names(), ["f.txt.gz", "f.txt.gz.unpacking", "f.vrx"])
        outcome = self.drive(server.url("/f.txt.gz"), "f.txt.gz", "record=f.vrx")
        self.assert_completed(outcome)
        self.assertEqual(self.names(), ["f.txt", "f.vrx"])
        self.assertEqual(tool.digest(self.read("f.txt")),
                         "c9b62df90ae17b43f2f0f04df166a1017dd6fb0053b1f663aa0d5f6cd87bcfce")

    def test_a_file_is_verified_first_and_then_unpacked(self):
        server = self.files({"/f.txt.gz": gzip.compress(TEXT)})
        wrong = "0" * 64
        outcome = self.drive(server.url("/f.txt.gz"), "f.txt.gz", "verify=" + wrong, "unpack")
        self.assertEqual((outcome.number("result"), outcome.number("reason")), (4, 17))
        self.assertEqual(self.names(), ["f.txt.gz.bad"])


if __name__ == "__main__":
    unittest.main()
