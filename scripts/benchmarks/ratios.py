"""The file of ratios of an earlier run, and what has grown worse since."""

import json

from measuring import LIBRARY

TOLERANCE = 1.25


def flat(measured_rows):
    """All ratios, by "row/case/side", and the library's figures that have a goal, by "row/case/figure". Less is better."""
    found = {}
    for row, measured in measured_rows:
        for name, ratio in measured.ratios().items():
            found[f"{row.name}/{name}"] = round(ratio, 3)
        for case, sides in measured.cases.items():
            figures = sides[LIBRARY].figures if LIBRARY in sides else {}
            for figure in figures.keys() & row.figure_goals.keys():
                found["/".join(filter(None, [row.name, case, figure]))] = round(figures[figure], 3)
    return found


def worse(stored, now):
    """One line for each ratio that is a quarter worse than the stored one, or that is not measured any more."""
    lines = []
    for name, before in stored.items():
        if name not in now:
            lines.append(f"{name}: {before} is stored, but was not measured")
        elif now[name] > TOLERANCE * before:
            lines.append(f"{name}: {now[name]} is {now[name] / before:.2f} times the stored {before}")
    return lines


def read(path):
    return json.loads(path.read_text(encoding="utf-8"))


def write(path, ratios):
    path.write_text(json.dumps(ratios, indent=2) + "\n", encoding="utf-8")
