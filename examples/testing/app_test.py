"""Tests of an app against the collector. usage: APP=path HARVELSTONE=path python3 app_test.py"""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest


class App(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def collect(self, *replies):
        (self.folder / "replies.jsonl").write_text("\n".join(json.dumps(reply) for reply in replies))
        collector = subprocess.Popen(
            [os.environ["HARVELSTONE"], "collect", "--store", self.folder, "--replies", self.folder / "replies.jsonl"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(collector.communicate)
        self.addCleanup(collector.terminate)
        return collector.stdout.readline().split()[-1]  # "listening on ADDRESS"

    def documents_of_a_run(self, address):
        subprocess.run([os.environ["APP"], address], cwd=self.folder, check=True, timeout=60)
        return [json.loads(line) for line in (self.folder / "documents.jsonl").read_text().splitlines()]

    def test_reports_what_the_visitor_does(self):
        document, = self.documents_of_a_run(self.collect({}))
        self.assertEqual([page["name"] for page in document["pages"]], ["home"])
        self.assertEqual(document["click"][0]["button"], "buy")
        self.assertEqual(document["session"]["app_key"], "shop")

    def test_sends_again_when_the_server_is_busy(self):
        first, second = self.documents_of_a_run(self.collect({"body": {"retry": True}}, {}))
        self.assertEqual((first["retry_count"], second["retry_count"]), (1, 2))
        self.assertEqual(first["click"], second["click"])


if __name__ == "__main__":
    unittest.main()
