"""Runs an example against the collector: its one visit must arrive, as the schema says and with what it recorded.

usage: run_example.py HARVELSTONE EXAMPLE SAYS [--runs-until-ended]

SAYS is what the example prints, as a regular expression. One that runs until it is ended has a main loop: the files of
what was sent must have gone by then.
"""

import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))

import upload_schema  # noqa: E402

TIME_LIMIT = 30


def wait_until_sent_files_are_gone(harvelstone, storage, received):
    def are_gone():
        if not received.exists() or not received.read_text():
            return False
        seen = json.loads(subprocess.run([harvelstone, "inspect", storage, "--json"], capture_output=True, check=True).stdout)
        return seen["ledger"]["documents"]["sent"] == 1 and set(seen["documents"]) == set(seen["pending"])

    deadline = time.monotonic() + TIME_LIMIT
    while not are_gone():
        assert time.monotonic() < deadline, "the files of the sent document are still there"
        time.sleep(0.05)


def run(harvelstone, example, address, folder, runs_until_ended):
    """What the example prints."""
    process = subprocess.Popen([example, address + "/documents"], cwd=folder, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True)
    try:
        if runs_until_ended:
            wait_until_sent_files_are_gone(harvelstone, folder / "shop-data", folder / "received" / "documents.jsonl")
            process.send_signal(signal.SIGTERM)
        output = process.communicate(timeout=TIME_LIMIT)[0]
    finally:
        process.kill()
    assert process.returncode == 0, process.returncode
    return output


def main(harvelstone, example, says, *options):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        store = folder / "received"
        collector = subprocess.Popen(
            [harvelstone, "collect", "--port", "0", "--store", str(store)], stdout=subprocess.PIPE, text=True
        )
        try:
            address = re.search(r"http://[\w.]+:\d+", collector.stdout.readline()).group()
            output = run(harvelstone, example, address, folder, "--runs-until-ended" in options)
        finally:
            collector.terminate()
            collector.wait(timeout=10)
        assert re.fullmatch(says + "\n", output), output
        documents = [json.loads(line) for line in (store / "documents.jsonl").read_text().splitlines()]
        assert len(documents) == 1, documents
        upload_schema.check(documents)
        text = json.dumps(documents[0])
        for recorded in ["home", "women", "buy"]:
            assert recorded in text, f"{recorded} is missing in {text}"


if __name__ == "__main__":
    main(*sys.argv[1:])
