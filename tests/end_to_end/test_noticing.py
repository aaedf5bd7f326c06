"""How soon a recording notices that something ended it: within a second, on a machine that has the time for it.

Both moments are of one clock: the fault's is taken here, that of its noticing is told by the recording itself, so that
neither starting nor saving counts."""
import json
import os
import resource
import threading
import time
import unittest

from hosting import LIMIT, ON_WINE, has_open, main, wait_for
from recorder import BYTES
from test_cut_short import FILE_LIMIT, LOG_LIMIT, TINY, CutShort
from test_cut_short_windows import Probed

IN_TIME = 1  # seconds
TRIES = 5  # where the machine is busy
CLOCKS = 0.03 if ON_WINE else 0.01  # seconds; the system may have set its clock a little, and Windows' has ticks
BUSY = 0.1  # seconds that naps of a second come too late on a busy machine; on an idle one a hundredth


class Naps(threading.Thread):
    """Naps, writes and looks as a recording does, and keeps how late that came."""

    def __init__(self, folder):
        super().__init__(daemon=True)
        self.file = open(os.path.join(folder, "naps"), "wb", buffering=0)
        self.over = False
        self.late = []  # pairs: when it was over, seconds too late
        self.start()

    def run(self):
        while not self.over:
            begin = time.time()
            time.sleep(0.02)
            self.file.write(b"x")
            os.stat(self.file.name)
            self.late.append((time.time(), time.time() - begin - 0.02))

    def end(self):
        self.over = True
        self.join()
        self.file.close()

    def seconds_between(self, begin, end):
        """Too late altogether in that time."""
        return sum(late for when, late in self.late if begin <= when <= end)


class InTime(CutShort):
    """Recordings whose fault and its noticing are compared."""

    def records(self, number, **keywords):
        for file in filter(os.path.exists, [self.capture(), *self.logs()]):
            os.unlink(file)  # of the try before
        return self.begins(number, "--output", "o.bin", "--force", "--json", "--quiet", **keywords)

    def delay(self, begun, moment, reason):
        """Seconds between the fault and its noticing."""
        output, error = begun.communicate(timeout=LIMIT)
        shown = json.loads(output)
        self.assertEqual((begun.returncode, shown["end"]), (5, "fault"), error)
        part, = shown["parts"]
        self.assertIn(reason, part["fault"])
        return shown["started"] + part["fault_at"] - moment

    def is_noticed_in_time(self, play):
        """Late is a failure unless the machine was late with naps as well, again and again."""
        for _ in range(TRIES):
            naps = Naps(self.folder)
            try:
                moment, delay = play()
            finally:
                naps.end()
            if delay < IN_TIME:
                return
            excuse = naps.seconds_between(moment, moment + delay)
            if excuse < BUSY:
                self.fail(f"noticed after {delay:.2f} s, on a machine whose naps were {excuse:.3f} s late")
            print(f"noticed after {delay:.2f} s, naps {excuse:.2f} s late")
        self.skipTest("the machine had no time")

    def exact(self, moment, delay):
        """Nothing is noticed before it was: the clocks are one."""
        self.assertGreater(delay, -CLOCKS)
        return moment, delay


@unittest.skipIf(ON_WINE, "terminals, disks and limits of this system")
class Noticing(InTime):
    def without_a_log(self):
        os.environ["TMPDIR"] = self.small_temporary_folder()
        self.addCleanup(os.environ.pop, "TMPDIR")

    # --- each gives the moment of the fault and the delay
    def port_vanishes(self):
        number, *ends = self.plug_in()
        running = self.records(number)
        self.sends(ends[0])
        moment = time.time()
        self.unplug(*ends)
        return self.exact(moment, self.delay(running, moment, "vanished"))

    def file_is_removed(self, after_bytes):
        number, *ends = self.plug_in()
        self.addCleanup(self.unplug, *ends)
        running = self.records(number)
        if after_bytes:
            self.sends(ends[0])
        wait_for(lambda: has_open(running, self.capture()), "a capture")
        time.sleep(0.2)  # it has been looked at
        moment = time.time()
        os.unlink(self.capture())
        return self.exact(moment, self.delay(running, moment, "was removed or shortened"))

    def file_takes_no_more(self, size, limited, reason):
        """Sends until the recording has ended; the fault's moment is that in which the capture has its last size."""
        number, *ends = self.plug_in()
        self.addCleanup(self.unplug, *ends)
        running = self.records(number, preexec_fn=limited)
        os.set_blocking(ends[0], False)
        wait_for(lambda: os.path.exists(self.capture()), "the capture file")
        if self.level:
            wait_for(lambda: any(os.path.getsize(log) == size for log in self.logs()), "a full log")
        moment = None
        while running.poll() is None:
            try:
                os.write(ends[0], BYTES)
            except BlockingIOError:
                time.sleep(0.002)
            if not moment and os.path.getsize(self.capture()) >= size:
                moment = time.time()
        return moment, self.delay(running, moment, reason)

    # --- the faults
    def test_vanished_port(self):
        self.is_noticed_in_time(self.port_vanishes)

    def test_vanished_port_without_a_log(self):
        self.without_a_log()
        self.is_noticed_in_time(self.port_vanishes)

    def test_removed_capture_file(self):
        self.is_noticed_in_time(lambda: self.file_is_removed(True))

    def test_capture_file_removed_before_its_first_byte(self):
        self.is_noticed_in_time(lambda: self.file_is_removed(False))

    def fills_its_disk(self):
        self.disk(self.home, TINY)
        return self.file_takes_no_more(TINY, None, "takes no more")

    def test_full_disk(self):
        self.is_noticed_in_time(self.fills_its_disk)

    def test_full_disk_without_a_log(self):
        self.without_a_log()
        self.is_noticed_in_time(self.fills_its_disk)

    def reaches_a_limit(self, limit, reason):
        return self.file_takes_no_more(limit, lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)), reason)

    def test_limit_on_the_size_of_files(self):
        self.is_noticed_in_time(lambda: self.reaches_a_limit(FILE_LIMIT, "error 27: File too large"))

    def test_capture_thread_that_ended_for_a_reason_that_no_log_tells(self):
        """The log, at its highest level, has reached the limit first."""
        self.level = 6
        self.is_noticed_in_time(lambda: self.reaches_a_limit(LOG_LIMIT, "a file may have no more than"))


@unittest.skipUnless(ON_WINE, "the tests above are this system's")
class NoticingOnWindows(InTime, Probed):
    """What Wine can be brought to show: neither limits on files nor a failing read are to be had there."""

    def is_recorded(self):
        """A recording that has looked at its capture: it cannot tell a port that went before."""
        number, *ends = self.plug_in()
        running = self.records(number)
        self.sends(ends[0])
        time.sleep(2)
        return running, number, ends

    def port_vanishes(self):
        running, number, ends = self.is_recorded()
        moment = time.time()
        self.is_taken_away(number, ends)
        return self.exact(moment, self.delay(running, moment, "vanished"))

    def file_is_removed(self):
        running, _, ends = self.is_recorded()
        self.addCleanup(self.unplug, *ends)
        moment = time.time()
        os.unlink(self.capture())
        return self.exact(moment, self.delay(running, moment, "was removed or shortened"))

    def test_vanished_port(self):
        self.is_noticed_in_time(self.port_vanishes)

    def test_removed_capture_file(self):
        self.is_noticed_in_time(self.file_is_removed)


if __name__ == "__main__":
    main()
