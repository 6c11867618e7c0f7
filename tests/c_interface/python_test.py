"""The Python example over the shared library: the layout of the C face's structs and the types of its functions, in
another language, against servers on the loopback. Each test is run in a process of its own.
"""

import os
import pathlib
import queue
import shutil
import sys
import tempfile
import threading
import unittest
import urllib.request

SOURCE = pathlib.Path(__file__).resolve().parents[2]
os.environ.setdefault("HARVELSTONE_COMMAND", "none")  # of the harness, whose server is all that is used here
sys.path[:0] = [str(SOURCE / "examples" / "python"), str(SOURCE / "tests" / "e2e")]

import harness  # noqa: E402
import harvelstone  # noqa: E402



class Binding(unittest.TestCase):
    def setUp(self):
        folder = tempfile.mkdtemp(prefix="harvelstone-python-")
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        self.server = harness.Server()
        self.addCleanup(self.server.close)
        self.settings = {"target_uri": self.server.url, "app_key": "shop", "documents_folder": folder}

    def record(self):
        harvelstone.install_referrer()
        harvelstone.app_opened()
        harvelstone.start_visit()
        harvelstone.set_profile({"mbr": "member-7"})
        harvelstone.refresh_document()
        harvelstone.page("home", {"section": "women"})
        harvelstone.page_record({"a": 1})
        harvelstone.page_progress(12.5, 2)
        harvelstone.click({"button": "buy"})
        harvelstone.revenue({"amount": 9.5})
        harvelstone.push_opened({"message": "sale"})
        harvelstone.set_product("p1", "Sch\u00fch")
        harvelstone.set_product_category("c1")
        harvelstone.goal(3, 50)
        harvelstone.event("search", "query", "red shoes")
        harvelstone.campaign("banner", "spring", 7, "home")
        harvelstone.end_visit()

    def check_document(self):
        document = self.server.requests[0].document
        self.assertEqual(document["session"]["app_key"], "shop")
        self.assertIn("member-7", document["session"].values())
        self.assertEqual([page["section"] for page in document["pages"] if "section" in page], ["women"])
        self.assertEqual([click["button"] for click in document["click"]], ["buy"])
        self.assertEqual([revenue["amount"] for revenue in document["revenue"]], [9.5])
        self.assertEqual(document["push"]["message"], "sale")
        self.assertEqual(document["goal"][0]["g3"], 50)
        self.assertIn("Sch\u00fch", document["goal"][0].values())

    def test_records_of_every_kind_reach_the_server(self):
        harvelstone.configure(**self.settings, app_version="2.1", return_visit_days=5, visit_timeout_seconds=60,
                              consent=True)
        self.record()
        receipt = harvelstone.flush(seconds=20)

        self.assertEqual(receipt["documents_sent"], 1)
        self.assertTrue(receipt["complete"])
        self.check_document()
        recorded = {kind: counts["recorded"] for kind, counts in harvelstone.ledger()["records"].items()}
        self.assertEqual(recorded, {"page": 3, "click": 1, "revenue": 1, "push": 1, "goal": 1, "event": 1, "campaign": 1})

    def test_client_main_queue_and_log_may_be_the_hosts(self):
        lines, tasks = [], queue.Queue()

        def send(exchange):
            request = urllib.request.Request(exchange.url, exchange.body, exchange.headers, method=exchange.method)
            with urllib.request.urlopen(request, timeout=20) as answer:
                exchange.answer(answer.status, answer.read())

        harvelstone.configure(
            **self.settings, debug=True,
            log=lambda kind, line: lines.append((kind, line)),
            run_on_main_queue=lambda seconds, task: tasks.put((seconds, task)),
            send_request=lambda exchange: threading.Thread(target=send, args=[exchange]).start(),
        )
        self.record()
        self.assertEqual(harvelstone.flush(seconds=20)["documents_sent"], 1)

        self.check_document()
        seconds, task = tasks.get(timeout=20)
        self.assertEqual(seconds, 1.0)
        task()
        self.assertRaisesRegex(harvelstone.Error, "no such task", task)
        self.assertIn((harvelstone.LOG_DEBUG, "DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] " + self.server.url), lines)

    def test_a_client_without_a_network_says_so(self):
        harvelstone.configure(**self.settings, send_request=lambda exchange: exchange.fail("no network"))
        harvelstone.install_referrer()
        receipt = harvelstone.flush(seconds=20)
        self.assertGreaterEqual(receipt["documents_dropped"]["transport_failed"], 1)

    def test_an_error_carries_status_and_reason(self):
        harvelstone.configure(**self.settings)
        with self.assertRaises(harvelstone.Error) as caught:
            harvelstone.page("")
        self.assertEqual(caught.exception.status, harvelstone.INVALID_ARGUMENT)
        self.assertIn("page name", str(caught.exception))

    def test_every_function_is_bound(self):
        listed = (SOURCE / "harvelstone" / "api" / "symbols.txt").read_text(encoding="utf-8").splitlines()
        functions = {line.split()[1] for line in listed if " harvelstone_" in line}
        bound = {"harvelstone_" + name for name in [*harvelstone._PARAMETERS, *harvelstone._OTHERS]}
        self.assertEqual(functions, bound)

    def test_the_version_is_that_of_the_header(self):
        header = (SOURCE / "harvelstone" / "api" / "harvelstone.h").read_text(encoding="utf-8")
        numbers = [line.split()[2] for line in header.splitlines() if line.startswith("#define HARVELSTONE_VERSION_")]
        self.assertEqual(harvelstone.version(), ".".join(numbers))


if __name__ == "__main__":
    unittest.main()
