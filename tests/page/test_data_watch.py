"""Data watches that send where in the program, and where in memory, beside the value."""
from itm_signal import Signal
from page_test import PageTest, around, ns


class WatchedSignal(PageTest):
    @classmethod
    def prepare(cls):
        signal = Signal().sync()
        for i in range(100):
            signal.matched(1, 0x08001000 + 4 * i, 0x2000 + i, 500 + i).wait(50)
            signal.written(1, 7).wait(50)  # whose place was not sent
        cls.page = cls.page_of("watched.bin", bytes(signal.bytes), "--clock", "1MHz", "--timestamp-prescale", "1", "--framing", "itm")

    def test_a_value_tells_the_pc_and_the_address(self):
        for i in (0, 42, 98):
            view, address = around(100 * i + 60)
            self.open(self.page, address)
            self.wait_text("#summary", "exact")
            tip = self.browser.tip("watch:1:write", ns(100 * i + 50), view)
            self.assertIn(f"\n{500 + i:,} written\nPC 0x{0x08001000 + 4 * i:08X}\naddress 0x{0x2000 + i:08X}\nat ", tip)

    def test_what_was_not_sent_is_not_told(self):
        view, address = around(4360)
        self.open(self.page, address)
        self.wait_text("#summary", "exact")
        tip = self.browser.tip("watch:1:write", ns(4400), view)
        self.assertIn("\n7 written\nat ", tip)
        self.assertNotIn("PC", tip)
