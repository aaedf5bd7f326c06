"""From CreateRcvr to the first captured byte, through the whole plug-in with the simulated libraries."""
import os
import shutil
import subprocess
import time

from harness import stats
from harness.figures import figure
from harness.processes import Failure, PATIENCE, Talker, end, sync

PORT = 61
BOARD = "mothwing.json"
BOARDS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "simulator", "boards")
OPTIONS = f"""<?xml version="1.0" encoding="UTF-8"?>
<CHANNEL-SETUP>
	<VERSION version="1.1.0.0" Copyright="none"></VERSION>
	<RCVRNAME>SWO Trace</RCVRNAME>
	<RCVRFWVER>fw 9.0.0.0</RCVRFWVER>
	<ENCTYPE>UART</ENCTYPE>
	<PRESCALAR>Auto</PRESCALAR>
	<PRESCALARVAL>Prescalar value</PRESCALARVAL>
	<CLKFREQ>Auto</CLKFREQ>
	<CLKFREQVAL>Frequency in Hz</CLKFREQVAL>
	<COMPORT>{PORT}</COMPORT>
	<TSPRESCALAR>4</TSPRESCALAR>
</CHANNEL-SETUP>
"""
# What is timed, in order; the last one waits for the first sample.
STEPS = {
    "CreateRcvr": "create",
    "AllocateChannelDriver": "allocate board/bench",
    "SetConfiguration": "configure board/bench options.xml",
    "StartRecording": "start board/bench",
    "first byte": "wait-samples board/bench 1 20000",
}
CLOSING = ["target-state board/bench 2", "stop board/bench", "release board/bench", "destroy"]


class Road:
    """A board, options and a signal in a folder, and the reference host on either platform."""

    def __init__(self, context, windows):
        self.context, self.wine = context, context.wine if windows else None
        self.folder = context.path("startup")
        shutil.copytree(BOARDS, self.folder)
        with open(os.path.join(self.folder, "options.xml"), "w") as file:
            file.write(OPTIONS)
        self.link = os.path.join(self.folder, "tty")

    def host(self):
        if self.wine:
            self.wine.plug(PORT, os.path.realpath(self.link))
            return Talker(self.wine.command(self.context.windows("tracehost.exe"), "script", "--board", BOARD, "-"),
                          self.wine.env, folder=self.folder)
        env = dict(os.environ, USERPROFILE=self.context.work, **{f"KORR_TRACE_COM{PORT}": self.link})
        return Talker([self.context.native("tracehost"), "script", "--board", BOARD, "-"], env, folder=self.folder)

    def signal(self):
        """Plays once the simulated TPIU is enabled. Wine does not know this line's rate: it is not checked."""
        state = os.path.join(self.folder, BOARD.replace(".json", ".tpiu"))
        for old in (state, self.link):
            if os.path.lexists(old):
                os.unlink(old)
        process = subprocess.Popen([self.context.native("swosource"), "--board", os.path.join(self.folder, BOARD),
                                    "--link", self.link, "--pattern", "counter", "--baud-check", "off"],
                                   stdout=subprocess.DEVNULL, stderr=self.context.log)
        limit = time.monotonic() + PATIENCE
        while not os.path.islink(self.link):
            if process.poll() is not None or time.monotonic() > limit:
                raise Failure("swosource did not start")
            time.sleep(0.002)
        return process


def carry(host, command):
    start = time.perf_counter()
    told = host.ask(command)
    seconds = time.perf_counter() - start
    if not told["ok"] or ("samples" in told and told["samples"] == 0):
        raise Failure(f"tracehost: {command}: {told.get('error', 'no bytes came')}")
    return seconds * 1e3


def go(road):
    """One start: ms of every step and of all."""
    signal = road.signal()
    host = None
    try:
        host = road.host()
        carry(host, "sleep 0")  # the host itself is up
        times = {name: carry(host, command) for name, command in STEPS.items()}
        for command in CLOSING:
            carry(host, command)
        if host.finish() != 0:
            raise Failure("tracehost failed")
    finally:
        if host:
            host.kill()
        signal.terminate()
        end(signal)
    sync()
    return {"CreateRcvr to first byte": sum(times.values()), **times}


def startup(context, windows=False):
    road = Road(context, windows)
    rounds = [go(road) for _ in range(context.rounds + 1)][1:]  # the first one warms the caches
    shutil.rmtree(road.folder)
    figures = [figure(name, "", stats.summary([one[name] for one in rounds]), "ms", wine=windows)
               for name in rounds[0]]
    return {"figures": figures, "rounds": rounds,
            "note": "the prescaler is searched, the trace clock read from the simulated device; each step includes the "
                    "passage of the command and its answer through a pipe; of the wait for the first byte up to 20 ms "
                    "are the simulated target's, which looks that often whether it was enabled, and up to 5 ms the "
                    "host's, which asks that often for samples"}
