"""Every test that the page of guarantees names exists."""

import re

from sources import cpp_files

PAGE = "docs/guarantees.md"
_NAMED = re.compile(r"`([A-Z]\w*)\.([A-Z]\w*|\*)`")
_TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", re.MULTILINE)


def check(root):
    page = root / PAGE
    if not page.exists():
        return []
    sources = cpp_files(root, "tests", "fuzz")
    tests = {name for source in sources for name in _TEST.findall(source.read_text("utf-8"))}
    tests |= {(suite, "*") for suite, _ in tests}
    findings = []
    for number, line in enumerate(page.read_text("utf-8").splitlines(), start=1):
        for suite, test in _NAMED.findall(line):
            if (suite, test) not in tests:
                findings.append(f"{PAGE}:{number}: there is no test {suite}.{test}")
    return findings
