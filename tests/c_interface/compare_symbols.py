"""Compares the symbols that the shared library shows, with their versions, to the list of those that it shall show.

usage: compare_symbols.py NM LIBRARY LIST
"""

import difflib
import pathlib
import re
import subprocess
import sys

# Not the nodes of the version script, which are symbols, too, nor inline functions, of which hosts have copies of their
# own: those come and go with the compiler's options.
_LEFT_OUT = "AWu"


def shown_symbols(nm, library):
    """Lines of version and name, sorted. The names of C++ as they are written: several symbols may share one."""
    listed = subprocess.run(
        [nm, "--dynamic", "--defined-only", "--with-symbol-versions", "--demangle", library],
        capture_output=True, text=True, check=True,
    )
    symbols = set()
    for line in listed.stdout.splitlines():
        _, kind, name = line.split(maxsplit=2)
        if kind in _LEFT_OUT:
            continue
        name, version = re.fullmatch(r"(.*?)@@?([\w.]+)", name).groups()
        symbols.add(f"{version} {name}")
    return sorted(symbols)


def main(nm, library, list_file):
    shown = shown_symbols(nm, library)
    listed = pathlib.Path(list_file).read_text(encoding="utf-8").splitlines()
    difference = list(difflib.unified_diff(listed, shown, "listed", "shown", lineterm="", n=0))
    print("\n".join(difference))
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
