"""The results of scripts/bench: rows, their table and their file."""

import datetime
import json
import os
import platform
import sqlite3
import statistics

HEADER = ("links", "part", "", "place", "account", "ours", "limit", "unit", "ratio", "quartiles")
FASTER_IS_MORE = ("1/s",)


def quartiles(values):
    """The first quartile, the median and the third quartile."""
    if len(values) == 1:
        return values * 3
    return statistics.quantiles(values, n=4, method="inclusive")


def row(links, part, name, unit, ours, limit, place="", account=""):
    """A line of the table.

    `ours` and `limit` are what was measured, a figure for each round; `limit` may be empty.  The
    ratio is the speed of ours: above 1, ours is faster.
    """
    result = {"links": links, "part": part, "name": name, "place": place, "account": account,
              "unit": unit, "ours": statistics.median(ours), "rounds": len(ours)}
    if limit:
        result["limit"] = statistics.median(limit)
        pairs = zip(ours, limit) if unit in FASTER_IS_MORE else zip(limit, ours)
        ratios = [top / bottom for top, bottom in pairs if bottom != 0]
        if ratios:
            result["ratio"] = quartiles(ratios)
    return result


def growth(rows):
    """How much slower the last number of links is than the first one, as rows."""
    first, last = min(row["links"] for row in rows), max(row["links"] for row in rows)
    if first == last:
        return []
    def key(line):
        return tuple(line[name] for name in ("part", "name", "place", "account"))
    before = {key(line): line for line in rows if line["links"] == first}
    result = []
    for line in rows:
        if line["links"] != last or line["part"] != "operations" or key(line) not in before:
            continue
        was = before[key(line)]
        result.append(row(last, "growth", line["name"], "times",
                          [line["ours"] / was["ours"]], [line["limit"] / was["limit"]],
                          line["place"], line["account"]))
    return result


def short(value):
    """A number with three digits, or all those before the point."""
    if value is None:
        return "-"
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def table(rows):
    lines = [HEADER]
    for line in rows:
        ratio = line.get("ratio")
        lines.append((str(line["links"]), line["part"], line["name"], line["place"],
                      line["account"], short(line["ours"]), short(line.get("limit")),
                      line["unit"], f"{ratio[1]:.2f}" if ratio else "-",
                      f"{ratio[0]:.2f} to {ratio[2]:.2f}" if ratio else "-"))
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADER))]
    numbers = [HEADER.index(name) for name in ("links", "ours", "limit", "ratio")]
    text = "\n".join("  ".join(
        cell.rjust(width) if column in numbers else cell.ljust(width)
        for column, (cell, width) in enumerate(zip(line, widths))).rstrip() for line in lines)
    return f"{text}\n\nratio: limit / ours, or ours / limit for 1/s; above 1, ours is faster."


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


def write(rows, path):
    document = {"date": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
                "processor": processor(), "processors": os.cpu_count(),
                "kernel": platform.release(), "sqlite": sqlite3.sqlite_version, "rows": rows}
    path.write_text(json.dumps(document, indent=1) + "\n", encoding="utf-8")
