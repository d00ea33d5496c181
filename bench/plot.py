"""Draws the growth of times with the number of links, as SVG that fits light and dark pages."""

import json
import math
import sys

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 590, 40, 350

STYLE = """
  text { font: 13px sans-serif; fill: #57606a; }
  .title { font-weight: bold; }
  .axis { stroke: #57606a; }
  .grid { stroke: #8c959f; stroke-opacity: 0.3; }
  polyline { fill: none; stroke: var(--color); stroke-width: 2; }
  circle, .name { fill: var(--color); }
  .limit { stroke-dasharray: 5 4; stroke-width: 1.5; }
  .c0 { --color: #0969da; } .c1 { --color: #bc4c00; }
  .c2 { --color: #1a7f37; } .c3 { --color: #8250df; }
  @media (prefers-color-scheme: dark) {
    text { fill: #9198a1; }
    .axis { stroke: #9198a1; }
    .c0 { --color: #4493f8; } .c1 { --color: #f0883e; }
    .c2 { --color: #3fb950; } .c3 { --color: #ab7df8; }
  }
"""

# File, part of the results, title, and what the vertical axis shows.  On a disk, noise hides
# the growth.
DIAGRAMS = [
    ("operations.svg", "operations", "Median time of an operation, as root, on tmpfs", "µs"),
    ("commands.svg", "commands", "Time of a command, on tmpfs", "s"),
]


class Axis:
    """A logarithmic axis from `start` to `end` on the page, for these values."""

    def __init__(self, values, start, end):
        self._low, self._high = math.log10(min(values)), math.log10(max(values))
        margin = 0.05 * (self._high - self._low) or 0.1
        self._low, self._high = self._low - margin, self._high + margin
        self._start, self._end = start, end

    def position(self, value):
        part = (math.log10(value) - self._low) / (self._high - self._low)
        return round(self._start + part * (self._end - self._start), 1)

    def ticks(self):
        """Powers of ten; between few of them, also two and five times these."""
        steps = (1,) if self._high - self._low > 2.5 else (1, 2, 5)
        ticks = (step * 10.0 ** power for step in steps
                 for power in range(math.floor(self._low), math.ceil(self._high) + 1))
        return sorted(tick for tick in ticks if self._low <= math.log10(tick) <= self._high)


def curves(rows, part):
    """For each name the points of ours and of the limit."""
    found = {}
    for row in rows:
        if row["part"] == part and row["place"] == "tmpfs" and row["account"] == "root":
            ours, limit = found.setdefault(row["name"], ([], []))
            ours.append((row["links"], row["ours"]))
            if "limit" in row:
                limit.append((row["links"], row["limit"]))
    return {name: tuple(map(sorted, both)) for name, both in found.items()}


def text(x, y, words, anchor="start", kind=""):
    kind = f' class="{kind}"' if kind else ""
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{kind}>{words}</text>'


def line(x1, y1, x2, y2, kind):
    return f'<line x1="{x1}" y1="{y1}" x2="{x2}" y2="{y2}" class="{kind}"/>'


def axes(across, up, title, unit):
    yield text(LEFT, 20, title, kind="title")
    yield text(LEFT - 8, TOP - 4, unit, "end")
    yield text((LEFT + RIGHT) / 2, HEIGHT - 10, "links", "middle")
    for tick in up.ticks():
        y = up.position(tick)
        yield line(LEFT, y, RIGHT, y, "grid")
        yield text(LEFT - 8, y + 4, f"{tick:g}", "end")
    for tick in across.ticks():
        x = across.position(tick)
        yield line(x, TOP, x, BOTTOM, "grid")
        yield text(x, BOTTOM + 18, f"{tick:,.0f}".replace(",", " "), "middle")
    yield line(LEFT, TOP, LEFT, BOTTOM, "axis")
    yield line(LEFT, BOTTOM, RIGHT, BOTTOM, "axis")


def label_heights(heights):
    """Moves labels apart that would cover each other."""
    placed = {}
    for name, height in sorted(heights.items(), key=lambda item: item[1]):
        placed[name] = max(height, max(placed.values(), default=-math.inf) + 16)
    return placed


def diagram(found, title, unit):
    """The lines of an SVG file."""
    points = [point for both in found.values() for one in both for point in one]
    across = Axis([links for links, _ in points], LEFT, RIGHT)
    up = Axis([value for _, value in points], BOTTOM, TOP)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
           f'width="{WIDTH}" height="{HEIGHT}">')
    yield f"<style>{STYLE}</style>"
    yield from axes(across, up, title, unit)
    labels = label_heights({name: up.position(ours[-1][1]) for name, (ours, _) in found.items()})
    for number, (name, both) in enumerate(found.items()):
        yield f'<g class="c{number}">'
        for one, kind in zip(both, ("ours", "limit")):
            at = [(across.position(links), up.position(value)) for links, value in one]
            path = " ".join(f"{x},{y}" for x, y in at)
            yield f'<polyline class="{kind}" points="{path}"/>'
            if kind == "ours":
                yield from (f'<circle cx="{x}" cy="{y}" r="3"/>' for x, y in at)
        yield text(RIGHT + 8, labels[name] + 4, name, kind="name")
        yield "</g>"
    if any(limit for _, limit in found.values()):
        yield text(RIGHT, HEIGHT - 10, "dashed: the limit", "end")
    yield "</svg>"


def draw(files, folder):
    """Draws each diagram for which the files have two numbers of links or more."""
    rows = [row for file in files
            for row in json.loads(file.read_text(encoding="utf-8"))["rows"]]
    drawn = False
    for name, part, title, unit in DIAGRAMS:
        found = {key: both for key, both in curves(rows, part).items() if len(both[0]) > 1}
        if found:
            drawn = True
            folder.mkdir(parents=True, exist_ok=True)
            (folder / name).write_text("\n".join(diagram(found, title, unit)) + "\n",
                                       encoding="utf-8")
    if not drawn:
        sys.exit("bench: the files have results for one number of links only")
