"""The log of one whole recording, compared with golden files. TARNEL_WRITE_GOLDEN=1 writes them anew."""
import os
import re
import tty

from hosting import HostTest, ON_WINE, main, wait_for

GOLDEN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "golden")


class Log(HostTest):
    def masked(self, text, port):
        """Times, ids, paths and this platform's extension replaced, so that one golden file serves both."""
        text = text.replace(self.host_path(self.folder), "FOLDER")
        text = re.sub(r"\d\d:\d\d:\d\d:\d\d\d", "TIME", text)
        text = re.sub(r"(PATH=).*", r"\1PATH", text)
        text = re.sub(r'(Working Directory is: ").*(")', r"\1CWD\2", text)
        text = text.replace("\\", "/").replace(".dll", ".EXT").replace('.so"', '.EXT"')
        text = text.replace(f"COM{port}", "COMPORT")
        text = re.sub(r"(Original emulator Baud rate = )\d+", r"\1FOUND", text)
        text = re.sub(r"(Emulator: Baud rate=)\d+", r"\1TAKEN", text)
        return text

    def recording(self, level):
        self.level = level
        number, link = self.port()
        near_end, far_end = os.openpty()  # stays open, so that the log is that of an undisturbed recording
        self.addCleanup(os.close, near_end)
        self.addCleanup(os.close, far_end)
        tty.setraw(far_end)
        os.symlink(os.ttyname(far_end), link)
        host = self.host()
        options = self.options(COMPORT=number, RCVRFWVER="fw 1.0.0.5")
        for command in ("create", "cpus", "next-channel", "allocate board/cpu 7 1", f"configure board/cpu {options}",
                        "start board/cpu"):
            self.ok(host.ask(command))
        os.write(near_end, bytes(800))
        wait_for(lambda: os.path.getsize(self.capture()) == 800, "the whole capture")
        for command in ("status board/cpu", 'attribute board/cpu "Trace Data Frequency"', "attribute board/cpu Other",
                        "samples board/cpu", "read board/cpu 0 4", "stop board/cpu",
                        f"save board/cpu {self.host_path(self.file('out.bin'))} 2", "release board/cpu", "destroy"):
            self.ok(host.ask(command))
        host.end()
        return self.masked(self.log(), number)

    def compare(self, level):
        log = self.recording(level)
        path = os.path.join(GOLDEN, f"log_level_{level}.txt")
        if os.environ.get("TARNEL_WRITE_GOLDEN") and not ON_WINE:
            with open(path, "w", newline="\n") as golden:
                golden.write(log)
        with open(path, newline="\n") as golden:
            self.maxDiff = None
            self.assertEqual(log.splitlines(), golden.read().splitlines())

    def test_level_1(self):
        self.compare(1)

    def test_level_3(self):
        self.compare(3)

    def test_level_6(self):
        self.compare(6)

    def test_no_log_without_a_level(self):
        for level in (0, 7, -1):
            self.level = level
            host = self.host()
            self.ok(host.ask("create"))
            host.end()
            self.assertEqual(self.log(), "")


if __name__ == "__main__":
    main()
