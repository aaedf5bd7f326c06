"""One recording through the plug-in: swosource plays, "tracehost script" drives the plug-in as a debugger would.

Builds on capture_session: the same folder and the same source, but the plug-in opens the port and programs the
simulated TPIU itself.
"""
import json
import os
import select
import shutil
import subprocess

import capture_session as capture

CPU = "board/cpu"
SET_UP = '$ brantor\n$ swd\nswd_debug=enabled\nswo_data=tdo_pin\n'
OPTIONS = """<?xml version="1.0" encoding="UTF-8"?>
<CHANNEL-SETUP>
\t<VERSION version="1.1.0.0" Copyright="demonstration"></VERSION>
\t<RCVRNAME>SWO Trace</RCVRNAME>
\t<RCVRFWVER>fw 1.0.0.8</RCVRFWVER>
\t<ENCTYPE>UART</ENCTYPE>
\t<PRESCALAR>Manual</PRESCALAR>
\t<PRESCALARVAL>{prescaler}</PRESCALARVAL>
\t<CLKFREQ>Manual</CLKFREQ>
\t<CLKFREQVAL>{clock}</CLKFREQVAL>
\t<COMPORT>{port}</COMPORT>
\t<TSPRESCALAR>4</TSPRESCALAR>
</CHANNEL-SETUP>
"""
LIMIT = 60  # seconds for one answer


class PluginSession(capture.Session):
    """Files in `folder`: as capture.Session, and trace.bin, trace.tdf, journal (calls of the host's libraries)."""

    def __init__(self, build, platform, folder, clock):
        super().__init__(build, platform, folder, clock)
        self.host = None
        for name in ("trace.bin", "trace.tdf", "journal"):
            if os.path.exists(self.file(name)):
                os.unlink(self.file(name))
        shutil.rmtree(self.file("home"), ignore_errors=True)
        os.makedirs(self.file("home"))
        with open(self.file("set-up.txt"), "w", newline="\n") as file:
            file.write(SET_UP)

    def __exit__(self, *exception):
        if self.host is not None:
            self.host.stdin.close()
            try:
                self.host.wait(10)
            except subprocess.TimeoutExpired:
                self.host.kill()
                self.host.wait()
            self.host.stdout.close()
        super().__exit__(*exception)

    def prepare(self, target_clock):
        self.write("board.json", {"trace_clock_hz": target_clock, "tpiu": "tpiu.json", "journal": "journal",
                                  "set_up_file": "set-up.txt", "device_identification": "0x0B9AF02F"})

    def start_host(self):
        command, environment = self.platform.host_command(self.folder, ["script", "-"])
        environment["TRACEHOST_BOARD"] = self.platform.path(self.file("board.json"))
        with open(self.file("host.err"), "w") as errors:
            self.host = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=errors)

    def ask(self, command, seconds=LIMIT):
        """The answer to one line of the script. A refusal is a failure here, with the plug-in's own words."""
        self.host.stdin.write((command + "\n").encode())
        self.host.stdin.flush()
        if not select.select([self.host.stdout], [], [], seconds)[0]:
            raise capture.Failed(f"no answer to {command} in {seconds} s")
        line = self.host.stdout.readline()
        if not line:
            raise capture.Failed(f"tracehost ended: {capture.read_text(self.file('host.err')).strip()}")
        answer = json.loads(line)
        if not answer["ok"]:
            raise capture.Failed(answer["error"])
        return answer

    def configure(self, prescaler):
        with open(self.file("options.xml"), "w", newline="\n") as file:
            file.write(OPTIONS.format(prescaler=prescaler, clock=self.clock, port=self.platform.port))
        self.ask("create")
        self.ask(f"allocate {CPU}")
        self.ask(f'configure {CPU} "{self.platform.path(self.file("options.xml"))}"')

    def attribute(self, name):
        return float(self.ask(f'attribute {CPU} "{name}"')["value"])

    def samples(self):
        return self.ask(f"samples {CPU}")["samples"]

    def save(self):
        """Raw, and as a section of a TDF file, whose header the host writes."""
        with open(self.file("trace.tdf"), "wb") as file:
            file.write(b"KTDF" + b"".join(number.to_bytes(4, "little") for number in (1, 16, 0)))
        self.ask(f'save {CPU} "{self.platform.path(self.file("trace.bin"))}" 2', 300)
        self.ask(f'save {CPU} "{self.platform.path(self.file("trace.tdf"))}" 1', 300)

    def end(self):
        self.ask(f"release {CPU}")
        self.ask("destroy")
