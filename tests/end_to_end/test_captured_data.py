"""Reading and saving what was captured."""
import os
import struct

from hosting import HostTest, main

HEADER = b"KTDF" + struct.pack("<III", 1, 16, 0)


def sections(data, offset=16):
    """(name, version, data) of each section, read from the layout alone."""
    found = []
    while offset < len(data):
        length, version, name_length = struct.unpack_from("<III", data, offset)
        name = data[offset + 12:offset + 12 + name_length]
        found.append((name, version, data[offset + 12 + name_length:offset + length]))
        offset += length
    return found


class CapturedData(HostTest):
    """A driver whose capture file the test writes itself: the file is all that these operations look at."""

    def driver(self, content=None, level=1):
        self.level = level
        host = self.host()
        self.ok(host.ask("create"))
        self.ok(host.ask("allocate board/cpu"))
        if content is not None:
            self.fill(content)
        return host

    def fill(self, content):
        with open(self.capture(), "wb") as capture:
            capture.write(content)

    def saved(self, host, name, form, before=None):
        path = self.file(name)
        if before is not None:
            with open(path, "wb") as out:
                out.write(before)
        answer = host.ask(f"save board/cpu {self.host_path(path)} {form}")
        return answer, self.read(path) if os.path.exists(path) else None

    def test_absent_capture_has_no_samples(self):
        host = self.driver()
        self.assertEqual(host.ask("samples board/cpu")["samples"], 0)
        answer = host.ask("read board/cpu 0 1")
        self.assertEqual((answer["samples"], answer["data"]), (0, "ee" * 8))
        self.assertIn("Tarnel_ChannelDriver: seek read start sample out of range\n", self.log())

    def test_partial_sample_counts_and_is_padded(self):
        host = self.driver(bytes(range(13)))
        self.assertEqual(host.ask("samples board/cpu")["samples"], 2)
        answer = host.ask("read board/cpu 0 2")
        self.assertEqual((answer["samples"], answer["data"]), (2, (bytes(range(13)) + b"\0\0\0").hex()))

    def test_reads_are_clamped_at_the_end(self):
        host = self.driver(bytes(range(64)))
        answer = host.ask("read board/cpu 5 10")
        self.assertEqual((answer["samples"], answer["data"]), (3, bytes(range(40, 64)).hex() + "ee" * 56))
        self.assertEqual(host.ask("read board/cpu 8 1")["samples"], 0)
        self.assertEqual(host.ask("read board/cpu 4294967295 10")["samples"], 0)
        self.assertEqual(host.ask("read board/cpu 4294967290 131072")["samples"], 0)

    def test_reading_no_samples_touches_nothing(self):
        host = self.driver(bytes(16))
        answer = self.ok(host.ask("read board/cpu 0 0"))
        self.assertEqual((answer["samples"], answer["data"]), (0, ""))

    def test_growing_capture_is_read_with_the_length_of_the_moment(self):
        host = self.driver(bytes(8))
        self.fill(bytes(24))
        self.assertEqual(host.ask("samples board/cpu")["samples"], 3)

    def test_raw_file_is_replaced_by_the_padded_capture(self):
        data = os.urandom(200003)
        answer, saved = self.saved(self.driver(data), "raw.bin", 2, before=b"x" * 300000)
        self.ok(answer)
        self.assertEqual(saved, data + b"\0" * 5)

    def test_sections_are_added_behind_the_hosts_header(self):
        data = os.urandom(70000)
        host = self.driver(data)
        self.ok(self.saved(host, "a.tdf", 1, before=HEADER)[0])
        answer, saved = self.saved(host, "a.tdf", 1)
        self.ok(answer)
        self.assertEqual(saved[:16], HEADER)
        self.assertEqual(sections(saved), [(b"BinTraceData", 1, data)] * 2)
        listed = self.run_host("info", self.host_path(self.file("a.tdf")))
        self.assertEqual(listed.returncode, 0)
        self.assertEqual([line.split() for line in listed.stdout.splitlines()[2:]],
                         [["16", "1", "70024", "BinTraceData"], ["70040", "1", "70024", "BinTraceData"]])

    def test_section_bytes_are_as_documented(self):
        answer, saved = self.saved(self.driver(b"ABCDEFGHI"), "b.tdf", 1, before=b"\xAA\xBB\xCC\xDD")
        self.ok(answer)
        self.assertEqual(saved.hex(" "), "aa bb cc dd 28 00 00 00 01 00 00 00 0c 00 00 00 42 69 6e 54 72 61 63 65 44 "
                                         "61 74 61 41 42 43 44 45 46 47 48 49 00 00 00 00 00 00 00")

    def test_section_in_an_empty_file_is_refused_when_data_follows(self):
        answer, saved = self.saved(self.driver(bytes(8)), "c.tdf", 1)
        self.refused(answer, "Section header offset to save data is not valid.")
        self.assertEqual(len(saved), 24)

    def test_empty_name_is_refused(self):
        host = self.driver(bytes(8))
        for name in ('""', "-"):
            self.refused(host.ask(f"save board/cpu {name} 2"), "Data cannot be saved to empty file")

    def test_file_that_cannot_be_opened_is_refused(self):
        host = self.driver(bytes(8))
        path = self.host_path(self.file("none/x.bin"))
        self.refused(host.ask(f"save board/cpu {path} 2"), "Could not open fileNo such file or directory")

    def test_channel_types_come_from_the_file_until_the_next_stop(self):
        host = self.driver()
        settings = os.path.join(self.home, ".KORR-trace", "settings", "TraceCntrl-itm.ini")
        with open(settings, "w") as ini:
            ini.write("x_0=1\nx_2=1\nx_1=1\n")
        values = [host.ask(f"attribute board/cpu ITMChannelType_{n}")["value"] for n in (0, 1, 2, 31, 32)]
        self.assertEqual(values, ["1", "1", "0", "0", "0"])
        self.assertEqual(host.ask("attribute board/cpu xITMChannelType_1")["value"], "1")
        self.assertIn("Tarnel_ChannelDriver: Read channel number 2 instead of expected channel number 1\n", self.log())

    def test_legacy_mapping_without_the_file(self):
        host = self.driver()
        values = [host.ask(f"attribute board/cpu ITMChannelType_{n}")["value"] for n in (0, 1, 31)]
        self.assertEqual(values, ["1", "0", "0"])


if __name__ == "__main__":
    main()
