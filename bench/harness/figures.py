"""What a benchmark found: figures, each with the goal that it has."""
import json
import operator
import os

WIDEST = 2  # largest round by the smallest
GOALS = {"at least": operator.ge, "at most": operator.le}


def figure(what, against, values, unit="", goal=None, wine=False):
    """One cell of the table: the line is that of `what` and `against`, the column that of the platform.

    `values` is a summary (median, min, max, rounds); `unit` is empty for a ratio; `goal` is ("at least" or "at
    most", number) and concerns the median.
    """
    entry = {"what": what, "against": against, "platform": "wine" if wine else "native", "unit": unit, **values}
    if goal:
        entry["goal"] = f"{goal[0]} {goal[1]}"
        entry["met"] = bool(GOALS[goal[0]](values["median"], goal[1]))
    return entry


def number(value):
    if value == 0:
        return "0"
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.3g}" if abs(value) < 1 and abs(value) < 0.995 else f"{value:.3f}"[:5].rstrip(".")


def is_wide(entry):
    """Whether its rounds differ so much that their median says little."""
    return entry["max"] > WIDEST * entry["min"]


def cell(entry, missed=" NO", wide=" WIDE"):
    """Median, and where it was measured more than once the smallest and largest; `missed` behind a missed goal, `wide`
    behind rounds that differ by more than a factor of two."""
    if entry is None:
        return ""
    unit = f" {entry['unit']}" if entry["unit"] else ""
    spread = f" ({number(entry['min'])} to {number(entry['max'])})" if entry["rounds"] > 1 else ""
    return (number(entry["median"]) + unit + spread + ("" if entry.get("met", True) else missed) +
            (wide if is_wide(entry) else ""))


def rows_of(records, **marks):
    """The figures of {benchmark: record}, a row for what is measured on both platforms; `marks` as in cell."""
    lines = {}
    for record in records.values():
        for entry in record["figures"]:
            lines.setdefault((entry["what"], entry["against"]), {})[entry["platform"]] = entry
    rows = [["what", "against", "goal", "native", "under Wine"]]
    for (what, against), found in lines.items():
        goal = next((entry["goal"] for entry in found.values() if "goal" in entry), "")
        rows.append([what, against, goal, cell(found.get("native"), **marks), cell(found.get("wine"), **marks)])
    return rows


def without_wide(record):
    """Without the figures whose rounds differ too much, unless a goal goes with them."""
    return {**record, "figures": [entry for entry in record["figures"] if "goal" in entry or not is_wide(entry)]}


def markdown(records):
    """The figures as a table of Markdown. Of those whose rounds differ by more than a factor of two only the ones with a
    goal."""
    records = {name: without_wide(record) for name, record in records.items()}
    rows = rows_of(records, missed=" **missed**", wide=" (wide)")
    rows.insert(1, ["---"] * len(rows[0]))
    return "\n".join("| " + " | ".join(row) + " |" for row in rows)


def kept(names, results):
    """What earlier runs have left of these benchmarks in the folder `results`: {benchmark: record}."""
    found = {}
    for name in names:
        path = os.path.join(results, name + ".json")
        if os.path.exists(path):
            with open(path) as file:
                found[name] = json.load(file)
    return found


def table(records):
    """All figures as text, columns aligned; the benchmarks' notes below."""
    rows = rows_of(records)
    widths = [max(len(line[i]) for line in rows) for i in range(len(rows[0]))]
    rows.insert(1, ["-" * width for width in widths])
    text = ["  ".join(entry.ljust(width) for entry, width in zip(line, widths)).rstrip() for line in rows]
    notes = {}
    for name, record in records.items():
        if "note" in record:
            notes.setdefault(record["note"], []).append(name)
    notes = [f"{', '.join(names)}: {note}" for note, names in notes.items()]
    return "\n".join([*text, "", "Median (smallest to largest of the rounds); NO: a goal that was missed; WIDE: rounds that "
                      "differ by more than a factor of two.", *notes])
