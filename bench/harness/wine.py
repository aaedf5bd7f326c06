"""Wine in a prefix of its own, so that its server serves nothing but what is measured."""
import os
import subprocess
import time

from harness.processes import Failure, PATIENCE


WINE_PREFIX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cmake", "wine-prefix")


class Wine:
    def __init__(self, prefix):
        self.prefix = os.path.abspath(prefix)
        prepared = subprocess.run([WINE_PREFIX, self.prefix], stdout=subprocess.PIPE, text=True, timeout=300,
                                  check=False)
        if prepared.returncode != 0:
            raise Failure("Wine is not ready")
        self.wine = prepared.stdout.strip()
        self.env = dict(os.environ, WINEPREFIX=self.prefix, WINEDEBUG="-all",
                        WINEDLLOVERRIDES="winedbg.exe=d;mscoree=;mshtml=")

    def command(self, program, *arguments):
        return [self.wine, program, *arguments]

    @staticmethod
    def path(path):
        """A path of this system as Windows programs see it."""
        return "Z:" + os.path.abspath(path).replace("/", "\\")

    def plug(self, port, device):
        """Lets COM<port> be the device; a link that is replaced when it is there already."""
        link = os.path.join(self.prefix, "dosdevices", f"com{port}")
        if os.path.lexists(link):
            os.unlink(link)
        os.symlink(device, link)

    def server(self):
        """Process id of the prefix's server, which a program that was just started is about to start."""
        limit = time.monotonic() + PATIENCE
        while time.monotonic() < limit:
            found = self.running_server()
            if found:
                return found
            time.sleep(0.01)
        raise Failure("the prefix's wineserver was not found")

    def running_server(self):
        """None while there is none. The server works in a folder named after the prefix."""
        info = os.stat(self.prefix)
        folder = f"server-{info.st_dev:x}-{info.st_ino:x}"
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/comm") as file:
                    if file.read().startswith("wineserver") and \
                            os.path.basename(os.readlink(f"/proc/{pid}/cwd")) == folder:
                        return int(pid)
            except OSError:
                continue
        return None
