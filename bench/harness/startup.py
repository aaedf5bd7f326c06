"""From CreateRcvr to the first captured byte, through the whole plug-in with the simulated libraries."""
import os
import subprocess
import time

from harness import stats
from harness.figures import figure
from harness.processes import Failure, PATIENCE, end, sync
from harness.road import BOARD, Road, carry

PORT = 61
# What is timed, in order; the last one waits for the first sample.
STEPS = {
    "CreateRcvr": "create",
    "AllocateChannelDriver": "allocate board/bench",
    "SetConfiguration": f"configure board/bench {PORT}.xml",
    "StartRecording": "start board/bench",
    "first byte": "wait-samples board/bench 1 20000",
}
SAVED = "saved.bin"
CLOSING = ["target-state board/bench 2", "stop board/bench", f"save board/bench {SAVED} 2", "release board/bench",
           "destroy"]


def signal(road):
    """Plays once the simulated TPIU is enabled. Wine does not know this line's rate: it is not checked."""
    state, link = road.file(BOARD.replace(".json", ".tpiu")), road.links[PORT]
    for old in (state, link):
        if os.path.lexists(old):
            os.unlink(old)
    process = subprocess.Popen([road.context.native("swosource"), "--board", road.file(BOARD), "--link", link,
                                "--pattern", "counter", "--baud-check", "off", "--record-taken", road.file("sent.bin")],
                               stdout=subprocess.DEVNULL, stderr=road.context.log)
    limit = time.monotonic() + PATIENCE
    while not os.path.islink(link):
        if process.poll() is not None or time.monotonic() > limit:
            raise Failure("swosource did not start")
        time.sleep(0.002)
    return process


def timed(host, command):
    """Milliseconds."""
    start = time.perf_counter()
    told = carry(host, command)
    seconds = time.perf_counter() - start
    if told.get("samples") == 0:
        raise Failure(f"tracehost: {command}: no bytes came")
    return seconds * 1e3


def check(road):
    """What was captured is the beginning of what was sent; its last sample is filled up with zeros."""
    with open(road.file(SAVED), "rb") as saved, open(road.file("sent.bin"), "rb") as sent:
        captured, played = saved.read(), sent.read()
    common = len(os.path.commonprefix([captured, played]))
    if common == 0 or captured[common:].strip(b"\0") or len(captured) - common >= 8:
        raise Failure("other bytes were captured than were sent")


def go(road):
    """One start: ms of every step and of all."""
    source = signal(road)
    host = None
    try:
        host = road.host()
        carry(host, "sleep 0")  # the host itself is up
        times = {name: timed(host, command) for name, command in STEPS.items()}
        for command in CLOSING:
            carry(host, command)
        if host.finish() != 0:
            raise Failure("tracehost failed")
    finally:
        if host:
            host.kill()
        source.terminate()
        end(source)
    check(road)
    sync()
    return {"CreateRcvr to first byte": sum(times.values()), **times}


def startup(context, windows=False):
    road = Road(context, "startup", {PORT: context.path("tty")}, windows)
    rounds = [go(road) for _ in range(context.rounds + 1)][1:]  # the first one warms the caches
    road.close()
    figures = [figure(name, "", stats.summary([one[name] for one in rounds]), "ms", wine=windows)
               for name in rounds[0]]
    return {"figures": figures, "rounds": rounds,
            "note": "the prescaler is searched, the trace clock read from the simulated device; each step includes the "
                    "passage of the command and its answer through a pipe; of the wait for the first byte up to 20 ms "
                    "are the simulated target's, which looks that often whether it was enabled, and up to 5 ms the "
                    "host's, which asks that often for samples"}
