"""Runs a page's example against the collector: its one visit must arrive, with what the example recorded.

usage: run_example.py HARVELSTONE EXAMPLE SAYS    what the example prints, as a regular expression
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile


def main(harvelstone, example, says):
    with tempfile.TemporaryDirectory() as folder:
        store = pathlib.Path(folder) / "received"
        collector = subprocess.Popen(
            [harvelstone, "collect", "--port", "0", "--store", str(store)], stdout=subprocess.PIPE, text=True
        )
        try:
            address = re.search(r"http://[\w.]+:\d+", collector.stdout.readline()).group()
            run = subprocess.run(
                [example, address + "/documents"], cwd=folder, capture_output=True, text=True, timeout=30, check=True
            )
        finally:
            collector.terminate()
            collector.wait(timeout=10)
        assert re.fullmatch(says + "\n", run.stdout), run.stdout
        documents = [json.loads(line) for line in (store / "documents.jsonl").read_text().splitlines()]
        assert len(documents) == 1, documents
        text = json.dumps(documents[0])
        for recorded in ["home", "women", "buy"]:
            assert recorded in text, f"{recorded} is missing in {text}"


if __name__ == "__main__":
    main(*sys.argv[1:])
