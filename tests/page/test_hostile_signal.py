"""Text of a recording that would like to be more than text, and pages that are damaged."""

from selenium.webdriver.common.keys import Keys
from itm_signal import Signal
from page_test import RECORDING, PageTest, around, with_recording

HOSTILE = ("<script>window.hacked_=1</script>", "</script><img src=x onerror=window.hacked_=1>", "\"quotes' & &amp; `${1}`",
           "bidi \u202etxet\u202c \u2066x\u2069 \u200b\ufeff", "nul \0 bell \a escape \x1b[31m del \x7f c1 \u0085")
SHOWN = (HOSTILE[0], HOSTILE[1], HOSTILE[2],
         "bidi \u27e8U+202E\u27e9txet\u27e8U+202C\u27e9 \u27e8U+2066\u27e9x\u27e8U+2069\u27e9 \u27e8U+200B\u27e9\u27e8U+FEFF\u27e9",
         "nul \u2400 bell \u2407 escape \u241b[31m del \u2421 c1 \u27e8U+0085\u27e9")


class HostileSignal(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for line in (*HOSTILE, *HOSTILE[:1]):
            signal.text(0, line + "\n").wait(100)
        signal.text(0, b"\xff\xfe broken\n").wait(100)
        for i in range(50):
            signal.port(5, bytes([i])).wait(10)
        cls.page = cls.page_of("<b>'&x.bin", bytes(signal.bytes), "--clock", "1MHz", "--framing", "itm",
                               "--port-type", "5=u8:</script><img src=x onerror=window.hacked_=1>")

    def test_text_stays_text(self):
        self.open(self.page, "list=text&port=0")
        lines = self.browser.wait(lambda: self.browser.texts("#text-list .item") or None, "the lines")
        for line, shown in zip(lines, SHOWN):
            self.assertTrue(line.endswith(" s" + shown), f"{line!r} is not {shown!r}")
        self.assertTrue(lines[6].endswith("\ufffd\ufffd broken"), repr(lines[6]))
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.assertEqual(self.browser.elements("img, iframe, #text-list script"), [])

    def test_tips_names_and_choices_stay_text(self):
        view, address = around(600, 1200)
        self.open(self.page, address)
        self.assertIn("</script><img src=x onerror=window.hacked_=1>", self.browser.texts(".row b"))
        self.assertEqual(self.browser.text("h1"), "<b>'&x.bin")
        self.assertIn(SHOWN[3], self.browser.tip("port:0", 400_000, view))
        self.assertIn(SHOWN[4], self.browser.tip("port:0", 500_000, view))
        self.browser.click("#tab-about")
        self.assertIn("<b>'&x.bin", self.browser.text("#facts"))
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.assertEqual(self.browser.elements("img, iframe"), [])

    def test_what_is_sought_stays_text(self):
        self.open(self.page)
        self.browser.keys("/", "<script>", Keys.ENTER)
        self.wait_text("#text-note", "Found in line 1 of")
        self.assertEqual(self.browser.text("#text-list .found"), "<script>")
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))

    def test_a_page_that_is_damaged_says_so(self):
        html = (self.folder / "<b>'&x.bin.html").read_text(encoding="utf-8")
        for name, text in (("cut", RECORDING.sub(lambda found: found[1] + found[2][:-400] + found[3], html)),
                           ("digits", RECORDING.sub(lambda found: found[1] + "<>" + found[2][2:] + found[3], html)),
                           ("json", with_recording(html, lambda data: data.replace(b'{"overview"', b'{"overview', 1))),
                           ("window", with_recording(html, lambda data: data.replace(b"KTW1", b"KTW2", 1)))):
            damaged = self.folder / f"{name}.html"
            damaged.write_text(text, encoding="utf-8")
            self.browser.open(damaged.as_uri())
            self.browser.wait(lambda: self.browser.element("#trouble").is_displayed(), "the trouble")
            self.assertEqual(self.browser.element("#trouble").get_attribute("role"), "alert")
            self.assertRegex(self.browser.text("#trouble"), "^This recording cannot be shown: ")
