"""`harvelstone inspect` on folders that an app left behind."""

import os

import harness
from harness import DONE, FAILED, NEW_VISIT, NO_HOLD, OFFLINE, START, run, step


class Inspect(harness.Case):
    def setUp(self):
        super().setUp()
        self.pending = self.play([NO_HOLD, OFFLINE, START, step("page", record={"PARAM_NAME": "cart"}),
                                  step("click", record={"n": 1}), step("click", record={"n": 2}), *NEW_VISIT]).pending

    def stored(self):
        """Every file's bytes, times and mode."""
        files = {}
        for name in sorted(os.listdir(self.storage)):
            status = os.stat(os.path.join(self.storage, name))
            with open(os.path.join(self.storage, name), "rb") as file:
                files[name] = (file.read(), status.st_mtime_ns, status.st_mode, status.st_ino)
        return files

    def test_shows_everything(self):
        seen = self.inspect()
        self.assertEqual(set(seen), {"pending", "documentDB", "documents", "queues", "ledger", "damaged"})
        self.assertEqual(seen["pending"], self.pending)
        self.assertEqual(seen["documentDB"]["DocumentTarget"], self.pending)
        self.assertEqual(seen["documentDB"]["lifetime_visits"], 2)
        self.assertEqual(set(seen["documents"]), set(self.pending))
        self.assertEqual(seen["documents"][self.pending[0]]["session"]["visit_new"], "Y")
        self.assertEqual(set(seen["queues"]), {"pages_" + self.pending[0], "click_" + self.pending[0]})
        self.assertEqual([record["n"] for record in seen["queues"]["click_" + self.pending[0]]], [1, 2])
        self.assertEqual(seen["damaged"], [])

    def test_shows_what_became_of_everything(self):
        ledger = self.inspect()["ledger"]
        self.assertEqual(ledger["documents"], {"created": 2, "sent": 0, "retired": {}, "pending": 2})
        self.assertEqual({kind: counts["pending"] for kind, counts in ledger["records"].items()}, {"page": 1, "click": 2})

    def test_takes_the_documents_folder_as_well(self):
        self.assertEqual(self.inspect(self.documents), self.inspect())
        self.assertEqual(self.inspect(self.storage + "/"), self.inspect())

    def test_changes_nothing(self):
        before, folder = self.stored(), os.stat(self.storage).st_mtime_ns
        self.inspect()
        self.assertEqual(run("inspect", self.storage).returncode, DONE)
        self.assertEqual((self.stored(), os.stat(self.storage).st_mtime_ns), (before, folder))

    def test_shows_damage_and_what_can_still_be_read(self):
        queue = os.path.join(self.storage, "click_" + self.pending[0] + ".Harvelstone")
        with open(queue, "r+b") as file:
            content = file.read()
            file.seek(content.index(b'"n":1'))
            file.write(b"#")
        document = os.path.join(self.storage, self.pending[1] + ".Harvelstone")
        with open(document, "w", encoding="utf-8") as file:
            file.write("{broken")
        before = self.stored()

        seen = self.inspect()
        self.assertEqual([record["n"] for record in seen["queues"]["click_" + self.pending[0]]], [2])
        self.assertEqual(set(seen["documents"]), {self.pending[0]})
        damaged = {entry["file"]: entry for entry in seen["damaged"]}
        self.assertEqual(set(damaged), {os.path.basename(queue), os.path.basename(document)})
        for entry in damaged.values():
            self.assertTrue(entry["why"])
        self.assertEqual(damaged[os.path.basename(document)]["text"], "{broken")
        self.assertEqual(damaged[os.path.basename(queue)]["recordsRead"], 1)
        self.assertEqual(self.stored(), before)

    def test_for_people_names_every_document_and_queue(self):
        ended = run("inspect", self.storage)
        self.assertEqual(ended.returncode, DONE)
        for name in (*self.pending, "pages_" + self.pending[0], "click_" + self.pending[0], "lifetime_visits"):
            self.assertIn(name, ended.stdout)

    def test_a_missing_folder_is_a_failure(self):
        missing = self.path("none")
        ended = run("inspect", missing, "--json")
        self.assertEqual(ended.returncode, FAILED)
        self.assertEqual(ended.stderr, f"harvelstone inspect: cannot read {missing}: No such file or directory\n")
        self.assertEqual(ended.stdout, "")
        self.assertFalse(os.path.exists(missing))

    def test_an_empty_folder_is_empty(self):
        os.mkdir(self.path("empty"))
        self.assertEqual(self.inspect(self.path("empty")),
                         {"pending": [], "documentDB": {}, "documents": {}, "queues": {}, "damaged": [], "ledger": {
                             "documents": {"created": 0, "sent": 0, "retired": {}, "pending": 0}, "records": {}}})


if __name__ == "__main__":
    harness.main()
