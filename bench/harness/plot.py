"""Draws curves with logarithmic axes as SVG, with a dashed line that shows linear growth from the first point."""
import math
from dataclasses import dataclass
from html import escape

WIDTH, HEIGHT = 460, 340
LEFT, RIGHT, TOP, BOTTOM = 64, 16, 40, 52
COLOURS = ["#1f6fb2", "#c2571a"]


@dataclass
class Panel:
    title: str
    x_label: str
    y_label: str
    points: list
    x: str


class Axes:
    def __init__(self, panel, curves):
        xs = [point[panel.x] for point in panel.points]
        ys = [point[key] for point in panel.points for key in curves]
        self.low_x, self.high_x = min(xs), max(xs)
        self.low_y = 10 ** math.floor(math.log10(min(ys)))
        self.high_y = 10 ** math.ceil(math.log10(max(max(ys), min(ys) * self.high_x / self.low_x)))

    def place(self, x, y):
        across = math.log(x / self.low_x) / math.log(self.high_x / self.low_x)
        up = math.log(y / self.low_y) / math.log(self.high_y / self.low_y)
        return (LEFT + across * (WIDTH - LEFT - RIGHT), HEIGHT - BOTTOM - up * (HEIGHT - TOP - BOTTOM))


def text(x, y, content, extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {extra}>{escape(content)}</text>'


def line(points, extra):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline points="{path}" fill="none" {extra}/>'


def grid(panel, axes):
    parts = []
    value = axes.low_y
    while value <= axes.high_y * 1.001:
        _, y = axes.place(axes.low_x, value)
        parts.append(line([(LEFT, y), (WIDTH - RIGHT, y)], 'stroke="#ddd"'))
        parts.append(text(LEFT - 6, y + 4, f"{value:g}", 'text-anchor="end"'))
        value *= 10
    for point in panel.points:
        x, _ = axes.place(point[panel.x], axes.low_y)
        parts.append(text(x, HEIGHT - BOTTOM + 16, f"{point[panel.x]:g}", 'text-anchor="middle"'))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, panel.x_label, 'text-anchor="middle"'))
    parts.append(text(16, (TOP + HEIGHT - BOTTOM) / 2, panel.y_label,
                      f'text-anchor="middle" transform="rotate(-90 16 {(TOP + HEIGHT - BOTTOM) / 2:.0f})"'))
    return parts


def draw_panel(panel, curves, offset):
    axes = Axes(panel, curves)
    parts = [f'<g transform="translate({offset} 0)">', text(LEFT, 22, panel.title, 'font-weight="bold"'),
             *grid(panel, axes)]
    for number, (key, label) in enumerate(curves.items()):
        colour = COLOURS[number]
        places = [axes.place(point[panel.x], point[key]) for point in panel.points]
        first = panel.points[0][key]
        steepest = first * axes.high_x / axes.low_x
        parts.append(line([places[0], axes.place(axes.high_x, steepest)],
                          f'stroke="{colour}" stroke-dasharray="3 4" opacity="0.6"'))
        parts.append(line(places, f'stroke="{colour}" stroke-width="2"'))
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in places]
        parts.append(text(LEFT + 10, TOP + 16 + 16 * number, label, f'fill="{colour}"'))
    parts.append(text(LEFT + 10, TOP + 16 + 16 * len(curves), "dashed: linear growth", 'fill="#666"'))
    return [*parts, "</g>"]


def write(path, panels, curves):
    """Draws the panels side by side. `curves` is {key of a point: label}."""
    width = WIDTH * len(panels)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{HEIGHT}" '
             f'viewBox="0 0 {width} {HEIGHT}" font-family="sans-serif" font-size="12">',
             f'<rect width="{width}" height="{HEIGHT}" fill="white"/>']
    for number, panel in enumerate(panels):
        parts += draw_panel(panel, curves, number * WIDTH)
    with open(path, "w") as file:
        file.write("\n".join([*parts, "</svg>"]) + "\n")
