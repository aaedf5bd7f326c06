"""What a search finds is what is highlighted."""
from selenium.webdriver.common.keys import Keys
from itm_signal import Signal
from page_test import PageTest

LINES = ("\u0130\u0130 gamma \u0130 gamma", "\u00c4rger und \u00e4rger", "plain GAMMA", "\u0000\u202e gamma")


class Search(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for line in LINES:
            signal.text(0, line + "\n").wait(100)
        cls.page = cls.page_of("search.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm", "--port-type", "0=text")

    def found(self, sought, line, highlighted):
        """Of the page as it was opened."""
        self.browser.keys("/", sought, Keys.ENTER)
        self.wait_text("#text-note", f"^Found in line {line} of {len(LINES)}$")
        self.browser.wait(lambda: self.browser.text("#text-list [aria-selected=true] .found") == highlighted, highlighted)

    def test_letters_that_become_longer_shift_nothing(self):
        self.open(self.page)
        self.found("GAMMA", 1, "gamma")
        line = self.browser.texts("#text-list [aria-selected=true] span")
        self.assertEqual(line[1:], ["\u0130\u0130 ", "gamma", " \u0130 gamma"])

    def test_characters_shown_as_pictures_shift_nothing(self):
        self.open(self.page)
        self.browser.keys("/", "gamma", Keys.ENTER)
        self.wait_text("#text-note", "^Found in line 1 ")
        self.browser.keys(Keys.ENTER, Keys.ENTER)
        self.wait_text("#text-note", "^Found in line 4 ")
        self.browser.wait(lambda: self.browser.texts("#text-list [aria-selected=true] span")[1:3] == ["\u2400\u27e8U+202E\u27e9 ", "gamma"], "the line")

    def test_with_match_case_nothing_else_is_found_or_highlighted(self):
        self.open(self.page, "list=text&port=0")
        self.browser.click("#match-case")
        self.browser.run("document.activeElement.blur()")
        self.found("GAMMA", 3, "GAMMA")
        self.assertEqual([text for text in self.browser.texts("#text-list .found") if text], ["GAMMA"])

    def test_letters_beyond_a_to_z_are_looked_for_as_they_are(self):
        self.open(self.page)
        self.found("\u00e4RGER", 2, "\u00e4rger")
        self.browser.open("about:blank")
        self.open(self.page)
        self.found("\u00c4", 2, "\u00c4")
