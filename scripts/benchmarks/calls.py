"""Counts the system calls of one record and of one visit: strace counts two runs, of which one does more of them."""

import pathlib
import shutil
import subprocess
import tempfile

FEWER, MORE = 10, 60

WORK = {"record": "a durable record, once its file exists", "visit": "a new visit (`endVisit`, `loadDocument`)"}


def _counts(program, work, times, folder):
    with tempfile.TemporaryDirectory(dir=folder) as place:
        summary = pathlib.Path(place) / "summary"
        command = ["strace", "-f", "-c", "-o", summary, program, work, str(times), place]
        subprocess.run(command, check=True, capture_output=True)
        return parse(summary.read_text(encoding="utf-8"))


def parse(summary):
    """Calls by name from strace's table: % time, seconds, usecs/call, calls, [errors,] name."""
    counts = {}
    for line in summary.splitlines():
        fields = line.split()
        if len(fields) >= 5 and fields[3].isdigit() and fields[-1] != "total":
            counts[fields[-1]] = int(fields[3])
    return counts


def each(fewer, more, difference):
    """What every single one takes; a call that comes now and then is rounded away."""
    found = {name: round((count - fewer.get(name, 0)) / difference) for name, count in more.items()}
    return {name: count for name, count in sorted(found.items()) if count}


def table(program, folder):
    """Lines of a table; a sentence where nothing can be traced."""
    if shutil.which("strace") is None:
        return ["Not counted: strace is missing."]
    lines = ["| work | system calls |", "|---|---|"]
    try:
        for work, words in WORK.items():
            fewer, more = (_counts(program, work, times, folder) for times in (FEWER, MORE))
            calls = each(fewer, more, MORE - FEWER)
            names = ", ".join(name if count == 1 else f"{count} {name}" for name, count in calls.items())
            lines.append(f"| {words} | {names}: {sum(calls.values())} |")
    except subprocess.CalledProcessError:
        return ["Not counted: this machine lets nobody trace."]
    return lines
