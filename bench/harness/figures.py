"""What a benchmark found: figures, each with the goal that it has."""
import operator

GOALS = {"at least": operator.ge, "at most": operator.le}


def figure(what, against, values, unit="", goal=None):
    """One line of the table.

    `values` is a summary (median, min, max, rounds); `unit` is empty for a ratio; `goal` is ("at least" or "at
    most", number) and concerns the median.
    """
    entry = {"what": what, "against": against, "unit": unit, **values}
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


def row(name, entry):
    unit = f" {entry['unit']}" if entry["unit"] else ""
    spread = f"{number(entry['min'])} to {number(entry['max'])}" if entry["rounds"] > 1 else ""
    verdict = ("yes" if entry["met"] else "NO") if "met" in entry else ""
    return [name, entry["what"], entry["against"], number(entry["median"]) + unit, spread, entry.get("goal", ""),
            verdict]


def table(records):
    """All figures of {benchmark: record} as text, columns aligned."""
    rows = [["benchmark", "what", "against", "median", "min to max", "goal", "met"]]
    for name, record in records.items():
        rows += [row(name, entry) for entry in record["figures"]]
    widths = [max(len(line[i]) for line in rows) for i in range(len(rows[0]))]
    rows.insert(1, ["-" * width for width in widths])
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip() for line in rows)
