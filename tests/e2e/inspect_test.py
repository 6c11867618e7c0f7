"""`harvelstone inspect` on folders that an app left behind."""

import json
import os
import re
import shutil
import tempfile

import harness
from harness import DONE, FAILED, NEW_VISIT, NO_HOLD, OFFLINE, ONLINE, SEND, SETTLE, START, WRONG_USE, run, step


class Inspect(harness.Case):
    left = None  # what the app left behind, with the ids of its pending documents; played once for all tests

    def setUp(self):
        super().setUp()
        if not Inspect.left:
            pending = self.play([NO_HOLD, OFFLINE, START, step("page", record={"PARAM_NAME": "cart", "PARAM_CS_P_V": 1}),
                                 step("click", record={"n": 1}), step("click", record={"n": 2}), *NEW_VISIT]).pending
            copy = tempfile.mkdtemp(prefix="harvelstone-e2e-")
            self.addClassCleanup(shutil.rmtree, copy)
            shutil.copytree(self.documents, copy, dirs_exist_ok=True)
            Inspect.left = copy, pending
        copy, self.pending = Inspect.left
        shutil.copytree(copy, self.documents, dirs_exist_ok=True)

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
        self.assertEqual(set(seen), {"pending", "documentDB", "documents", "queues", "held", "ledger", "forked", "damaged"})
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

    def break_click(self, name):
        """Damages the first record of that queue."""
        path = os.path.join(self.storage, f"{name}.Harvelstone")
        with open(path, "r+b") as file:
            content = file.read()
            file.seek(content.index(b'"n":1'))
            file.write(b"#")

    def exported(self):
        ended = run("inspect", self.storage, "--export")
        self.assertEqual(ended.returncode, DONE, ended.stderr)
        return [json.loads(line) for line in ended.stdout.splitlines()]

    def test_exports_the_records_that_wait_in_queues(self):
        first = self.pending[0]
        lines = self.exported()
        self.assertEqual([(line["document"], line["kind"], line["pending"], line["in"]) for line in lines],
                         [(first, "page", True, "pages_" + first), (first, "click", True, "click_" + first),
                          (first, "click", True, "click_" + first)])
        self.assertEqual([line["record"]["n"] for line in lines[1:]], [1, 2])

    def test_exports_the_records_of_documents_that_wait(self):
        with open(os.path.join(self.storage, self.pending[0] + ".Harvelstone"), "w", encoding="utf-8") as file:
            json.dump({"session": {}, "revenue": [{"amount": 2}], "push": {"id": 7}, "goal": []}, file)
        for name in ("pages_", "click_"):
            os.remove(os.path.join(self.storage, f"{name}{self.pending[0]}.Harvelstone"))
        self.assertEqual([(line["kind"], line["in"], line["record"]) for line in self.exported()],
                         [("revenue", self.pending[0], {"amount": 2}), ("push", self.pending[0], {"id": 7})])

    def test_exports_what_lost_its_document_or_was_set_aside(self):
        queue = os.path.join(self.storage, f"click_{self.pending[0]}.Harvelstone")
        shutil.copy(queue, os.path.join(self.storage, "click_GONE_1.000000.Harvelstone"))
        os.rename(queue, queue.replace(".Harvelstone", ".corrupt-1479259200.Harvelstone"))
        clicks = [(line["document"], line["pending"], line["record"]["n"]) for line in self.exported() if line["kind"] == "click"]
        self.assertEqual(clicks, [("GONE_1.000000", False, 1), ("GONE_1.000000", False, 2),
                                  (self.pending[0], True, 1), (self.pending[0], True, 2)])

    def test_exports_records_once_that_a_document_and_its_queues_hold(self):
        first = self.pending[0]
        queues = [os.path.join(self.storage, f"{prefix}{first}.Harvelstone") for prefix in ("pages_", "click_")]
        before = [shutil.copy(queue, self.path(os.path.basename(queue))) for queue in queues]
        sending = self.start([ONLINE, SEND, SETTLE], (server := self.silent_server()).url)
        harness.wait_until(lambda: server.requests, "the upload has arrived")
        self.end(sending)
        # As if the process had ended before what the queues had given away was marked there.
        for copy, queue in zip(before, queues):
            shutil.copy(copy, queue)

        self.assertEqual([(line["kind"], line["in"], line["record"].get("n")) for line in self.exported()],
                         [("page", first, None), ("click", first, 1), ("click", first, 2)])
        seen = self.inspect()
        self.assertEqual(seen["held"], {"pages_" + first: 1, "click_" + first: 2})
        self.assertEqual(len(seen["queues"]["click_" + first]), 2)

    def put_into_childs_folder(self):
        """What the app has left lies in the folder of a forked child, and nothing in its own; gives that folder's name."""
        name = "forked-6F9619FF-8B86-4011-B42D-00CF4FC964FF"
        os.rename(self.storage, self.path("childs"))
        os.mkdir(self.storage)
        os.rename(self.path("childs"), os.path.join(self.storage, name))
        return name

    def test_shows_what_forked_children_have_left(self):
        alone = self.inspect()
        name = self.put_into_childs_folder()
        seen = self.inspect()
        del alone["forked"], alone["damaged"]
        self.assertEqual((seen["forked"], seen["pending"], seen["damaged"]), ({name: alone}, [], []))
        self.assertIn(f"{name}/\n  pending (2)\n", run("inspect", self.storage).stdout)

    def test_exports_what_forked_children_have_left(self):
        alone = self.exported()
        name = self.put_into_childs_folder()
        os.symlink(os.path.join(self.storage, name), os.path.join(self.storage, "forked-link"))
        self.assertEqual(self.exported(), [{**line, "in": f"{name}/{line['in']}"} for line in alone])

        childs = os.path.join(self.storage, name)
        queue = os.path.join(childs, f"click_{self.pending[0]}")
        os.rename(queue + ".Harvelstone", queue + ".corrupt-1479259200.Harvelstone")
        clicks = [(line["in"], line["pending"], line["record"]["n"]) for line in self.exported() if line["kind"] == "click"]
        self.assertEqual(clicks, [(f"{name}/click_{self.pending[0]}", True, 1), (f"{name}/click_{self.pending[0]}", True, 2)])

    def test_verifies_what_forked_children_have_left(self):
        name = self.put_into_childs_folder()
        with open(os.path.join(self.storage, name, "DocumentDB.Harvelstone"), "w", encoding="utf-8") as file:
            file.write("{broken")
        ended = run("inspect", self.storage, "--verify")
        self.assertEqual((ended.returncode, ended.stdout),
                         (FAILED, f"{name}/DocumentDB.Harvelstone: the file is no JSON object\n"))

    def test_verifies(self):
        ended = run("inspect", self.storage, "--verify")
        self.assertEqual((ended.returncode, ended.stdout), (DONE, "no damage\n"))
        self.break_click("click_" + self.pending[0])
        ended = run("inspect", self.storage, "--verify")
        self.assertEqual(ended.returncode, FAILED)
        self.assertRegex(ended.stdout, rf"\Aclick_{self.pending[0]}\.Harvelstone: bytes that are no record "
                                       r"\(offset \d+, \d+ bytes\)\n\Z")
        ended = run("inspect", self.storage, "--verify", "--json")
        self.assertEqual((ended.returncode, len(json.loads(ended.stdout)["damaged"])), (FAILED, 1))

    def test_writes_a_page_that_holds_everything(self):
        before, page = self.stored(), self.path("page.html")
        ended = run("inspect", self.storage, "--html", page)
        self.assertEqual((ended.returncode, ended.stdout, self.stored()), (DONE, "", before))
        with open(page, encoding="utf-8") as file:
            [data] = re.findall(r'<script type="application/json" id="data">(.*?)</script>', file.read())
        data = json.loads(data)
        self.assertEqual((data["folder"], data["contents"]), (self.storage, self.inspect()))

    def test_a_page_that_cannot_be_written_is_a_failure(self):
        ended = run("inspect", self.storage, "--html", self.path("none/page.html"))
        self.assertEqual(ended.returncode, FAILED)
        self.assertEqual(ended.stderr, f"harvelstone inspect: cannot write {self.path('none/page.html')}\n")

    def test_json_and_export_exclude_each_other(self):
        self.assertEqual(run("inspect", self.storage, "--json", "--export").returncode, WRONG_USE)

    def test_shows_damage_and_what_can_still_be_read(self):
        queue = os.path.join(self.storage, "click_" + self.pending[0] + ".Harvelstone")
        self.break_click("click_" + self.pending[0])
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
                         {"pending": [], "documentDB": {}, "documents": {}, "queues": {}, "held": {}, "forked": {}, "damaged": [], "ledger": {
                             "documents": {"created": 0, "sent": 0, "retired": {}, "pending": 0}, "records": {}}})


if __name__ == "__main__":
    harness.main()
