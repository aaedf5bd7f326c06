#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: run_host.py SWOSOURCE FOLDER COMMAND...

Runs the independent host's command with the name of an SWO stream in TARNEL_SWO_STREAM: the recording of a real target that
TARNEL_SWO_RECORDING names or, where that is not at hand, a stream of all kinds of packets that swosource plays. Says which
one it is. FOLDER is for files of the run. Exit status: 0 when the command ended with 0 and said that it passed, else not 0.
"""
import os
import subprocess
import sys
import time

BYTES = 16000
LIMIT = 60  # seconds
PASSED = "independent host: passed"


def play(swosource, folder):
    """The path of a file with what swosource has played."""
    if not os.path.exists(swosource):
        sys.exit(f"{swosource} is not there: build the preset linux first")
    link, path = os.path.join(folder, "stream_port"), os.path.join(folder, "stream.bin")
    playing = subprocess.Popen([swosource, "--enabled", "--clock", "48000000", "--prescaler", "23", "--rate", "max",
                                "--baud-check", "off", "--bytes", str(BYTES), "--link", link, "--record", path])
    end = time.monotonic() + LIMIT
    while not os.path.exists(link) and playing.poll() is None and time.monotonic() < end:
        time.sleep(0.01)
    port = os.open(link, os.O_RDONLY | os.O_NOCTTY | os.O_NONBLOCK)
    while playing.poll() is None and time.monotonic() < end:
        try:
            os.read(port, 4096)
        except BlockingIOError:
            time.sleep(0.001)
        except OSError:  # its other end is closed
            break
    os.close(port)
    if playing.wait(LIMIT) != 0 or os.path.getsize(path) != BYTES:
        sys.exit(f"{swosource} did not play {BYTES} bytes")
    return path


def run(command):
    """Its exit status; 1 where that is 0 and the pass line did not come."""
    running = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, errors="replace")
    passed = False
    for line in running.stdout:
        print(line, end="", flush=True)
        passed = passed or line.strip() == PASSED
    return running.wait() or (0 if passed else 1)


def main():
    swosource, folder, *command = sys.argv[1:]
    stream = os.environ.get("TARNEL_SWO_RECORDING", "")
    if os.path.exists(stream):
        print(f"SWO stream: a recording of a real target, {stream}", flush=True)
    else:
        stream = play(swosource, folder)
        print(f"SWO stream: {BYTES} bytes by {swosource}", flush=True)
    os.environ["TARNEL_SWO_STREAM"] = "Z:" + os.path.abspath(stream).replace("/", "\\")
    return run(command)


if __name__ == "__main__":
    sys.exit(main())
