"""Every link from one of our pages to a file leads somewhere."""

import re

_LINK = re.compile(r"\[[^\]\n]*\]\(([^)\s]+)\)")
_FENCE = re.compile(r"^```.*?^```", re.DOTALL | re.MULTILINE)


def check(root):
    findings = []
    pages = sorted(root.glob("*.md")) + sorted((root / "docs").rglob("*.md"))
    for page in pages:
        text = _FENCE.sub("", page.read_text(encoding="utf-8"))
        for target in _LINK.findall(text):
            if re.match(r"[a-z]+:|#", target):
                continue
            if not (page.parent / target.split("#")[0]).exists():
                findings.append(f"{page.relative_to(root).as_posix()}: the link to {target} leads nowhere")
    return findings
