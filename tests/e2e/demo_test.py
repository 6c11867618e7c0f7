"""`harvelstone demo` from beginning to end."""

import json
import os
import pty
import subprocess
import time

import harness
import upload_schema
from harness import COMMAND, DONE, run


class Demo(harness.Case):
    def test_sends_every_visit_and_checks_what_arrived(self):
        store = self.path("received")
        begin = time.monotonic()
        ended = run("demo", "--documents", self.documents, "--store", store)
        self.assertEqual(ended.returncode, DONE, ended.stderr)
        self.assertLess(time.monotonic() - begin, 45)
        self.assertIn("Every document arrived as it was sent.", ended.stdout)
        self.assertIn(os.path.join(store, "documents.jsonl"), ended.stdout)
        self.assertNotIn("\r", ended.stdout)
        self.assertEqual(ended.stderr, "")

        with open(os.path.join(store, "documents.jsonl"), encoding="utf-8") as file:
            received = [json.loads(line) for line in file]
        upload_schema.check(received)
        documents = [document for document in received if "postback" in document]
        self.assertEqual(len(received) - len(documents), 2)
        self.assertGreaterEqual(len({document["session"]["sid"] for document in documents}), 5)
        self.assertEqual([document["retry_count"] for document in documents if document["retry_count"] > 1], [2])
        for section in ("goal", "pages", "click", "revenue", "push"):
            self.assertTrue(any(document.get(section) for document in documents), section)
        self.assert_table(ended.stdout, documents)
        # The demo's app is over; its folder can be looked at.
        self.assertEqual(len(self.inspect()["pending"]), 1)

    def assert_table(self, output, documents):
        rows = [line.split() for line in output.splitlines() if line.endswith("  sent") and not line.startswith("(")]
        self.assertEqual(sum(int(row[-2]) for row in rows), len(documents))
        titles = next(line for line in output.splitlines() if line.startswith("document "))
        self.assertEqual(titles.split(), ["document", "records", "JSON", "encoded", "gzip", "attempts", "fate"])

    def test_shows_its_progress_on_a_terminal(self):
        ours, terminal = pty.openpty()
        process = subprocess.Popen([COMMAND, "demo", "--documents", self.documents, "--store", self.path("received")],
                                   stdout=terminal, stderr=terminal)
        os.close(terminal)
        shown = b""
        try:
            while chunk := os.read(ours, 65536):
                shown += chunk
        except OSError:
            pass  # how a terminal says that its other end was closed
        os.close(ours)
        self.assertEqual(process.wait(harness.TIME_LIMIT), DONE, shown)
        self.assertIn(b"\r\x1b[K[1/", shown)


if __name__ == "__main__":
    harness.main()
