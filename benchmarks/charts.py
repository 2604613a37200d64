#!/usr/bin/python3
"""Draws ratios.svg and scale.svg from the tables that bench prints, or puts these into a page first.

Usage: benchmarks/charts.py TABLES FOLDER        draws the tables in FOLDER
       benchmarks/charts.py TABLES FOLDER PAGE   replaces or adds their rows in PAGE, and draws PAGE's tables
"""

import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt

# The same figures give the same file, and texts stay texts.
matplotlib.rcParams.update({"svg.hashsalt": "bench", "svg.fonttype": "none", "font.size": 9})

OURS, MISSED, TARGET, PEER = "#2f6fab", "#c0504d", "#222222", "#999999"


def tables(lines):
    """Each table as a list of rows; each row maps a heading to the text of its cell."""
    heads = None
    for line in lines:
        if not line.startswith("|"):
            heads = None
            continue
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if heads is None:
            heads, rows = cells, []
            yield rows
        elif not all(set(cell) <= set("-:") and cell for cell in cells):
            rows.append(dict(zip(heads, cells)))


def key(line):
    """What a line of a table is about: operation and input."""
    return tuple(line.split("|")[1:3])


def merge(new, page):
    """The page with the new lines in place of those about the same, and what else is new at the end of its table."""
    fresh, rows = {}, None
    for line in new:
        if not line.startswith("|"):
            rows = None
        elif rows is None:
            rows = fresh.setdefault(line, {})  # by the heading of the table
        else:
            rows[key(line)] = line
    merged, rows = [], {}
    for line in [*page, ""]:
        if not line.startswith("|"):
            merged += rows.values()
            rows = {}
        elif line in fresh:
            rows = fresh[line]
        else:
            line = rows.pop(key(line), line)
        merged.append(line)
    return merged[:-1]


def number(text):
    return float(re.search(r"[\d.]+", text).group())


def save(figure, path):
    figure.savefig(path, metadata={"Date": None}, facecolor="white", bbox_inches="tight")
    plt.close(figure)


def draw_ratios(rows, path):
    widest = 1.35  # what is longer is cut off; its figure stands beside
    figure, axes = plt.subplots(figsize=(9, 0.8 + 0.22 * len(rows)))
    for place, row in enumerate(rows):
        ratio = number(row["Ratio"])
        axes.barh(place, min(ratio, widest), height=0.66, color=MISSED if "missed" in row["Ratio"] else OURS)
        axes.text(widest + 0.12, place, row["Ratio"].split()[0], va="center", ha="right")
        if row["Target"]:
            axes.plot([number(row["Target"])] * 2, [place - 0.45, place + 0.45], color=TARGET, linewidth=2)
    axes.axvline(1, color=PEER, linewidth=1, zorder=0)
    axes.set_yticks(range(len(rows)), [f"{row['Operation']}: {row['Input']}" for row in rows])
    axes.set_ylim(len(rows) - 0.4, -0.6)
    axes.set_xlim(0, widest + 0.12)
    axes.xaxis.tick_top()
    axes.spines[["right", "bottom"]].set_visible(False)
    axes.set_title("Time of ours / time of the best peer (1: equal; black mark: the target; red: missed)", loc="right")
    save(figure, path)


def draw_scale(rows, path):
    operations = list(dict.fromkeys(row["Operation"] for row in rows))
    figure, all_axes = plt.subplots(2, 3, figsize=(9.5, 5.6), layout="constrained")
    for axes, operation in zip(all_axes.flat, operations):
        mine = [row for row in rows if row["Operation"] == operation]
        for heading, colour, label in ("Ours", OURS, "ours"), ("Best peer", PEER, "best peer"):
            points = [(number(row["Input"].replace(",", "")), number(row[f"{heading}, µs per file"]),
                       "one folder" in row["Input"]) for row in mine]
            one = [(count, time) for count, time, in_one in points if in_one]
            more = [(count, time) for count, time, in_one in points if not in_one]
            axes.plot(*zip(*one), "o-", color=colour, label=f"{label}, one folder")
            if more:
                axes.plot(*zip(*more), "D", color=colour, markerfacecolor="white", label=f"{label}, many folders")
        axes.set_xscale("log")
        axes.set_xticks([10_000, 100_000, 1_000_000], ["10,000", "100,000", "1,000,000"])
        axes.minorticks_off()
        axes.set_ylim(0, 1.08 * axes.get_ylim()[1])
        axes.set_title(operation)
        axes.set_xlabel("files")
        axes.set_ylabel("µs of processor time per file")
        axes.spines[["right", "top"]].set_visible(False)
    for axes in all_axes.flat[len(operations):]:
        axes.axis("off")
    all_axes.flat[-1].legend(*all_axes.flat[0].get_legend_handles_labels(), loc="center", frameon=False)
    save(figure, path)


def main(markdown, folder, page=None):
    lines = pathlib.Path(markdown).read_text().splitlines()
    if page:
        lines = merge(lines, pathlib.Path(page).read_text().splitlines())
        pathlib.Path(page).write_text("\n".join(lines) + "\n")
    for rows in list(tables(lines)):
        if rows and "Target" in rows[0]:
            draw_ratios(rows, f"{folder}/ratios.svg")
        elif rows and "Growth" in rows[0]:
            draw_scale(rows, f"{folder}/scale.svg")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__.strip())
    main(*sys.argv[1:])
