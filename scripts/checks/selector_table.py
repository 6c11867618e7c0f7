"""The table in docs/design.md agrees with the chief header: every public operation, its rule and its source file."""

import re

import contents

PAGE = "docs/design.md"

_ROW = re.compile(r"^\| `([\w:]+)` \| `(\w+)\(([^)]*)\)` \| `([\w/.]+)` \|$", re.MULTILINE)


def check(root):
    """One line for each row that breaks the rule or disagrees with the header, and for each operation without a row."""
    header = root / contents.CHIEF_HEADER
    page = root / PAGE
    if not header.exists() or not page.exists():
        return [f"{path.relative_to(root).as_posix()} is missing" for path in (header, page) if not path.exists()]
    operations, _ = contents.declarations(header.read_text(encoding="utf-8").splitlines(), public_only=True)
    findings = []
    rows = _ROW.findall(page.read_text(encoding="utf-8"))
    for selector, method, arguments, file in rows:
        if selector.split(":")[0] != method or selector.count(":") != len(re.findall(r"\w+", arguments)):
            findings.append(f"{PAGE}: {method}({arguments}) is not what the rule makes of {selector}")
        if operations.get(method) != file:
            findings.append(f"{PAGE}: {method} is in {operations.get(method)}, not in {file}")
    described = {row[1] for row in rows}
    findings += [f"{PAGE}: {method} has no row" for method in operations if method not in described]
    return findings
