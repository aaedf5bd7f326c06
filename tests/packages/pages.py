"""Links of installed documents."""
import os
import re

LINK = re.compile(r"\[([^][]*)\]\(([^()]*)\)")


def dead_links(root):
    """All pages below a folder, how many links to files they have, and those that lead nowhere."""
    pages, links, dead = [], 0, []
    for folder, _, names in os.walk(root):
        for name in names:
            if not name.endswith(".md"):
                continue
            path = os.path.join(folder, name)
            pages.append(os.path.relpath(path, root))
            with open(path, encoding="utf-8") as page:
                targets = [target for _, target in LINK.findall(page.read())]
            targets = [target.split("#")[0] for target in targets if not re.match(r"https?:|mailto:|#", target)]
            links += len(targets)
            dead += [(pages[-1], target) for target in targets if not os.path.exists(os.path.join(folder, target))]
    return pages, links, dead


def without_links(text):
    return LINK.sub(r"\1", text)
