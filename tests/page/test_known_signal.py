"""A signal that is known to the last byte, and what the page shows of it."""
import re

from selenium.webdriver.common.keys import Keys
from known_signal import CLOCK, DAMAGE, OVERFLOW, ROUNDS, STEP, WORDS, known_signal, level
from page_test import TICK, PageTest, around, ns


class SignalShown:
    """What a page of the signal shows, be it a file or served. `page` is its address."""

    def test_lanes_have_the_names_and_totals_of_the_signal(self):
        self.open(self.page)
        self.assertEqual(self.browser.texts(".row b"), ["Bandwidth", "Exceptions", "SysTick", "IRQ 6", "Port 0", "level",
                                                        "Watch 0 written", "Cycle counter", "PC samples"])
        totals = dict(zip(self.browser.texts(".row b"), self.browser.texts(".row small")))
        text = sum(len(f"round {i} {WORDS[i % len(WORDS)]}\n") for i in range(ROUNDS))
        self.assertEqual(totals["Port 0"], f"{text:,} packets")
        self.assertEqual(totals["level"], f"{ROUNDS} values, f32")
        self.assertEqual(totals["PC samples"], f"{ROUNDS} samples")
        self.assertEqual(totals["Cycle counter"], f"{ROUNDS} times")

    def test_tips_tell_what_the_signal_holds(self):
        for i in (7, 57, 398):
            start = i * STEP
            salvaged = "\nsalvaged" if i > DAMAGE else ""  # no synchronisation came since then
            view, address = around(start + STEP / 2, 1.2 * STEP)
            self.open(self.page, address)
            self.wait_text("#summary", "exact: every packet")
            for track, ticks, expected in (
                    ("exception:15", 40, r"^SysTick .*\nactive for 50 µs\n"),
                    ("exception:22", 40, r"^IRQ 6 .*\nactive for 10 µs, 1 below it\n"),
                    ("nesting", 20, rf"\nSysTick for 50 µs\nfrom {ns(start + 10) / 1e9:.9f} s, offset {len(known_signal(i).bytes):,}{salvaged}$"),
                    ("nesting", 40, rf"\nSysTick for 50 µs\n.*{salvaged}\nIRQ 6 for 10 µs, 1 below it\n"),
                    ("nesting", 75, r"\nnothing here$"),
                    ("watch:0:write", 30, rf"\n{1000 + i:,} written\nat "),
                    ("watch:0:write", 60, rf"\n{1000 + i:,} written\nsince "),
                    ("port:0", 70, rf"\nround {i} {WORDS[i % len(WORDS)]}\nat "),
                    ("counter:cyc", 100, r"\n10 per ms since the one before\nat "),
                    ("pc", 90, rf"\n0x{0x08000100 + 4 * (i % 16):08X}\nat ")):
                with self.subTest(round=i, track=track, ticks=ticks):
                    self.assertRegex(self.browser.tip(track, ns(start + ticks), view), expected)
            with self.subTest(round=i, track="port:3"):
                shown = self.browser.tip("port:3", ns(start + 80), view).split("\n")[1]
                self.assertAlmostEqual(float(shown), level(i), places=5)

    def test_sleep_is_no_address(self):
        view, address = around(10 * STEP + 90)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        self.assertRegex(self.browser.tip("pc", ns(10 * STEP + 90), view), r"\nasleep\nat ")

    def test_tips_tell_the_time_of_the_events(self):
        start = 57 * STEP
        view, address = around(start + STEP / 2)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        for track, ticks in (("watch:0:write", 30), ("port:0", 70), ("port:3", 80), ("pc", 90)):
            with self.subTest(track=track):
                tip = self.browser.tip(track, ns(start + ticks), view)
                self.assertIn(f"at {ns(start + ticks) / 1e9:.9f} s, offset ", tip)

    def test_the_ledger_has_a_row_for_each_loss_and_each_row_leads_there(self):
        self.open(self.page)
        rows = self.browser.wait(lambda: self.browser.texts("#losses-list .item:not(:has(.pending)) .what"), "the ledger")
        self.assertIn("the target dropped packets (overflow)", rows[0])
        self.assertEqual(sum("overflow" in row for row in rows), 1)
        self.assertIn("2 ", self.browser.text("#losses-note"))
        for row, round_ in ((0, OVERFLOW), (1, DAMAGE)):
            self.browser.click(f"#losses-list-{row}")
            low, high = self.view()
            place = ns((round_ + 1) * STEP)
            self.assertTrue(low < place < high, f"{low} {place} {high}")
            self.assertLess(high - low, ns(ROUNDS * STEP) / 4)
            self.assertEqual(self.browser.element(f"#losses-list-{row}").get_attribute("aria-selected"), "true")
            self.browser.click("#whole")
            self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")

    def test_a_loss_is_drawn_where_it_is(self):
        lost = (OVERFLOW + 1) * STEP + 10  # the timestamp behind it
        view, address = around(lost, 4 * STEP)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        x, y = self.browser.place("bandwidth", ns(lost), view)
        self.browser.mouse(x, y)
        self.assertRegex(self.browser.text("#tip"), "\n\u25bc lost in the target, offset ")
        red = """
            const canvas = document.getElementById(arguments[0]);
            const x = Math.round(arguments[1] - canvas.getBoundingClientRect().left);
            const data = canvas.getContext("2d").getImageData(x - 3, arguments[2], 7, arguments[3]).data;
            let found = 0;
            for (let i = 0; i < data.length; i += 4) found += data[i] > 120 && data[i + 1] < 90 && data[i + 2] < 90 && data[i + 3] > 100;
            return found;"""
        self.assertGreater(self.browser.run(red, "ruler", x, 30, 12), 10)
        self.assertGreater(self.browser.run(red, "plot", x, 0, 400), 200)
        top, height = self.browser.run("""
            const [row, plot] = ["[data-track=bandwidth]", "#plot"].map((name) => document.querySelector(name).getBoundingClientRect());
            return [row.top - plot.top, row.height];""")
        self.assertGreater(self.browser.run(red, "plot", x, top + height - 8, 6), 8, "more than the line of the loss")
        blue = self.browser.run("""
            const canvas = document.getElementById("plot");
            const { data } = canvas.getContext("2d").getImageData(0, arguments[0], canvas.width, arguments[1]);
            let found = 0;
            for (let i = 0; i < data.length; i += 4) found += data[i] === 0x7b && data[i + 1] === 0xa7 && data[i + 2] === 0xd6;
            return found;""", top + height / 2, height / 2 - 10)
        self.assertGreater(blue, 500, "pixels of bars")
        self.assertEqual(self.browser.run(red, "ruler", x + 100, 30, 12), 0)

    def test_what_is_not_known_is_hatched_and_says_so(self):
        lost = (DAMAGE + 1) * STEP  # up to the next exception packet, which is 10 ticks later
        view, address = around(lost, STEP)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        self.assertRegex(self.browser.tip("nesting", ns(lost + 5), view), "not known: trace was lost for 10 µs")
        self.assertRegex(self.browser.tip("nesting", ns(lost - 30), view), "nothing here")
        hatched = """
            const [x, y] = arguments;
            const box = document.getElementById("plot").getBoundingClientRect();
            const data = document.getElementById("plot").getContext("2d").getImageData(x - box.left - 6, y - box.top - 6, 12, 12).data;
            const shades = new Set();
            for (let i = 0; i < data.length; i += 4) shades.add(data[i + 3] > 60);
            return shades.size;"""
        self.browser.mouse(5, 5)
        x, y = self.browser.place("nesting", ns(lost + 5), view)
        self.assertEqual(self.browser.run(hatched, x, y), 2)
        x, y = self.browser.place("nesting", ns(lost - 30), view)
        self.assertEqual(self.browser.run(hatched, x, y), 1)

    def test_keys_go_from_loss_to_loss(self):
        self.open(self.page)
        self.wait_text("#losses-note", "^[0-9]+ entries")
        self.browser.keys("n")
        low, high = self.view()
        self.assertTrue(low < ns((OVERFLOW + 1) * STEP) < high)
        self.browser.keys("n")
        self.wait_text("#state", "loss 2 of")
        self.browser.wait(lambda: self.view()[0] < ns((DAMAGE + 1) * STEP) < self.view()[1], "the second loss")
        self.browser.keys("p")
        self.wait_text("#state", "loss 1 of")
        self.browser.keys("p")
        self.wait_text("#state", "no loss before")

    def test_text_is_found(self):
        self.open(self.page)
        self.wait_text("#text-note", f"^{ROUNDS} lines$")
        self.browser.keys("/")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "sought")
        self.browser.keys("GAMMA", Keys.ENTER)
        self.wait_text("#text-note", "Found in line 3 of 400")
        self.browser.wait(lambda: "round 2 gamma" in "".join(self.browser.texts("#text-list [aria-selected=true]")), "the line")
        self.assertEqual(self.browser.text("#text-list [aria-selected=true] .found"), "gamma")
        self.browser.wait(lambda: self.view()[0] <= ns(2 * STEP + 70) <= self.view()[1], "the view around the line")
        self.browser.keys(Keys.ENTER)
        self.wait_text("#text-note", "Found in line 8 of 400")
        self.browser.run("document.getElementById('search-back').click()")
        self.wait_text("#text-note", "Found in line 3 of 400")
        self.browser.click("#match-case")
        self.browser.click("#sought")
        self.browser.keys(Keys.ENTER)
        self.wait_text("#text-note", "Not found behind here; the next search begins at the beginning")
        self.browser.wait(lambda: not self.browser.elements("#text-list [aria-selected=true]"), "no line selected")
        self.browser.click("#match-case")
        self.browser.click("#sought")
        self.browser.keys(Keys.ENTER)
        self.wait_text("#text-note", "Found in line 3 of 400")

    def test_the_list_of_text_is_the_text(self):
        self.open(self.page, "list=text&port=0")
        self.wait_text("#text-note", f"^{ROUNDS} lines$")
        self.browser.click("#text-list")
        self.browser.keys(Keys.END)
        last = self.browser.wait(lambda: self.browser.texts("#text-list-399 span:not(.pending)"), "the last line")
        self.assertIn(f"round 399 {WORDS[399 % 5]}", "".join(last))
        self.assertAlmostEqual(float(last[0].replace("\u2009", "").split()[0]), ns(399 * STEP + 70) / 1e9, places=5)
        self.browser.keys(Keys.ENTER)
        self.browser.wait(lambda: self.view()[0] <= ns(399 * STEP + 70) <= self.view()[1], "the view around the line")

    def test_a_click_in_the_rows_shows_the_text_of_that_time(self):
        view, address = around(50 * STEP, 20 * STEP)
        self.open(self.page, address + "&list=text&port=0")
        self.wait_text("#text-note", f"^{ROUNDS} lines$")
        self.browser.press(*self.browser.place("port:3", ns(52 * STEP + 40), view))
        self.browser.wait(lambda: "round 52 " in "".join(self.browser.texts("#text-list [aria-selected=true]")), "the line")

    def test_values_are_plotted_with_axes(self):
        self.open(self.page, "list=values")
        self.browser.wait(lambda: self.browser.elements("#value-plot canvas"), "the plot")
        self.wait_text("#values-note", "400 values in view, each drawn")
        self.assertEqual(self.browser.texts("#value-track option"), ["level", "Watch 0 written"])
        self.browser.click("[data-track='watch:0:write']")
        self.wait_text("#values-note", "400 in all")
        self.assertEqual(self.browser.run("return document.getElementById('value-track').value"), "watch:0:write")

    def test_cursors_measure(self):
        view, address = around(50 * STEP)
        self.open(self.page, address)
        for key, ticks in (("a", 5000), ("b", 5025)):
            self.browser.mouse(*self.browser.place("bandwidth", ns(ticks), view))
            self.browser.keys(key)
        found = self.browser.wait(lambda: re.search(r"\u0394 ([\d.]+) µs \(([\d.]+) kHz\)", self.browser.text("#cursors")), "the cursors")
        self.assertAlmostEqual(float(found[1]), 25, delta=0.5)
        self.assertAlmostEqual(float(found[2]), 40, delta=1)
        self.browser.wait(lambda: "a=" in self.browser.driver.current_url, "the address")
        self.browser.keys("c")
        self.browser.wait(lambda: self.browser.text("#cursors") == "", "no cursors")

    def test_the_wheel_zooms_at_the_pointer_and_dragging_pans(self):
        self.open(self.page)
        whole = 0, ns(ROUNDS * STEP)
        place = ns(100 * STEP)
        x, y = self.browser.place("bandwidth", place, whole)
        for _ in range(8):
            self.browser.wheel(x, y, -240)
        low, high = self.view()
        self.assertLess(high - low, whole[1] / 20)
        self.assertAlmostEqual((place - low) / (high - low), 0.25, delta=0.02)
        self.wait_text("#summary", "exact: every packet$")
        self.browser.mouse(x, y, "mousePressed", button="left", clickCount=1)
        self.browser.mouse(x + 50, y, button="left", buttons=1)
        self.browser.mouse(x + 100, y, button="left", buttons=1)
        self.browser.mouse(x + 100, y, "mouseReleased", button="left", clickCount=1)
        self.browser.wait(lambda: self.view()[0] < low - (high - low) / 20, "the view further left")
        for click in (1, 2):
            self.browser.press(x, y, click)
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")


class KnownSignal(SignalShown, PageTest):
    @classmethod
    def prepare(cls):
        cls.signal = known_signal()
        cls.page = cls.page_of("known.bin", bytes(cls.signal.bytes), *CLOCK,
                               "--port-type", "3=f32:level", "--framing", "itm")

    def test_the_profile_counts_the_samples(self):
        self.open(self.page, "list=profile")
        self.browser.element("#profile-by").send_keys("address")
        rows = self.browser.wait(lambda: self.browser.texts("#profile-table tbody tr"), "the profile")
        samples = [0x08000100 + 4 * (i % 16) for i in range(ROUNDS) if i % 5 != 0]
        top = f"0x{0x08000104:08x}"
        self.assertTrue(any(row.lower().startswith(top + str(samples.count(0x08000104))) for row in rows), rows)
        self.assertEqual(len(rows), 16)
        self.wait_text("#profile-note", "20 % asleep")

    def test_the_profile_is_told_over_time(self):
        self.open(self.page, "list=profile")
        self.browser.wait(lambda: self.browser.elements("#profile-table canvas"), "the strips")
        self.assertEqual(len(self.browser.elements("#profile-table tbody tr")), len(self.browser.elements("#profile-table canvas")))
        self.browser.element("#profile-by").send_keys("address")
        self.wait_text("#profile-table th", "^Address$")
        filled = self.browser.run("""
            return Object.fromEntries([...document.querySelectorAll("#profile-table tbody tr")].map((row) => {
              const canvas = row.querySelector("canvas");
              const { data, width } = canvas.getContext("2d").getImageData(0, 6, canvas.width, 1);
              const columns = [...Array(48).keys()].filter((column) => data[4 * Math.floor((column + 0.5) / 48 * width) + 3] > 0);
              return [row.firstElementChild.textContent.toLowerCase(), columns];
            }));""")
        for i in range(16):
            times = [(round_ * STEP + 90) / (ROUNDS * STEP) for round_ in range(ROUNDS) if round_ % 16 == i and round_ % 5 != 0]
            self.assertEqual(filled[f"0x{0x08000100 + 4 * i:08x}"], sorted({int(time * 48) for time in times}), i)
        self.assertEqual(self.browser.texts("#profile-by option"), ["function", "address"])

    def test_ports_of_a_file_stay_as_they_are_and_it_says_so(self):
        self.open(self.page, "list=about&types=3:u32")
        self.assertEqual(self.browser.text("#ports-note"), "In a file they stay as they are; tracehost report has --port-type for that.")
        self.assertEqual([(choice.get_attribute("name"), choice.get_attribute("value"), choice.is_enabled())
                          for choice in self.browser.elements("#port-types select")], [("0", "text", False), ("3", "f32", False)])
        self.assertFalse(self.browser.element("#stop").is_displayed())

    def test_everything_works_from_the_keyboard(self):
        self.open(self.page)
        self.browser.keys("+", "+")
        low, high = self.view()
        self.assertAlmostEqual(high - low, ns(ROUNDS * STEP) / 1.6 ** 2, delta=ns(STEP))
        self.browser.keys(Keys.ARROW_RIGHT)
        self.browser.wait(lambda: self.view()[0] > low, "the view further right")
        self.browser.keys(Keys.END)
        self.browser.wait(lambda: self.view()[1] >= ns(ROUNDS * STEP) - TICK, "the end")
        self.browser.keys("-", Keys.HOME)
        self.browser.wait(lambda: "v=" not in self.browser.driver.current_url, "the whole")
        self.browser.keys("?")
        self.assertTrue(self.browser.element("#help-text").is_displayed())
        self.browser.keys(Keys.ESCAPE)
        self.assertFalse(self.browser.element("#help-text").is_displayed())
        seen = []
        for _ in range(40):  # through everything that takes the focus, each time visibly
            self.browser.keys(Keys.TAB)
            focused, outline = self.browser.run("""
                const element = document.activeElement;
                return [element.id || element.dataset.track || element.tagName, getComputedStyle(element).outlineStyle];""")
            if focused == "BODY":
                break
            seen.append(focused)
            self.assertNotEqual(outline, "none", focused)
        for needed in ("theme", "help", "zoom-in", "next-loss", "set-a", "scroller", "bandwidth", "port:0", "tab-losses", "losses-list"):
            self.assertIn(needed, seen)
        self.browser.run("document.querySelector('[data-track=\"port:0\"]').focus()")
        self.browser.keys("i")
        self.assertTrue(self.browser.element("#tip").is_displayed())
        self.browser.keys(Keys.ENTER)
        self.assertTrue(self.browser.element("#text").is_displayed())
        self.browser.run("document.getElementById('tab-text').focus()")
        self.browser.keys(Keys.ARROW_RIGHT)
        self.assertTrue(self.browser.element("#values").is_displayed())

    def test_controls_have_names(self):
        self.open(self.page)
        nameless = self.browser.run("""
            return [...document.querySelectorAll("button, select, input, [tabindex='0'], canvas")].filter((element) =>
              !(element.textContent.trim() || element.getAttribute("aria-label") || element.title || element.labels?.length
                || element.getAttribute("aria-labelledby"))).map((element) => element.outerHTML.slice(0, 80));""")
        self.assertEqual(nameless, [])

    def test_narrow_windows_hold_everything(self):
        for width, height in ((900, 700), (640, 700), (420, 800)):
            self.browser.resize(width, height)
            self.addCleanup(self.browser.resize, 1400, 900)
            self.open(self.page)
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
            outside = self.browser.run("""
                return [...document.querySelectorAll("button, canvas, #summary, [role=tab]")].filter((element) => element.offsetParent).
                  filter((element) => !element.closest("#scroller, dialog")).filter((element) => {
                    const box = element.getBoundingClientRect();
                    return box.left < -1 || box.right > innerWidth + 1 || box.bottom > innerHeight + 1;
                  }).map((element) => element.id);""")
            self.assertEqual(outside, [], f"at {width} pixels")
            self.assertGreater(self.browser.run("return document.getElementById('plot').clientHeight"), 100)

    def test_dark_and_light(self):
        back = "return getComputedStyle(document.body).backgroundColor.match(/\\d+/g).map(Number)"
        self.browser.prefer("dark")
        self.addCleanup(self.browser.prefer, "light")
        self.open(self.page)
        self.assertLess(max(self.browser.run(back)), 60)
        self.browser.click("#theme")
        self.assertGreater(min(self.browser.run(back)), 200)
        self.browser.keys("t")
        self.assertLess(max(self.browser.run(back)), 60)
        self.browser.prefer("light")
        self.browser.wait(lambda: min(self.browser.run(back)) > 200, "light")

    def test_nothing_is_loaded_and_nothing_else_runs(self):
        self.open(self.page)
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map((entry) => entry.name)"), [])
        self.assertEqual(self.browser.run("return window.refused_"), [])
        self.browser.run("""
            const script = document.createElement("script");
            script.textContent = "window.hacked_ = 1";
            document.body.append(script);
            const button = document.createElement("button");
            button.setAttribute("onclick", "window.hacked_ = 2");
            document.body.append(button);
            button.click();
            button.remove();
            const picture = new Image();
            picture.src = "http://127.0.0.1:9/x.png";
            document.body.append(picture);
            picture.remove();""")
        self.browser.wait(lambda: len(self.browser.run("return window.refused_")) >= 3, "the policy's refusals")
        self.assertIsNone(self.browser.run("return window.hacked_ ?? null"))
        self.browser.errors()  # these are the refusals
