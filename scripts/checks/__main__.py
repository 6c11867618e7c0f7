"""Runs every check over the tree: python3 scripts/checks [FOLDER]. Exit code 1 when one finds something."""

import pathlib
import sys

import boundaries
import code_blocks
import contents
import dependencies
import guarantees
import links
import page
import selector_table
import wording

CHECKS = [boundaries, contents, selector_table, wording, links, page, guarantees, code_blocks, dependencies]


def main():
    here = pathlib.Path(__file__).resolve().parent
    root = pathlib.Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else here.parent.parent
    failed = False
    for check in CHECKS:
        findings = list(check.check(root))
        print(f"{check.__name__}: {'ok' if not findings else f'{len(findings)} found'}")
        for finding in findings:
            print(f"  {finding}")
        failed = failed or bool(findings)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
