#!/usr/bin/python3
"""Draws ratios.svg and scale.svg from the tables that bench prints, or that docs/performance.md holds.

Usage: benchmarks/charts.py MARKDOWN FOLDER
"""

import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt

# The same figures give the same file, and texts stay texts.
matplotlib.rcParams.update({"svg.hashsalt": "bench", "svg.fonttype": "none", "font.size": 9})

OURS, MISSED, TARGET, PEER = "#2f6fab", "#c0504d", "#222222", "#999999"


def tables(path):
    """Each table as a list of rows; each row maps a heading to the text of its cell."""
    heads = None
    for line in open(path, encoding="utf-8"):
        if not line.startswith("|"):
            heads = None
            continue
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if heads is None:
            heads, rows = cells, []
            yield rows
        elif not all(set(cell) <= set("-:") and cell for cell in cells):
            rows.append(dict(zip(heads, cells)))


def number(text):
    return float(re.match(r"[\d.]+", text).group())


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
        axes.set_ylim(bottom=0)
        axes.set_title(operation)
        axes.set_xlabel("files")
        axes.set_ylabel("µs of processor time per file")
        axes.spines[["right", "top"]].set_visible(False)
    for axes in all_axes.flat[len(operations):]:
        axes.axis("off")
    all_axes.flat[-1].legend(*all_axes.flat[0].get_legend_handles_labels(), loc="center", frameon=False)
    save(figure, path)


def main(markdown, folder):
    for rows in list(tables(markdown)):
        if rows and "Target" in rows[0]:
            draw_ratios(rows, f"{folder}/ratios.svg")
        elif rows and "Growth" in rows[0]:
            draw_scale(rows, f"{folder}/scale.svg")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    main(sys.argv[1], sys.argv[2])
