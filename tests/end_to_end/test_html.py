"""tracehost report --html: a recording in one page. What the page looks like is tested in a browser, in tests/page/."""
import base64
import contextlib
import gzip
import json
import os
import re
import subprocess
import unittest

from export_streams import tdf
from hosting import LIMIT, ON_WINE, HostTest, main

SYNC = bytes(5) + b"\x80"
MOST = 1_000_000  # bytes of a page


def said(text, port=0):
    """A text as a stimulus port says it, a byte a packet."""
    return b"".join(bytes((port << 3 | 1, letter)) for letter in text.encode())


LINES = SYNC + said("".join(f"line {i}\n" for i in range(200)))


class Html(HostTest):
    def put(self, name, content):
        with open(self.file(name), "wb") as file:
            file.write(content)
        return name

    def report(self, *words, status=0):
        result = self.run_host("report", *words)
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    def recording(self, html):
        """What a page holds."""
        found = re.findall(r'<script type="application/gzip" id="recording">(.*?)</script>', html, re.DOTALL)
        self.assertEqual(len(found), 1)
        self.assertNotIn("<!--RECORDING-->", html)
        data = gzip.decompress(base64.b64decode(found[0], validate=True))
        size = int.from_bytes(data[:4], "little")
        held = json.loads(data[4:4 + size])
        self.assertEqual((size + 4 + 7) // 8 * 8 + sum(held["windows"]), len(data))
        return held

    def page(self, name="page.html"):
        html = self.read(self.file(name))
        self.assertLess(len(html), MOST)
        return self.recording(html.decode())

    def test_the_page_holds_the_recording_and_no_folder(self):
        self.put("o.bin", LINES)
        told = self.report(self.host_path(self.file("o.bin")), "--html", "page.html").stdout
        self.assertIn("o.bin: ", told)
        held = self.page()
        self.assertEqual((held["overview"]["name"], held["overview"]["bytes"], held["overview"]["live"]), ("o.bin", len(LINES), False))
        rows = held["text"]["port:0"]["rows"]
        self.assertEqual([row["text"] for row in rows], [f"line {i}" for i in range(200)])
        self.assertNotIn(os.path.basename(self.folder).encode(), self.read(self.file("page.html")))

    def test_what_is_lost_stands_in_the_page_and_in_the_status(self):
        self.put("o.bin", LINES + b"\xA0" + LINES)
        self.report("o.bin", "--html", "page.html", status=3)
        entries = self.page()["ledger"]["entries"]
        self.assertEqual([(entry["class"], entry["offset"]) for entry in entries], [("line", len(LINES))])

    def test_a_recording_that_holds_markup_ends_no_script(self):
        self.put("o.bin", SYNC + said("</script><script>alert(1)</script><!--\n"))
        self.report("o.bin", "--html", "page.html", "--framing", "itm", "--fail-on", "never")
        html = self.read(self.file("page.html")).decode()
        self.assertNotIn("</script><script>alert", html)
        self.assertEqual(self.recording(html)["text"]["port:0"]["rows"][0]["text"], "</script><script>alert(1)</script><!--")

    @unittest.skipIf(ON_WINE, "pipes and standard output are the same code there, and their bytes go through a shell")
    def test_what_comes_through_a_pipe_is_the_same(self):
        self.put("o.bin", LINES)
        self.report("o.bin", "--html", "page.html")
        piped = subprocess.run(self.command("report", "-", "--html", "-"), env=self.environment(), input=LINES,
                               capture_output=True, timeout=LIMIT, check=True)
        held, file = self.recording(piped.stdout.decode()), self.page()
        self.assertEqual(held["overview"].pop("name"), "standard input")
        self.assertEqual(file["overview"].pop("name"), "o.bin")
        self.assertTrue(held == file)  # whose difference would be long

    def piped(self, name, size, source):
        """A report of so many bytes, in a page, that come through a pipe: what it says, its status, and the page."""
        reporting = subprocess.Popen(self.command("report", name, "--html", "piped.html", "--force", "--fail-on", "never"),
                                     env=self.environment(), cwd=self.folder, stdin=source or subprocess.PIPE,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.addCleanup(reporting.communicate)
        with open(self.file(name), "wb") if name != "-" else reporting.stdin as pipe, contextlib.suppress(BrokenPipeError):
            block = bytes(65536)  # one packet, however many there are
            for _ in range(size // len(block)):
                pipe.write(block)
            pipe.write(b"\x80" * (size % len(block)))
        reporting.stdin = None
        told = reporting.communicate(timeout=LIMIT)[1].decode()
        return told, reporting.returncode, self.read(self.file("piped.html")) if os.path.exists(self.file("piped.html")) else b""

    @unittest.skipIf(ON_WINE, "pipes are the same code there, and their bytes go through a shell")
    @unittest.skipIf(os.environ.get("TARNEL_SANITIZE"), "takes too long, and too much memory, with their checks")
    def test_of_what_comes_through_a_pipe_256_mib_are_kept(self):
        most = 256 << 20
        told, status, page = self.piped("-", most, None)
        self.assertEqual((told, status), ("", 0))
        self.assertEqual(self.recording(page.decode())["overview"]["bytes"], most)
        os.unlink(self.file("piped.html"))
        told, status, page = self.piped("-", most + 1, None)
        self.assertEqual((told, status, page), (
            "tracehost: --html: more than 256 MiB came on standard input: save them to a file first\n", 1, b""))
        os.mkfifo(self.file("fifo"))
        told, status, page = self.piped("fifo", most + 1, subprocess.DEVNULL)
        self.assertEqual((told, status, page), (
            'tracehost: --html: more than 256 MiB came out of "fifo": save them to a file first\n', 1, b""))

    def test_more_detail_is_more_of_the_recording(self):
        self.put("o.bin", LINES * 60)
        windows = []
        for name, words in (("less.html", ("--detail", "20k")), ("page.html", ()), ("more.html", ("--detail", "20M"))):
            self.report("o.bin", "--html", name, *words)
            windows.append(sum(self.recording(self.read(self.file(name)).decode())["windows"]))
        self.assertLess(windows[0], windows[1])
        self.assertLessEqual(windows[1], windows[2])
        self.assertLess(os.path.getsize(self.file("less.html")), 150_000)

    def test_types_and_names_of_ports(self):
        self.put("o.bin", LINES + said("x", 3))
        self.report("o.bin", "--html", "page.html", "--port-type", "3=u8:speed")
        tracks = {track["id"]: track for track in self.page()["overview"]["tracks"]}
        self.assertEqual((tracks["port:3"]["label"], tracks["port:3"]["type"], tracks["port:0"]["kind"]), ("speed", "u8", "text"))

    def test_one_recording_of_several(self):
        self.put("o.tdf", tdf(LINES, SYNC + said("second\n")))
        told = self.report("o.tdf", "--html", "page.html", status=2).stderr
        self.assertEqual(told, 'tracehost: --html shows one recording: "o.tdf" has several, --section says which\n')
        self.report("o.tdf", "--section", "2", "--html", "page.html", "--force")
        held = self.page()
        self.assertEqual((held["overview"]["name"], held["text"]["port:0"]["rows"][0]["text"]), ("o.tdf, section 2", "second"))

    def test_refusals(self):
        self.put("o.bin", LINES)
        self.put("page.html", b"mine")
        for words, told in ((("--html", "page.html"), '"page.html" exists: give another name, or --force to replace it'),
                            (("--html", "-", "--json", "-"), "--json and --html: only one of them can be standard output"),
                            (("--elf", "o.bin"), '--elf requires --html: see "tracehost report --help"'),
                            (("--port-type", "1=u8"), '--port-type requires --html: see "tracehost report --help"'),
                            (("--detail", "1M"), '--detail requires --html: see "tracehost report --help"'),
                            (("--html", "x.html", "--detail", "2G"),
                             '--detail "2G": give a size from 0 to 1 GB, such as 10k, 1.5MB or 4MiB')):
            self.assertEqual(self.report("o.bin", *words, status=2).stderr, f"tracehost: {told}\n")
        self.assertEqual(self.read(self.file("page.html")), b"mine")

    def test_the_capture_itself_is_never_written_to(self):
        self.put("o.bin", LINES)
        for option in ("--html", "--json"):
            told = self.report("o.bin", option, "o.bin", "--force", status=2).stderr
            self.assertEqual(told, 'tracehost: "o.bin" is the file that is read: give another name\n')
        told = self.report("o.bin", "--json", "x", "--html", "x", "--force", status=2).stderr
        self.assertEqual(told, 'tracehost: --json and --html: "x" cannot be both\n')
        self.assertEqual(self.read(self.file("o.bin")), LINES)


if __name__ == "__main__":
    main()
