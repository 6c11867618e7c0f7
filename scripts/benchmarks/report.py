"""What a run measured, as lines for the terminal and as tables for docs/performance.md."""

from measuring import LIBRARY

BEGIN = "<!-- measured: written by ./dev bench --write -->"
END = "<!-- end of what is measured -->"


def time_text(microseconds):
    if microseconds < 1000:
        return f"{microseconds:.3g} µs"
    return f"{microseconds / 1000:,.4g} ms" if microseconds < 1e6 else f"{microseconds / 1e6:.3g} s"


def figure_text(value):
    return f"{value:,.0f}" if abs(value) >= 100 or value == int(value) else f"{value:.3g}"


def verdict(value, goal):
    if goal is None:
        return ""
    return f"{goal:g}, reached" if value <= goal else f"{goal:g}, missed"


def row_lines(row, measured):
    """For the terminal, as soon as the row is there."""
    yield f"{row.name}: {row.work.replace('`', '')}"
    for case, side, value, goal in _comparisons(row, measured):
        label = f"{case} " if case else ""
        goal_text = verdict(value, goal)
        yield f"  {label}{value:.2f} x {side}" + (f" (goal {goal_text})" if goal_text else "")
    for name, value, unit, goal in _figures(row, measured):
        goal_text = verdict(value, goal)
        yield f"  {name}: {figure_text(value)} {unit}" + (f" (goal {goal_text})" if goal_text else "")


def _comparisons(row, measured):
    for case, sides in measured.cases.items():
        for side in row.sides:
            if side in sides and LIBRARY in sides:
                value = sides[LIBRARY].time / sides[side].time
                yield case, side, value, row.goal(case, side)


def _figures(row, measured):
    for case, sides in measured.cases.items():
        for side, its in sides.items():
            for key, unit in row.figures.items():
                if key in its.figures:
                    is_ours = side == LIBRARY
                    name = " ".join(filter(None, [case, "" if is_ours else side, key.replace("_", " ")]))
                    yield name, its.figures[key], unit, row.figure_goals.get(key) if is_ours else None


def ratio_table(measured_rows):
    yield "| work | case | harvelstone | compared with | its time | ratio | goal |"
    yield "|---|---|---|---|---|---|---|"
    for row, measured in measured_rows:
        for case, side, value, goal in _comparisons(row, measured):
            sides = measured.cases[case]
            cells = [row.work, case, time_text(sides[LIBRARY].time), row.sides[side], time_text(sides[side].time)]
            yield f"| {' | '.join(cells)} | **{value:.2f}** | {verdict(value, goal)} |"


def figure_table(measured_rows):
    yield "| work | what | figure | goal |"
    yield "|---|---|---|---|"
    for row, measured in measured_rows:
        for name, value, unit, goal in _figures(row, measured):
            yield f"| {row.work} | {name} | {figure_text(value)} {unit} | {verdict(value, goal)} |"


def measured_part(measured_rows, machine, extra_sections):
    lines = ["## The machine", "", *machine, "", "## Ratios", ""]
    lines += ["![The ratios, each with its goal](performance.svg)", ""]
    lines += [*ratio_table(measured_rows), ""]
    figures = list(figure_table(measured_rows))
    if len(figures) > 2:
        lines += ["## Figures", "", *figures, ""]
    for title, section in extra_sections:
        lines += [f"## {title}", "", *section, ""]
    return "\n".join(lines)


def with_measured_part(page, part):
    """The page with everything between the two marks replaced."""
    before, rest = page.split(BEGIN, 1)
    after = rest.split(END, 1)[1]
    return f"{before}{BEGIN}\n\n{part}\n{END}{after}"


def bars(measured_rows):
    """For the plot."""
    for row, measured in measured_rows:
        for case, side, value, goal in _comparisons(row, measured):
            yield " ".join(filter(None, [row.name.replace("_", " "), case, "/", side])), value, goal
