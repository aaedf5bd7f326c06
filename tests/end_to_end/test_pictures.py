"""The README's terminal picture is drawn from what the programs say."""
import os
import subprocess
import xml.etree.ElementTree

from hosting import LIMIT, HostTest, main

PICTURES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "pictures")
SVG = "{http://www.w3.org/2000/svg}"


class Pictures(HostTest):
    def draw(self, name):
        """The texts in a picture that is drawn now, and in the one that is kept."""
        now = os.path.join(self.folder, name + ".svg")
        build = os.path.dirname(os.environ["TARNEL_BIN"])
        result = subprocess.run([os.path.join(PICTURES, "draw_" + name), build, now], text=True, capture_output=True,
                                timeout=LIMIT * 4, check=False)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        kept = os.path.join(PICTURES, name + ".svg")
        return [[text.text or "" for text in xml.etree.ElementTree.parse(path).iter(SVG + "text")] for path in (now, kept)]

    def test_the_terminal_shows_the_same_commands_and_the_verdict(self):
        now, kept = ([text for text in texts if text.startswith(("$ ", "VERDICT"))] for texts in self.draw("terminal"))
        self.assertEqual(now, kept)
        self.assertTrue(any(text.startswith("VERDICT  good") for text in now), now)


if __name__ == "__main__":
    main()
