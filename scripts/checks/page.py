"""The inspector's page, which is kept as it was built, was built from the sources as they are. `./dev page` builds it again."""

import hashlib
import re

PAGE = "tools/page/inspector.html"
SOURCES = ["tools/page/build.mjs", "tools/page/package-lock.json", "tools/page/src/*", "docs/upload.schema.json"]


def digest(root):
    """As build.mjs computes it."""
    total = hashlib.sha256()
    for path in sorted(path for pattern in SOURCES for path in root.glob(pattern)):
        content = hashlib.sha256(path.read_bytes()).hexdigest()
        total.update(f"{path.relative_to(root).as_posix()} {content}\n".encode())
    return total.hexdigest()


def check(root):
    page = root / PAGE
    if not page.exists():
        return [] if not (root / "tools/page").exists() else [f"{PAGE} is missing: ./dev page --write builds it"]
    noted = re.search(r'<meta name="sources" content="([0-9a-f]+)">', page.read_text(encoding="utf-8"))
    if noted and noted.group(1) == digest(root):
        return []
    return [f"{PAGE} was built from other sources: ./dev page --write builds it"]
