"""`harvelstone collect`, talked to by a client that is not ours."""

import gzip
import http.client
import json
import os
import signal
import threading
import time

import collecting
import harness
from harness import DONE, FAILED, WRONG_USE, encode, run

DOCUMENT = {"session": {"sid": "S1"}, "postback": {}, "pages": [{}, {}], "click": [], "goal": [{}], "note": "größer"}


class Collector(collecting.CollectorCase):
    def test_prints_a_line_for_each_document(self):
        self.collect()
        body = encode(DOCUMENT)
        self.assertEqual(self.post(body, "/any/path?query=1"), (200, "{}"))
        encoded, text = gzip.decompress(body), json.dumps(DOCUMENT)
        _, output, errors = self.finish()
        self.assertRegex(output, r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\S+  gzip %d  encoded %d  json %d  "
                                 r"session postback goal:1 pages:2\n\Z" % (len(body), len(encoded), len(text)))
        self.assertEqual(errors, "")

    def test_takes_a_body_without_the_encoding_header(self):
        self.collect()
        self.assertEqual(self.post(encode(DOCUMENT), headers={"Content-Type": "text/plain"})[0], 200)

    def test_stores_each_document_in_one_line(self):
        store = self.path("a/store")
        self.collect("--store", store)
        pretty = gzip.compress(json.dumps(DOCUMENT, indent=2).encode("ascii").replace(b"%", b"%25"))
        self.post(encode(DOCUMENT))
        self.post(pretty)
        with open(os.path.join(store, "documents.jsonl"), encoding="utf-8") as file:
            lines = file.read().splitlines()
        self.assertEqual([json.loads(line) for line in lines], [DOCUMENT, DOCUMENT])

    def test_appends_to_what_was_stored_before(self):
        store = self.path("store")
        for _ in range(2):
            self.collect("--store", store)
            self.post(encode(DOCUMENT))
            self.assertEqual(self.finish()[0], DONE)
        with open(os.path.join(store, "documents.jsonl"), encoding="utf-8") as file:
            self.assertEqual(len(file.read().splitlines()), 2)

    def test_refuses_a_body_that_does_not_decode(self):
        self.collect("--store", self.folder)
        bad = (b"plain", encode(DOCUMENT)[:-3], gzip.compress(b"%7B%2"), gzip.compress(b"%7B%22a%22"),
               gzip.compress(b"%22%C3%22"), b"")
        for body in bad:
            status, why = self.post(body)
            self.assertEqual(status, 400)
            self.assertRegex(why, r"\A[^\n]+\n\Z")
        _, output, errors = self.finish()
        self.assertEqual(output, "")
        self.assertEqual(len(errors.splitlines()), len(bad))
        self.assertEqual(os.path.getsize(self.path("documents.jsonl")), 0)

    def test_keeps_the_limits_it_is_given(self):
        self.collect("--max-body", "200", "--max-inflated", "1000")
        self.assertEqual(self.post(encode({"a": os.urandom(300).hex()}))[0], 400)
        self.assertEqual(self.post(encode({"a": "x" * 1000}))[0], 400)
        self.assertEqual(self.post(encode({"a": "x" * 800}))[0], 200)

    def test_survives_a_bomb(self):
        self.collect()
        status, why = self.post(gzip.compress(b"0" * (65 << 20)))
        self.assertEqual((status, why), (400, "the gunzipped body is larger than 67108864 bytes\n"))
        self.assertEqual(self.post(encode(DOCUMENT))[0], 200)

    def test_answers_as_scripted(self):
        self.collect_with_replies({"status": 503, "body": "busy"}, {"body": {"retry": True}}, {"body": []}, {})
        answers = [self.post(encode(DOCUMENT)) for _ in range(5)]
        self.assertEqual(answers, [(503, "busy"), (200, '{"retry":true}'), (200, "[]"), (200, "{}"), (200, "{}")])

    def test_delays_and_closes_as_scripted(self):
        self.collect_with_replies({"delay": 0.3}, {"close": True}, {})
        begin = time.monotonic()
        self.assertEqual(self.post(encode(DOCUMENT))[0], 200)
        self.assertGreaterEqual(time.monotonic() - begin, 0.3)
        with self.assertRaises(http.client.RemoteDisconnected):
            self.post(encode(DOCUMENT))
        self.assertEqual(self.post(encode(DOCUMENT))[0], 200)

    def test_serves_many_clients_at_once(self):
        self.collect("--store", self.folder)
        answers = []

        def post():
            try:
                answers.append(self.post(encode(DOCUMENT)))
            except (OSError, http.client.HTTPException) as error:
                answers.append(repr(error))

        threads = [threading.Thread(target=post) for _ in range(100)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        _, _, errors = self.finish()
        self.assertEqual((answers, errors), ([(200, "{}")] * 100, ""))
        with open(self.path("documents.jsonl"), encoding="utf-8") as file:
            self.assertEqual([json.loads(line) for line in file], [DOCUMENT] * 100)

    def test_ends_with_0_at_either_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.collect()
            idle = http.client.HTTPConnection("127.0.0.1", self.port)
            idle.connect()
            self.process.send_signal(number)
            self.assertEqual(self.process.wait(harness.TIME_LIMIT), DONE)
            idle.close()
            self.finish()

    def test_a_taken_port_is_a_failure(self):
        self.collect()
        ended = run("collect", "--port", str(self.port))
        self.assertEqual(ended.returncode, FAILED)
        self.assertEqual(ended.stderr, f"harvelstone collect: cannot listen on 127.0.0.1 port {self.port}\n")

    def test_a_wrong_replies_file_is_wrong_use(self):
        replies = self.write("replies.jsonl", '{}\n# comment\n{"status": "ok"}\n')
        ended = run("collect", "--replies", replies)
        self.assertEqual(ended.returncode, WRONG_USE)
        self.assertTrue(ended.stderr.startswith(replies + ":3: "), ended.stderr)
        self.assertEqual(run("collect", "--replies", self.path("none")).returncode, WRONG_USE)

    def test_a_store_that_cannot_be_made_is_a_failure(self):
        self.assertEqual(run("collect", "--store", self.write("file", "") + "/store").returncode, FAILED)


if __name__ == "__main__":
    harness.main()
