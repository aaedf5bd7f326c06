"""What `tracehost record --print` costs at the pace of a wire, beside the plug-in alone, which decodes nothing, and beside
a recording without --print, which decodes for its ledger."""
import json
import os
import subprocess
import time

from harness import stats
from harness.figures import figure
from harness.processes import Failure, Talker, cpu_seconds, end, sync
from harness.road import carry

CLOCK = 120_000_000
PRESCALER, SLOW_PRESCALER = 9, 99  # 1.2 MB/s; a tenth of it, which a probe holds for half a second on a busy machine
PORT, CPU = 9, "board/cpu"
SET_UP = '$ brantor\n$ product\nname="Brantor"\n$ swd\nswd_debug=enabled\nswo_data=tdo_pin\n'
WARM_UP = 0.2  # seconds until a recording is under way


class Line:
    """A target that sends text, numbers and exceptions, on a port of its own."""

    def __init__(self, context, name, seconds):
        self.prescaler = SLOW_PRESCALER if context.smoke else PRESCALER
        self.context, self.folder = context, context.path(name)
        os.makedirs(os.path.join(self.folder, "home"))
        for file, text in (("set-up.txt", SET_UP),
                           ("board.json", json.dumps({"set_up_file": "set-up.txt", "device_identification": "0x0B9AF02F",
                                                      "tpiu": "tpiu.json", "trace_clock_hz": CLOCK}))):
            with open(self.file(file), "w", newline="\n") as out:
                out.write(text)
        self.env = dict(os.environ, USERPROFILE=self.file("home"), TRACEHOST_BOARD=self.file("board.json"),
                        KORR_TRACE_LOGGING="0", **{f"KORR_TRACE_COM{PORT}": self.file("port")})
        self.bytes = int(CLOCK / (self.prescaler + 1) / 10 * seconds)
        self.source = subprocess.Popen(
            [context.native("swosource"), "--board", self.file("board.json"), "--link", self.file("port"), "--bytes",
             str(self.bytes), "--report", self.file("report.json")], stderr=context.log)
        limit = time.monotonic() + 10
        while not os.path.exists(self.file("port")):
            if time.monotonic() > limit or self.source.poll() is not None:
                raise Failure("swosource did not make its port")
            time.sleep(0.005)

    def file(self, name):
        return os.path.join(self.folder, name)

    def settings(self):
        return ["--port", str(PORT), "--clock", str(CLOCK), "--prescaler", str(self.prescaler)]

    def share(self, pid, seconds):
        """Of a core, that a process uses from a moment after its recording began."""
        capture = os.path.join(self.file("home"), ".KORR-trace", "data", "swotrace_cpu.bin")
        limit = time.monotonic() + 10
        while not os.path.exists(capture) or os.path.getsize(capture) == 0:
            if time.monotonic() > limit:
                raise Failure("nothing is captured")
            time.sleep(0.005)
        time.sleep(WARM_UP)
        began, used = time.monotonic(), cpu_seconds(pid)
        time.sleep(seconds)
        used = cpu_seconds(pid) - used
        return used / (time.monotonic() - began)

    def report(self):
        status = end(self.source)
        with open(self.file("report.json")) as file:
            report = json.load(file)
        if status != 0 or report["dropped"] or report["garbled"] or report["taken"] != self.bytes:
            raise Failure(f"{report['dropped']} bytes were lost, {report['garbled']} garbled")
        return report

    def close(self):
        if self.source.poll() is None:
            self.source.kill()
        end(self.source)


def script(line, seconds):
    """The plug-in alone."""
    options = line.file("options.xml")
    subprocess.run([line.context.native("tracehost"), "options", *line.settings(), "--output", options], check=True,
                   stdout=subprocess.DEVNULL, env=line.env)
    host = Talker([line.context.native("tracehost"), "script", "-"], line.env, folder=line.folder)
    try:
        for command in ("create", f"allocate {CPU}", f"configure {CPU} {options}", f"start {CPU}"):
            carry(host, command)
        share = line.share(host.pid, seconds)
        carry(host, f"wait-samples {CPU} {line.bytes // 8} 60000")
        carry(host, f"stop {CPU}")
        host.finish()
        line.report()
    finally:
        host.kill()
    return share


def record(line, seconds, *more):
    """A recording; what it prints has to be all that was sent."""
    with open(line.file("printed"), "wb") as printed:
        host = subprocess.Popen([line.context.native("tracehost"), "record", *line.settings(), "--quiet", "--bytes",
                                 str(line.bytes), "--output", line.file("trace.bin"), *more], stdout=printed,
                                stderr=line.context.log, env=line.env, cwd=line.folder)
        try:
            share = line.share(host.pid, seconds)
            report = line.report()
            if end(host) != 0:
                raise Failure(f"tracehost record ended with status {host.returncode}")
        finally:
            if host.poll() is None:
                host.kill()
                host.wait()
    if more:
        with open(line.file("printed"), errors="replace") as printed:
            whole = [text for text in printed.read().split("\n")[:-1]]
        wanted = report["content"]["text"]
        if (len(whole), whole[-1:]) != (wanted["lines"], [wanted["last_line"]]):
            raise Failure(f"{len(whole)} lines of text were printed of {wanted['lines']}")
    return share


def record_print(context):
    seconds = 0.3 if context.smoke else 10
    ways = {"plug-in alone": script, "record": record,
            "record --print": lambda line, time_: record(line, time_, "--print", "0")}
    rounds = []
    for number in range(context.rounds):
        one = {}
        for name, way in ways.items():
            context.progress(f"round {number + 1} of {context.rounds}, {name}")
            sync()
            line = Line(context, f"line-{number}-{len(one)}", WARM_UP + seconds + (0.3 if context.smoke else 1))
            try:
                one[name] = {"core_share": way(line, seconds)}
            finally:
                line.close()
        rounds.append(one)

    def over(subject, baseline):
        return stats.summary([one[subject]["core_share"] - one[baseline]["core_share"] for one in rounds])

    what = "text printed while recording 1.2 MB/s"
    figures = [figure(f"{what}, CPU", "a core, beyond the plug-in", over("record --print", "plug-in alone"),
                      goal=("at most", 0.03)),
               figure(f"{what}, CPU", "a core, beyond record without --print", over("record --print", "record")),
               figure("ledger while recording 1.2 MB/s, CPU", "a core, beyond the plug-in", over("record", "plug-in alone"))]
    return {"figures": figures, "bytes_per_second": CLOCK // (PRESCALER + 1) // 10, "seconds": seconds, "rounds": rounds}
