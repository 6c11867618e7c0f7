"""The tree speaks as its own developers do; only DEVELOPERS.md may name the papers that they work from."""

import re
import subprocess

WORDS = re.compile(r"\bspe[c](?:s|ifications?)?\b|\b[P]arts? [1-9][.][0-9]|\bshared[/]\w+\.md\b", re.IGNORECASE)
EXCEPTIONS = {"DEVELOPERS.md"}


def check(root):
    findings = []
    for name in _tracked_files(root):
        if name in EXCEPTIONS:
            continue
        path = root / name
        if WORDS.search(name):
            findings.append(f"{name}: the file's name")
        if not path.is_file() or path.is_symlink():
            continue
        content = path.read_bytes()
        if b"\0" in content:
            continue
        for number, line in enumerate(content.decode("utf-8", "replace").splitlines(), start=1):
            if match := WORDS.search(line):
                findings.append(f"{name}:{number}: \"{match.group()}\"")
    return findings


def _tracked_files(root):
    """What git tracks or would track."""
    listed = subprocess.run(
        ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        check=True,
        capture_output=True,
    )
    return sorted(name for name in listed.stdout.decode().split("\0") if name)
