"""Wine in a prefix of its own, so that its server serves nothing but what is measured."""
import os
import shutil
import subprocess
import time

from harness.processes import Failure, PATIENCE


def find():
    for name in ("/usr/lib/wine/wine64", "wine64", "wine"):
        path = shutil.which(name)
        if path:
            return path
    return None


class Wine:
    def __init__(self, prefix):
        self.wine = find()
        if self.wine is None:
            raise Failure("no wine64 found")
        self.prefix = os.path.abspath(prefix)
        os.makedirs(self.prefix, exist_ok=True)
        self.env = dict(os.environ, WINEPREFIX=self.prefix, WINEDEBUG="-all",
                        WINEDLLOVERRIDES="winedbg.exe=d;mscoree=;mshtml=")
        if not os.path.exists(os.path.join(self.prefix, "system.reg")):
            subprocess.run([self.wine, "wineboot", "--init"], env=self.env, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, timeout=300, check=True)

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
