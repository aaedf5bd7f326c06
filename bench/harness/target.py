"""A simulated target: a board whose TPIU is enabled at will, and swosource, which then plays its pin."""
import json
import os
import subprocess
import time

from harness.processes import Failure, PATIENCE, end


class Target:
    """Plays the counter pattern at `rate` bytes per second for `seconds` from the moment that it is enabled."""

    def __init__(self, context, rate, seconds, options=()):
        self.context, self.seconds = context, seconds
        self.state, self.board = context.path("target.tpiu"), context.path("target.json")
        self.link, self.report_file = context.path("tty"), context.path("report.json")
        for old in (self.state, self.report_file, self.link):
            if os.path.lexists(old):
                os.unlink(old)
        with open(self.board, "w") as file:
            json.dump({"tpiu": os.path.basename(self.state), "trace_clock_hz": rate * 10}, file)
        self.process = subprocess.Popen(
            [context.native("swosource"), "--board", self.board, "--link", self.link, "--pattern", "counter", "--rate",
             str(rate), "--seconds", str(seconds), "--report", self.report_file, *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=context.log)
        limit = time.monotonic() + PATIENCE
        while not os.path.islink(self.link):
            if self.process.poll() is not None or time.monotonic() > limit:
                raise Failure("swosource did not start")
            time.sleep(0.002)

    def enable(self):
        with open(self.state + ".new", "w") as file:
            json.dump({"prescaler": 0, "pinProtocol": 2, "programmed": True, "enabled": True}, file)
        os.replace(self.state + ".new", self.state)

    def report(self):
        """Waits until all has been played."""
        try:
            self.process.wait(timeout=PATIENCE + 4 * self.seconds)
        except subprocess.TimeoutExpired as error:
            raise Failure("swosource did not end") from error
        if self.process.returncode not in (0, 3):  # 3: bytes were dropped
            raise Failure(f"swosource failed with status {self.process.returncode}")
        with open(self.report_file) as file:
            return json.load(file)

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
            end(self.process)
