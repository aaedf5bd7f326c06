"""The road through the whole plug-in: the reference host on either platform, a simulated board, ports and options."""
import os
import shutil

from harness.processes import Failure, Talker

BOARD = "mothwing.json"
BOARDS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "simulator", "boards")
OPTIONS = """<?xml version="1.0" encoding="UTF-8"?>
<CHANNEL-SETUP>
	<VERSION version="1.1.0.0" Copyright="none"></VERSION>
	<RCVRNAME>SWO Trace</RCVRNAME>
	<RCVRFWVER>fw 9.0.0.0</RCVRFWVER>
	<ENCTYPE>UART</ENCTYPE>
	<PRESCALAR>Auto</PRESCALAR>
	<PRESCALARVAL>Prescalar value</PRESCALARVAL>
	<CLKFREQ>Auto</CLKFREQ>
	<CLKFREQVAL>Frequency in Hz</CLKFREQVAL>
	<COMPORT>{port}</COMPORT>
	<TSPRESCALAR>4</TSPRESCALAR>
</CHANNEL-SETUP>
"""


class Road:
    """A folder with a board, a home, and options <port>.xml for every port; `links` are the ports' terminals."""

    def __init__(self, context, name, links, windows=False):
        self.context, self.wine, self.links = context, context.wine if windows else None, links
        self.folder = context.path(name)
        shutil.copytree(BOARDS, self.folder)
        with open(self.file(BOARD)) as board:
            text = board.read().replace("$RUN/", "")  # beside the copy
        with open(self.file(BOARD), "w") as board:
            board.write(text)
        for port in links:
            with open(os.path.join(self.folder, f"{port}.xml"), "w") as file:
                file.write(OPTIONS.format(port=port))

    def file(self, name):
        return os.path.join(self.folder, name)

    def capture(self, cpu):
        """The file that the part behind the "/" of a CPU's name gets. Native only."""
        return self.file(os.path.join("home", ".KORR-trace", "data", f"swotrace_{cpu}.bin"))

    def host(self):
        """A reference host that obeys a script."""
        command = ["script", "--board", BOARD, "-"]
        if self.wine:
            for port, link in self.links.items():
                self.wine.plug(port, os.path.realpath(link))
            return Talker(self.wine.command(self.context.windows("tracehost.exe"), *command), self.wine.env,
                          folder=self.folder)
        os.makedirs(self.file("home"), exist_ok=True)
        env = dict(os.environ, USERPROFILE=self.file("home"),
                   **{f"KORR_TRACE_COM{port}": link for port, link in self.links.items()})
        return Talker([self.context.native("tracehost"), *command], env, folder=self.folder)

    def close(self):
        shutil.rmtree(self.folder)


def carry(host, command):
    """Has a command carried out. Its answer."""
    told = host.ask(command)
    if not told["ok"]:
        raise Failure(f"tracehost: {command}: {told.get('error')}")
    return told
