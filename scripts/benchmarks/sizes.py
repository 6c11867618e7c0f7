"""The size of the stripped shared library, and what it is made of."""

import pathlib
import subprocess
import tempfile

GOAL = 400 * 1024
LAYERS = ["platform", "services", "component", "api"]
STAND_IN = "libsqlite3.so.0"


def _kib(size):
    return f"{size / 1024:,.0f} KiB"


def stripped(library):
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder) / "stripped"
        subprocess.run(["strip", "-o", copy, library], check=True)
        return copy.stat().st_size


def sections(listing):
    """Sizes by name from `size -A`: those that are loaded."""
    found = {}
    for line in listing.splitlines():
        fields = line.split()
        if len(fields) == 3 and fields[0].startswith(".") and fields[2] != "0":
            found[fields[0]] = int(fields[1])
    return found


def _layer(folder, layer):
    objects = sorted(str(path) for path in (folder / "CMakeFiles" / f"harvelstone_{layer}.dir").rglob("*.o"))
    totals = subprocess.run(["size", "--totals", *objects], check=True, capture_output=True, text=True).stdout
    text, data = totals.splitlines()[-1].split()[:2]
    return int(text) + int(data)


def _stand_in():
    found = sorted(pathlib.Path("/usr/lib").rglob(STAND_IN))
    return stripped(found[0].resolve()) if found else 0


def table(folder):
    """Lines of a table, for the folder of the build."""
    library = folder / "libharvelstone.so"
    size = stripped(library)
    listing = subprocess.run(["size", "-A", library], check=True, capture_output=True, text=True).stdout
    lines = ["| what | size |", "|---|---|"]
    lines.append(f"| the stripped shared library | {_kib(size)} (goal 400 KiB, {'reached' if size <= GOAL else 'missed'}) |")
    lines.append(f"| SQLite's, stripped | {_kib(_stand_in())} |")
    parts = sorted(sections(listing).items(), key=lambda part: -part[1])
    lines += [f"| section `{name}` | {_kib(part)} |" for name, part in parts if part >= 1024]
    lines += [f"| objects of `{layer}`, code that several of them hold counted in each | {_kib(_layer(folder, layer))} |" for layer in LAYERS]
    return lines
