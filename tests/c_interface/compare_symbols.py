"""Compares the symbols that the shared library shows, with their versions, to the list of those that it shall show.

usage: compare_symbols.py READELF LIBRARY LIST
"""

import difflib
import pathlib
import re
import subprocess
import sys

_SYMBOL = re.compile(r" *\d+: \w+ +\w+ (?P<kind>\w+) +(?P<binding>\w+) +\w+ +(?P<section>\w+) (?P<name>.*?)@@?(?P<version>[\w.]+)")


def _is_listed(symbol):
    """Not the nodes of the version script, which are symbols, too, nor inline functions, of which hosts have copies of
    their own: those come and go with the compiler's options."""
    is_inline = symbol["binding"] == "UNIQUE" or (symbol["binding"], symbol["kind"]) == ("WEAK", "FUNC")
    return symbol["section"] not in ("UND", "ABS") and not is_inline


def shown_symbols(readelf, library):
    """Lines of version and name, sorted. The names of C++ as they are written: several symbols may share one."""
    listed = subprocess.run(
        [readelf, "--dyn-syms", "--wide", "--demangle", library],
        capture_output=True, text=True, check=True,
    )
    symbols = filter(None, map(_SYMBOL.match, listed.stdout.splitlines()))
    return sorted({f"{symbol['version']} {symbol['name']}" for symbol in symbols if _is_listed(symbol)})


def main(readelf, library, list_file):
    shown = shown_symbols(readelf, library)
    listed = pathlib.Path(list_file).read_text(encoding="utf-8").splitlines()
    difference = list(difflib.unified_diff(listed, shown, "listed", "shown", lineterm="", n=0))
    sys.stdout.writelines(f"{line}\n" for line in difference)
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
