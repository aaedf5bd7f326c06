"""tracehost view of a recording that is larger than the memory it may have."""
import os
import random
import re
import resource
import struct

from hosting import main
from viewing import ViewTest

MIB = 1 << 20
SIZE = 400 * MIB
ADDRESS_SPACE = 320 * MIB  # with what programs, libraries and stacks take
MOST_RESIDENT = 96 * MIB


def block():
    """Some MiB of all that a page shows: text, values, program counters, exceptions, times."""
    chance = random.Random(5)
    parts = [bytes(5) + b"\x80"]
    for turn in range(60_000):
        parts.append(b"".join(bytes((0x01, letter)) for letter in b"turn %d\n" % (turn % 1000)))
        parts.append(b"\x0b" + struct.pack("<I", turn * 7 % 5000))
        parts.append(b"\x17" + struct.pack("<I", 0x0800_0000 + 2 * chance.randrange(20_000)))
        parts.append(b"\x0e\x10\x10\x0e\x10\x20\x0e\x00\x30")  # exception 16 enters, exits, back to thread mode
        parts.append(b"\xc0" + bytes((chance.randrange(1, 128),)))
    return b"".join(parts)


class ViewMemory(ViewTest):
    def test_a_recording_beyond_all_memory_is_shown_whole(self):
        content = block()
        times = SIZE // len(content)
        with open(self.file("o.bin"), "wb") as file:
            for _ in range(times):
                file.write(content)
        os.utime(self.file("o.bin"), (1e9, 1e9))  # nobody writes it any more

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))

        self.assertGreater(os.path.getsize(self.file("o.bin")), ADDRESS_SPACE)
        running, site = self.start("view", "o.bin", "--no-browser", preexec_fn=limit)
        overview = self.complete(site)
        self.assertEqual(overview["indexed"], times * len(content), self.words())
        self.assertEqual(overview["lost"]["target"], 0)
        totals = {track["id"]: track["total"] for track in overview["tracks"]}
        self.assertEqual((totals["port:1"], totals["pc"], totals["exception:16"]), (times * 60_000, times * 60_000, times * 120_000))
        end = overview["axis"]["end"]
        for start, to in ((0, end), (end / 3, end / 3 + end / 1e4)):
            window = site.get("/api/window", **{"from": start, "to": to, "pixels": 1600})
            self.assertEqual(window.status, 200)
            self.assertIn(b'"port:1"', window.body)
        last = times * 60_000 - 1
        rows = site.get("/api/text", port=0, line=last - 1, count=10).json()
        self.assertEqual((rows["lines"], [row["text"] for row in rows["rows"]]), (last + 1, ["turn 998", "turn 999"]))
        profile = site.get("/api/profile", **{"from": end / 5, "to": end / 2, "by": "address"}).json()
        self.assertGreater(profile["samples"], times * 60_000 // 4)
        status = self.read(f"/proc/{running.pid}/status").decode()
        resident = int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]) * 1024
        self.assertLess(resident, MOST_RESIDENT)
        self.assertEqual(re.sub(r"tracehost: showing .*\n|http://.*\n", "", self.words()), "")


if __name__ == "__main__":
    main()
