"""usage: test_windows_host_kit.py BUILD_TREE [TEST...]

Installs the Windows build into an empty folder, builds the example host against it with the cross compiler, from its CMake
package and with pkg-config, and records with it under Wine.
"""
import os
import shutil
import subprocess
import sys
import tempfile

BUILD = os.path.abspath(sys.argv.pop(1))
HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "end_to_end"))
from example_host import ExampleHost  # noqa: E402
from hosting import HostTest, LIMIT, main  # noqa: E402


class WindowsHostKit(ExampleHost, HostTest):
    windows_tree = BUILD

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(prefix="tarnel_kit_")
        cls.root = os.path.join(cls.place, "installed")
        done = subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.root], text=True, capture_output=True,
                              timeout=LIMIT, check=False)
        if done.returncode != 0:
            raise AssertionError(done.stdout + done.stderr)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)


if __name__ == "__main__":
    main()
