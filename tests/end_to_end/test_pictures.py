"""The README's terminal picture is drawn from what the programs say."""
import os
import re
import subprocess
import xml.etree.ElementTree

from hosting import LIMIT, HostTest, main

PICTURES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "pictures")
SVG = "{http://www.w3.org/2000/svg}"


# What only a machine without time for the recording brings about.
LOST_ON_THE_WAY = re.compile("between pin and file|had to drop")


def plain(lines):
    """Lines with 0 for every number, and with one blank where they are aligned."""
    return [" ".join(re.sub(r"\d[\d.,]*", "0", line).split()) for line in lines]


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

    def test_the_terminal_shows_what_the_commands_say_but_for_the_numbers(self):
        for _ in range(3):
            now, kept = self.draw("terminal")
            if not any(map(LOST_ON_THE_WAY.search, now)):
                break
        else:
            self.skipTest("the machine had no time: bytes were lost in each of three recordings")
        self.assertEqual(plain(now), plain(kept))
        self.assertIn("VERDICT good (sure): ITM packets, 0 % of the bytes", plain(kept))


if __name__ == "__main__":
    main()
