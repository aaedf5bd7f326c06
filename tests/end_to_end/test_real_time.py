"""What the tests in real time forgive, and what not."""
import unittest
from unittest import mock

import real_time
from hosting import main
from real_time import Skip, Starved, excuses, expect_in_time, in_real_time, taken_seconds

RIGHT = {"doubled": 0, "changed": 0}


def report(dropped=0, late_ms=0):
    return {"sent": 1000, "dropped": dropped, "wire_seconds": 10.0, "lag": {"total_ms": late_ms},
            "real_time": True}


class Forgiving(unittest.TestCase):
    def play(self, failures, work, taken=(0.0, 0.0)):
        """Plays something that fails that often, beside so much other work, and counts how often it was played. Each
        time so many seconds are taken."""
        played = []

        def once():
            played.append(1)
            if len(played) <= len(failures):
                raise failures[len(played) - 1]

        seconds = iter([(0.0, 0.0), taken] * (len(failures) + 1))
        with mock.patch.object(real_time, "other_work", lambda: work), \
                mock.patch.object(real_time, "taken_seconds", lambda: next(seconds)):
            try:
                in_real_time(once)
            finally:
                self.played = len(played)

    def test_starved_run_is_repeated(self):
        self.play([Starved("one"), Starved("two")], 0.0)
        self.assertEqual(self.played, 3)

    def test_run_that_is_always_starved_fails_where_nothing_else_works(self):
        with self.assertRaises(Starved):
            self.play([Starved("lost")] * 3, 0.1)

    def test_run_that_is_always_starved_is_skipped_on_a_busy_machine(self):
        with self.assertRaises(Skip):
            self.play([Starved("lost")] * 3, 1.0)

    def test_run_that_is_always_starved_is_skipped_where_time_is_taken(self):
        for taken in ((10.0, 0.0), (0.0, 10.0)):
            with self.assertRaisesRegex(Skip, "of the time"):
                self.play([Starved("lost")] * 3, 0.0, taken)

    def test_run_that_is_always_starved_is_skipped_without_real_time_priority(self):
        with self.assertRaisesRegex(Skip, "the source had no real-time priority"):
            self.play([Starved("lost", played_first=False)] * 3, 0.0)

    def test_a_little_is_no_excuse(self):
        self.assertEqual(excuses(Starved("lost"), 0.5, 0.01, 0.01), [])
        self.assertEqual(excuses(Starved("lost"), 0.6, 0.012, 0.5), [
            "0.6 other processes wanted to run", "1.2% of the time were taken from its processors",
            "50.0% of the time something waited for a disk"])

    def test_time_that_is_taken_never_goes_back(self):
        first = taken_seconds()
        self.assertGreaterEqual(taken_seconds(), first)
        self.assertGreaterEqual(min(first), 0.0)

    def test_anything_else_fails_at_once_on_every_machine(self):
        with self.assertRaisesRegex(AssertionError, "other bytes"):
            self.play([AssertionError("other bytes")], 1.0)
        self.assertEqual(self.played, 1)


class Judging(unittest.TestCase):
    def test_whole_capture_in_time(self):
        expect_in_time(report(), 1000, RIGHT)
        expect_in_time(report(late_ms=99), 1000, RIGHT)

    def test_lost_bytes_and_late_signals_are_for_want_of_time(self):
        with self.assertRaisesRegex(Starved, "10 of 1000 bytes lost"):
            expect_in_time(report(dropped=10), 990, RIGHT)
        with self.assertRaisesRegex(Starved, "a signal of 10.0 s came 0.20 s late"):
            expect_in_time(report(late_ms=200), 1000, RIGHT)

    def test_wrong_bytes_are_wrong_on_every_machine(self):
        for captured, faults in ((990, {"doubled": 0, "changed": 1}), (990, {"doubled": 8, "changed": 0}),
                                 (989, RIGHT), (991, RIGHT)):
            with self.assertRaises(AssertionError) as failure:
                expect_in_time(report(dropped=10), captured, faults)
            self.assertNotIsInstance(failure.exception, Starved)


if __name__ == "__main__":
    main()
