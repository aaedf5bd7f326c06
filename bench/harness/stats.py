"""Figures as ratios: two things measured in turn, compared round by round."""
import statistics


def summary(values):
    """Median, minimum and maximum of some numbers."""
    return {"median": statistics.median(values), "min": min(values), "max": max(values), "rounds": len(values)}


def ratio(rounds, subject, baseline, quantity):
    """The quantity of `subject` over that of `baseline`, round by round.

    `rounds` is a list of {name: {quantity: number}}, one entry for each round.
    """
    return summary([one[subject][quantity] / one[baseline][quantity] for one in rounds])


def tail(points):
    """The last three of some points, where a curve that bends upwards is steepest."""
    return points[-3:]


def slope(points):
    """Exponent of the power law that fits (x, y) best: 1 is linear, 0 is constant."""
    import math
    logs = [(math.log(x), math.log(y)) for x, y in points]
    mean_x = statistics.fmean(x for x, _ in logs)
    mean_y = statistics.fmean(y for _, y in logs)
    above = sum((x - mean_x) * (y - mean_y) for x, y in logs)
    return above / sum((x - mean_x) ** 2 for x, _ in logs)
