"""Runs the benchmark program, one row after the other, and takes the medians of its repetitions."""

import collections
import dataclasses
import json
import pathlib
import statistics
import subprocess
import tempfile

LIBRARY = "harvelstone"
MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}

# The repetitions of a row's sides take turns at random, so that a machine that grows faster or slower favours none: many
# short ones do that better than few long ones.
HOW = ["--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05"]

# What Google Benchmark keeps of a repetition besides the figures of our own.
_OWN_KEYS = frozenset(
    """name family_index per_family_instance_index run_name run_type repetitions repetition_index threads iterations
    real_time cpu_time time_unit""".split()
)


@dataclasses.dataclass
class Side:
    """Medians of one side in one case."""

    time: float  # microseconds
    figures: dict


@dataclasses.dataclass
class Measured:
    """A row's sides: cases[case][side], where the only case of a row without any is ""."""

    cases: dict

    def ratios(self):
        """By "case/side" or "side": the library's time over the other side's."""
        found = {}
        for case, sides in self.cases.items():
            for side, measured in sides.items():
                if side != LIBRARY and LIBRARY in sides:
                    found[f"{case}/{side}".lstrip("/")] = sides[LIBRARY].time / measured.time
        return found


class Failed(Exception):
    pass


def run_row(program, row, arguments):
    """Measures a row; the arguments are Google Benchmark's own and win over the usual ones."""
    with tempfile.TemporaryDirectory() as folder:
        output = pathlib.Path(folder) / "output.json"
        repetitions = f"--benchmark_repetitions={row.repetitions}"
        fixed = [f"--benchmark_filter=^{row.name}/", f"--benchmark_out={output}"]
        command = [program, *HOW, repetitions, *arguments, *fixed]
        done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise Failed(f"{row.name}: {program} ended with {done.returncode}\n{done.stderr}")
        text = output.read_text(encoding="utf-8") if output.exists() else ""
        if not text:
            raise Failed(f"{row.name}: {program} measured nothing")
        return medians(json.loads(text))


def medians(output):
    times = collections.defaultdict(list)
    figures = collections.defaultdict(lambda: collections.defaultdict(list))
    # In the order of their registration, not of their turns.
    for entry in sorted(output["benchmarks"], key=lambda entry: entry["family_index"]):
        if entry.get("error_occurred"):
            raise Failed(f"{entry['name']}: {entry['error_message']}")
        if entry["run_type"] != "iteration":
            continue
        name = case_and_side(entry["name"])
        times[name].append(entry["real_time"] * MICROSECONDS[entry["time_unit"]])
        for key in entry.keys() - _OWN_KEYS:
            figures[name][key].append(entry[key])
    cases = collections.defaultdict(dict)
    for (case, side), values in times.items():
        its_figures = {key: statistics.median(all_of_it) for key, all_of_it in sorted(figures[case, side].items())}
        cases[case][side] = Side(statistics.median(values), its_figures)
    return Measured(dict(cases))


def case_and_side(name):
    """ "body/3KiB/limit/iterations:1/manual_time" is side "limit" of case "3KiB"."""
    parts = [part for part in name.split("/")[1:] if ":" not in part and part != "manual_time"]
    return "/".join(parts[:-1]), parts[-1]
