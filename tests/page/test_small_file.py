"""A file that holds a part of its recording says so, wherever somebody looks for the rest."""
from selenium.webdriver.common.keys import Keys
from itm_signal import Signal
from page_test import PageTest

LOSSES, LINES = 260, 5200
LISTED, HELD = 200, 1000  # in the file


class SmallFile(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(LINES):
            signal.text(0, f"line {i} {i * 7919 % 10007}\n").wait(100)
            if i % (LINES // LOSSES) == 10:
                signal.overflow()
        cls.page = cls.page_of("large.bin", bytes(signal.bytes), "--clock", "1MHz", "--timestamp-prescale", "1", "--framing", "itm",
                               "--detail", "100k")

    def test_losses_that_are_not_listed_are_said_to_be_missing(self):
        self.open(self.page)
        self.wait_text("#losses-note", f"^{LOSSES} entries")
        self.browser.click("#losses-list")
        self.browser.keys(Keys.END)
        self.wait_text(f"#losses-list-{LOSSES - 1}", "^not in this file$")
        self.browser.click("#next-loss")
        self.wait_text("#state", "^no loss behind this$")
        self.browser.click("#previous-loss")
        self.wait_text("#state", f"^loss {LOSSES - 1} of {LOSSES} and those behind it are not in this file$")
        self.browser.run("document.getElementById('losses-list').scrollTop = 0")
        self.browser.wait(lambda: self.browser.elements("#losses-list-0 .what"), "the first entry")
        self.browser.click("#losses-list-0")
        self.browser.click("#next-loss")
        self.wait_text("#state", f"^loss 2 of {LOSSES}$")

    def test_the_packets_beside_a_loss_are_there(self):
        self.open(self.page)
        self.browser.wait(lambda: self.browser.elements("#losses-list-0 .what"), "the first entry")
        self.browser.click("#losses-list-0")
        self.browser.keys("+", "+", "+", "+")
        self.wait_text("#summary", "exact: every packet$")

    def test_text_that_is_not_there_is_not_said_to_be_none(self):
        self.open(self.page, "list=text&port=0")
        self.wait_text("#text-note", f"^5,200 lines, of which the first {HELD:,} are in this file$")
        self.browser.keys("/", f"line {LINES - 1}", Keys.ENTER)
        self.wait_text("#text-note", "^Not found behind here; the next search begins at the beginning. "
                       f"Of 5,200 lines the first {HELD:,} alone are in this file$")
        self.browser.click("#text-list")
        self.browser.keys(Keys.END)
        self.wait_text(f"#text-list-{LINES - 1}", "^not in this file$")


class ManyLosses(PageTest):
    PLACES, ENTRIES = 70_000, 65_536  # those are kept, of the others the number

    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for _ in range(cls.PLACES // 2):  # two kinds by turns, so that none becomes one with the one before
            signal.overflow().add(0xD0, 10)  # a local timestamp that came late
        cls.page = cls.page_of("many.bin", bytes(signal.bytes), "--framing", "itm")

    def test_behind_the_last_entry_the_others_are_said_to_be_counted(self):
        self.open(self.page)
        counted = f"{self.PLACES - self.ENTRIES:,} more are only counted"
        self.wait_text("#losses-note", f"^{self.ENTRIES:,} entries; .* · {counted}")
        self.browser.click("#losses-list")
        self.browser.keys(Keys.END)
        self.wait_text(f"#losses-list-{self.ENTRIES - 1}", "^not in this file$")
        self.browser.click("#next-loss")
        self.wait_text("#state", f"^no loss behind this is listed: {counted}$")
