"""What the tests of the page have in common: captures, their pages, and the browser."""
import base64
import gzip
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import unittest

from browser import Browser
from hosting import host_command, host_path, wine_environment

BUILD = pathlib.Path(os.environ["TARNEL_BUILD"]).resolve()
ROOT = pathlib.Path(__file__).resolve().parents[2]
FRAME = 16.7  # ms, at 60 a second
TICK = 1000  # ns, at a trace clock of 1 MHz


def tracehost(home, *words):
    """A command line of tracehost, natively or under Wine, and its environment. `words`: paths are of this system."""
    return (host_command(*(host_path(word) if isinstance(word, pathlib.Path) else word for word in words)),
            {**os.environ, "HOME": str(home), **wine_environment(home)})


def ns(ticks):
    return ticks * TICK


def around(ticks, width=100):
    """A window in nanoseconds, and the address that shows it."""
    view = ns(ticks - width / 2), ns(ticks + width / 2)
    return view, f"v={view[0]:.0f},{view[1]:.0f}"


RECORDING = re.compile(r'(<script type="application/gzip" id="recording">)(.*?)(</script>)', re.DOTALL)


def with_recording(html, change):
    """A page whose recording, as it is before it is compressed, has been changed."""
    def exchange(found):
        data = change(gzip.decompress(base64.b64decode(found[2])))
        return found[1] + base64.b64encode(gzip.compress(data)).decode() + found[3]
    return RECORDING.sub(exchange, html)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="tarnel-page-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, True)
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)
        cls.browser.offline(True)
        cls.prepare()

    @classmethod
    def prepare(cls):
        """Makes the captures of a class of tests."""

    @classmethod
    def page_of(cls, name, data, *options):
        """The address of a capture's page."""
        capture = cls.folder / name
        capture.write_bytes(data)
        return cls.report(capture, *options)

    @classmethod
    def report(cls, capture, *options):
        html = cls.folder / (capture.name + ".html")
        command, environment = tracehost(cls.folder, "report", capture, "--html", html, "--force", *options)
        done = subprocess.run(command, capture_output=True, text=True, check=False, timeout=120, env=environment)
        if done.returncode not in (0, 3):
            raise AssertionError(f"tracehost report ended with {done.returncode}: {done.stderr}")
        return html.as_uri()

    def open(self, address, view=""):
        self.browser.open(address, view)
        self.wait_text("#summary", "\u00b7")  # behind which stands how exact the picture is
        self.addCleanup(self.no_errors)

    def no_errors(self):
        self.assertEqual(self.browser.errors(), [])
        self.assertFalse(self.browser.element("#trouble").is_displayed(), self.browser.text("#trouble"))

    def judge_frames(self, frames, what):
        """How long the page's work for each frame took, in milliseconds. On a machine that does much else it proves nothing."""
        median = statistics.median(frames)
        print(f"\n{len(frames)} frames {what}: median {median:.2f} ms, most {max(frames):.1f} ms", file=sys.stderr)
        self.assertGreater(len(frames), 10)
        if median > FRAME and os.getloadavg()[0] > 2 * os.cpu_count():
            self.skipTest(f"frames took {median:.1f} ms beside a load of {os.getloadavg()[0]:.0f}")
        self.assertLessEqual(median, FRAME)

    def summary(self):
        return self.browser.text("#summary")

    def wait_text(self, selector, pattern):
        self.browser.wait(lambda: re.search(pattern, self.browser.text(selector)), f"{pattern} in {selector}, where "
                          f"{self.browser.text(selector)!r} stands")

    def view(self):
        """What the address says is in view, in nanoseconds."""
        found = self.browser.wait(lambda: re.search(r"v=(\d+)(?:,|%2C)(\d+)", self.browser.driver.current_url), "a view")
        return int(found[1]), int(found[2])
