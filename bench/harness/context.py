"""Where a run finds its programs and puts its files."""
import json
import os
import platform
import shutil
import sys
import time


QUIET = 0.95  # of the processors' time is idle


class Context:
    """`linux` and `windows` are build trees; files go into the former."""

    def __init__(self, linux, windows, rounds, smoke):
        self.linux, self.windows_tree = os.path.abspath(linux), os.path.abspath(windows)
        self.rounds, self.smoke = rounds, smoke
        self.work = os.path.join(self.linux, "bench", f"work-{os.getpid()}")
        os.makedirs(self.work)
        self.log = open(os.path.join(self.work, "stderr.log"), "ab")
        self.label = ""
        self.own_wine = None

    def close(self):
        self.log.close()
        shutil.rmtree(self.work, ignore_errors=True)

    def native(self, program):
        return os.path.join(self.linux, "bin", program)

    def windows(self, program):
        return os.path.join(self.windows_tree, "bin", program)

    @property
    def wine(self):
        if self.own_wine is None:
            from harness.wine import Wine
            self.own_wine = Wine(os.path.join(self.windows_tree, "bench", "wine"))
        return self.own_wine

    def path(self, name):
        return os.path.join(self.work, name)

    def progress(self, text):
        if sys.stderr.isatty():
            print(f"\r\033[K{self.label}: {text}", end="", file=sys.stderr, flush=True)

    def clear_progress(self):
        if sys.stderr.isatty():
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def cpu_model():
    with open("/proc/cpuinfo") as file:
        for line in file:
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    return platform.machine()


def machine():
    """The machine and its load now, for the record."""
    with open("/proc/meminfo") as file:
        memory = int(file.readline().split()[1]) // (1 << 20)
    return {"cpu": cpu_model(), "cpus": os.cpu_count(), "memory_gib": memory, "kernel": platform.release(),
            "load_average": [round(value, 2) for value in os.getloadavg()],
            "nice": os.getpriority(os.PRIO_PROCESS, 0),
            "date": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime())}


def idle_share(seconds):
    """How much of the processors' time nothing used, from now on for that long."""
    def look():
        with open("/proc/stat") as file:
            ticks = [int(word) for word in file.readline().split()[1:9]]
        return ticks[3] + ticks[4], sum(ticks)  # idle, and idle for the disk

    before = look()
    time.sleep(seconds)
    after = look()
    return round((after[0] - before[0]) / max(1, after[1] - before[1]), 3)


def await_quiet(patience=60):
    """Waits for a second in which the machine has next to nothing to do. How idle it was in the last one looked at."""
    limit = time.monotonic() + patience
    while (idle := idle_share(1)) < QUIET and time.monotonic() < limit:
        pass
    return idle


def save(folder, name, record):
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, name + ".json")
    with open(path + ".new", "w") as file:
        json.dump(record, file, indent=1)
        file.write("\n")
    os.replace(path + ".new", path)
