"""What goes over the wire, byte by byte: the body's layers, the headers, cookies, connections."""

import gzip
import json
import os
import re

import harness
from harness import NO_HOLD, NEW_VISIT, OFFLINE, ONLINE, SEND, START, step

RECORD = {"PARAM_NAME": "Läufer «Größe 42» 100% ~_.-!*'();:@&=+$,/?#[]", "price": 42.0, "count": 42, "sale": True,
          "tags": ["a", {"deep": [1.5]}], "line": "a\nb\t\"c\"\\", "emoji": "👟"}


class Document(harness.Case):
    def send_one(self):
        self.stored = {}

        def answer(request):
            document_id = next(name for name in os.listdir(self.storage) if re.match(r"[0-9A-F]{32}_", name))
            with open(os.path.join(self.storage, document_id), encoding="utf-8") as file:
                self.stored = json.load(file)
            return "{}"

        server = self.server(answer)
        played = self.play([NO_HOLD, START, step("page", record=RECORD), step("click", record={"PARAM_NAME": "buy"}), SEND],
                           server.url)
        self.assertEqual(len(server.requests), 1)
        return server.requests[0], played

    def test_arrives_as_it_was_stored(self):
        request, _ = self.send_one()
        self.assertEqual(request.document, self.stored)

    def test_arrives_as_it_was_logged(self):
        request, played = self.send_one()
        line, = played.logged("DEBUG_HARVELSTONE_JSON[SDK->SERVER] ")
        self.assertEqual(request.document, json.loads(line.split(" ", 1)[1]))

    def test_carries_records_with_every_kind_of_value(self):
        page = self.send_one()[0].document["pages"][0]
        expected = {"name" if key == "PARAM_NAME" else key: value for key, value in RECORD.items()}
        self.assertEqual({key: page[key] for key in expected}, expected)
        self.assertIsInstance(page["price"], float)
        self.assertIsInstance(page["count"], int)
        self.assertIs(page["sale"], True)

    def test_is_percent_encoded_but_for_the_unreserved_characters(self):
        encoded = gzip.decompress(self.send_one()[0].body).decode("ascii")
        self.assertRegex(encoded, r"\A(?:[A-Za-z0-9._~-]|%[0-9A-F]{2})+\Z")
        self.assertNotRegex(encoded, r"%(?:2D|2E|5F|7E|3[0-9]|4[1-9A-F]|5[0-9A]|6[1-9A-F]|7[0-9A])")

    def test_has_exactly_these_headers(self):
        request, _ = self.send_one()
        self.assertEqual(request.method, "POST")
        self.assertEqual(request.target, "/upload")
        self.assertEqual(request.header("Content-Type"), "application/octet-stream")
        self.assertEqual(request.header("Content-Encoding"), "gzip")
        self.assertEqual(request.header("Content-Length"), str(len(request.body)))
        self.assertEqual(set(request.header_names()) - {"host", "accept", "user-agent"},
                         {"content-type", "content-encoding", "content-length"})


class ImmediateUpload(harness.Case):
    def send(self, name, record):
        server = self.server()
        self.play([NO_HOLD, START, step(name, record=record)], server.url)
        self.assertEqual(len(server.requests), 1)
        return server.requests[0]

    def assert_headers(self, request):
        self.assertEqual(request.method, "POST")
        self.assertEqual(request.header("Content-Type"), "application/octet-stream")
        self.assertEqual(request.header("Content-Encoding"), "gzip")
        self.assertIsNone(request.header("Content-Length"))
        self.assertEqual(set(request.header_names()) - {"host", "accept", "user-agent"},
                         {"content-type", "content-encoding", "transfer-encoding"})

    def test_of_a_click_goes_out_unchanged_without_content_length(self):
        request = self.send("sendClickDataImmediately", {"PARAM_NAME": "buy"})
        self.assert_headers(request)
        self.assertEqual(set(request.document), {"session", "click"})
        self.assertEqual(request.document["click"], [{"name": "buy"}])

    def test_of_a_goal_is_stamped_and_goes_out_without_content_length(self):
        request = self.send("sendGoalDataImmediately", {"g1": 5})
        self.assert_headers(request)
        self.assertEqual(set(request.document), {"session", "goal"})
        goal, = request.document["goal"]
        self.assertEqual(goal["g1"], 5)
        self.assertEqual(goal["sdk_version"], "21.2.54")
        self.assertIn("visit_time", goal)

    def test_holds_the_session_section_of_the_oldest_document(self):
        request = self.send("sendClickDataImmediately", {})
        document_id = self.inspect()["pending"][0]
        self.assertEqual(request.document["session"], self.inspect()["documents"][document_id]["session"])


class Cookies(harness.Case):
    def test_are_neither_sent_nor_kept(self):
        server = self.server(headers=("Set-Cookie: taste=vanilla; Path=/; Max-Age=3600",))
        visit = [*NEW_VISIT, SEND, harness.SETTLE]
        self.play([NO_HOLD, START, step("sendClickDataImmediately", record={}), SEND, harness.SETTLE, *visit], server.url)
        self.play([*NEW_VISIT, SEND], server.url)
        self.assertEqual(len(server.requests), 4)
        for request in server.requests:
            self.assertIsNone(request.header("Cookie"))
        for name in os.listdir(self.storage):
            with open(os.path.join(self.storage, name), "rb") as file:
                self.assertNotIn(b"vanilla", file.read(), name)


class Drain(harness.Case):
    def test_of_fifty_documents_uses_one_connection_and_keeps_their_order(self):
        server = self.server()
        visits = [each for number in range(49)
                  for each in [*NEW_VISIT, step("page", record={"number": number})]]
        waiting = self.play([NO_HOLD, OFFLINE, START, *visits])
        self.assertEqual(len(waiting.pending), 50)
        # A start adds the fifty-first.
        played = self.play([ONLINE, SEND], server.url)
        self.assertEqual(server.connections, 1)
        self.assertEqual(played.receipt["sent"], 50)
        self.assertEqual(played.receipt["dropped"], {"no_conversion_data": 1})
        sids = [document["session"]["sid"] for document in server.documents()]
        self.assertEqual(sids, [pending.split("_")[0] for pending in waiting.pending])


if __name__ == "__main__":
    harness.main()
