"""Hosts that record what is written into terminals, and what they have open before and after."""
import fcntl
import os
import re
import tty

from hosting import HostTest, ON_WINE, wait_for

NO_CAPTURE = "Failed to open binary file for trace data storage"
BYTES = bytes(range(200)) * 4
SANITIZER_THREADS = int("thread" in os.environ.get("TARNEL_SANITIZE", ""))  # started beside a program's first thread


class Recorder(HostTest):
    """Records what is written into a terminal. After each stop, refused start and release a host has open what it had
    before the first start."""

    def plug_in(self, index=1, held=False):
        """A terminal in a port's place, which its far end can hold exclusively."""
        number, link = self.port(index)
        near_end, far_end = os.openpty()
        tty.setraw(far_end)
        if held:
            fcntl.flock(far_end, fcntl.LOCK_EX)
        os.symlink(os.ttyname(far_end), link)
        return number, near_end, far_end

    def unplug(self, near_end, far_end):
        os.close(far_end)
        os.close(near_end)

    def ready(self, number):
        """A host with a driver that is ready to record."""
        host = self.host()
        self.ok(host.ask("create"))
        self.allocates(host, number)
        host.files, host.threads = self.open_in(host)
        return host

    def allocates(self, host, number):
        self.ok(host.ask("allocate board/cpu 7"))
        self.ok(host.ask(f"configure board/cpu {self.options(COMPORT=number)}"))

    def captures(self, host, near_end, path=None):
        """Starts and waits until what is sent is in the capture."""
        self.ok(host.ask("start board/cpu"))
        os.write(near_end, BYTES)
        path = path or self.capture()
        wait_for(lambda: self.read(path) == BYTES, "the whole capture")

    def start_is_refused(self, host, text=NO_CAPTURE):
        self.refused(host.ask("start board/cpu"), text)
        self.has_closed(host)

    def stops(self, host):
        self.ok(host.ask("stop board/cpu"))
        self.has_closed(host)

    def leaves(self, host):
        self.ok(host.ask("release board/cpu"))
        self.has_closed(host)
        self.ok(host.ask("destroy"))
        self.assertEqual(host.end(), 0)

    def ends(self, host):
        self.stops(host)
        self.leaves(host)

    def records(self, port=1):
        number, *ends = self.plug_in(port)
        host = self.ready(number)
        self.captures(host, ends[0])
        self.assertEqual(host.ask("samples board/cpu")["samples"], len(BYTES) // 8)
        self.ends(host)
        self.unplug(*ends)
        self.assertEqual(self.read(self.capture()), BYTES)

    def open_in(self, host):
        """Names of a host's open files, by themselves under Wine how many, and the number of its threads."""
        folder = f"/proc/{host.host_process()}"
        files = os.listdir(folder + "/fd")
        if ON_WINE:
            return len(files), len(os.listdir(folder + "/task"))
        names = sorted(os.readlink(f"{folder}/fd/{file}").removesuffix(" (deleted)") for file in files)
        return names, len(os.listdir(folder + "/task"))

    def has_closed(self, host):
        """A thread that was joined can be listed for another moment."""
        wait_for(lambda: self.open_in(host)[1] <= host.threads + SANITIZER_THREADS, "the end of the capture thread")
        self.assertEqual(self.open_in(host)[0], host.files)

    def has_opened_its_log(self, host):
        """Natively: a log that could not be opened before is open from now on."""
        log, = self.logs()
        self.assertIn(log, self.open_in(host)[0])
        host.files = sorted([*host.files, log])

    def logs(self):
        """Paths of all log files in the test's folder, also of those that are not in the present home."""
        return [os.path.join(folder, name) for folder, _, names in os.walk(self.folder) for name in names
                if name.startswith("korr_trace_log_")]

    def errors_logged(self, log=None):
        """The error lines, without their times."""
        return re.findall(r"^    E [\d:]+ \| (.*)$", self.log() if log is None else log, re.MULTILINE)
