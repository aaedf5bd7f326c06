#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: with_com_port.py NUMBER PREFIX COMMAND [ARGUMENT...]

Runs a Windows program under Wine with a pseudo-terminal as its port COM<NUMBER> in that Wine prefix, and plays
the probe at the far end. The program's orders are files in the folder that TARNEL_PROBE_ORDERS names: "plug" makes a
new pseudo-terminal, "send" sends the file's bytes, "unplug" closes the far end. An order that is carried out is
removed. Ends with the program's exit status.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time
import tty


class Probe:
    def __init__(self, link):
        self.link = link
        self.ends = ()

    def plug(self):
        self.unplug()
        self.ends = os.openpty()
        tty.setraw(self.ends[1])
        if os.path.lexists(self.link):
            os.unlink(self.link)
        os.symlink(os.ttyname(self.ends[1]), self.link)

    def send(self, data):
        while data:
            data = data[os.write(self.ends[0], data):]

    def unplug(self):
        for end in self.ends:
            os.close(end)
        self.ends = ()


def carry_out(probe, orders):
    for name in ("plug", "send", "unplug"):
        path = os.path.join(orders, name)
        if not os.path.exists(path):
            continue
        if name == "plug":
            probe.plug()
        elif name == "send":
            with open(path, "rb") as order:
                probe.send(order.read())
        else:
            probe.unplug()
        os.unlink(path)


def main():
    number, prefix, command = sys.argv[1], sys.argv[2], sys.argv[3:]
    orders = tempfile.mkdtemp(prefix="probe_orders_")
    devices = os.path.join(prefix, "dosdevices")
    probe = Probe(os.path.join(devices, "com" + number))
    environment = dict(os.environ, TARNEL_PROBE_PORT=number, TARNEL_WINEPREFIX=prefix,
                       TARNEL_PROBE_ORDERS="Z:" + orders.replace("/", "\\"))
    try:
        program = subprocess.Popen(command, env=environment)
        while program.poll() is None:
            if os.path.isdir(devices):
                carry_out(probe, orders)
            time.sleep(0.001)
        return program.returncode
    finally:
        probe.unplug()
        if os.path.lexists(probe.link):
            os.unlink(probe.link)
        shutil.rmtree(orders, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
