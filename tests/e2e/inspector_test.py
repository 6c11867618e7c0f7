"""The page of `harvelstone collect` and its HTTP API, asked by a client that is not ours."""

import base64
import hashlib
import http.client
import json
import re
import signal
import socket
import time

import collecting
import harness
import upload_schema
from harness import DONE, encode

DOCUMENT = {"session": {"sid": "S1", "rate": 42.0}, "postback": {}, "click": [{"name": "<script>größer</script>"}]}
BUSY = {"status": 503, "body": "busy"}


class Inspector(collecting.CollectorCase):
    def state(self):
        return json.loads(self.ask("GET", "/api/state")[2])

    def exchanges(self):
        return json.loads(self.ask("GET", "/api/exchanges")[2])

    def misbehave(self, **wish):
        status, _, text = self.ask("PUT", "/api/misbehaviour", json.dumps(wish))
        return status, text

    def events(self, last_id=None, path="/api/events"):
        """The stream of changes as (id, name, data), as they come."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=harness.TIME_LIMIT)
        self.addCleanup(connection.close)
        connection.request("GET", path, headers={"Last-Event-ID": last_id} if last_id else {})
        response = connection.getresponse()
        self.addCleanup(response.close)
        self.assertEqual((response.status, response.headers["Content-Type"]), (200, "text/event-stream"))
        fields = {}
        while line := response.readline().decode("utf-8"):
            if line == "\n":
                yield fields.get("id"), fields["event"], json.loads(fields["data"])
                fields = {}
            else:
                name, value = line.rstrip("\n").split(": ", 1)
                fields[name] = value

    def test_shows_each_upload_with_request_and_reply(self):
        self.collect_with_replies({"status": 202, "body": {"retry": True}})
        body = encode(DOCUMENT)
        begin = time.time()
        self.post(body, "/any/path?query=1", {"Content-Encoding": "gzip", "X-App": "<b>"})
        [exchange] = self.exchanges()
        self.assertEqual((exchange["number"], exchange["path"], exchange["refusal"]), (1, "/any/path?query=1", None))
        self.assertEqual(json.loads(exchange["json"]), DOCUMENT)
        self.assertEqual(exchange["bytes"]["gzip"], len(body))
        self.assertEqual(exchange["bytes"]["json"], len(json.dumps(DOCUMENT)))
        headers = dict(exchange["headers"])
        self.assertEqual((headers["X-App"], headers["Content-Encoding"]), ("<b>", "gzip"))
        self.assertEqual(set(headers), {"Accept-Encoding", "Content-Encoding", "Content-Length", "Host", "X-App"})
        given = exchange["given"]
        self.assertEqual((given["status"], given["body"], given["source"]), (202, '{"retry":true}', "script"))
        self.assertTrue(begin - 1 <= exchange["arrived"] <= time.time() + 1)

    def test_shows_what_did_not_decode(self):
        self.collect()
        self.post(b"\x00<plain>")
        [exchange] = self.exchanges()
        self.assertEqual((exchange["json"], exchange["refusal"]), (None, "the body is no whole gzip stream"))
        self.assertEqual(bytes.fromhex(exchange["bodyStart"]), b"\x00<plain>")
        self.assertEqual((exchange["given"]["status"], exchange["given"]["source"]), (400, "collector"))

    def test_shows_what_was_cut_off(self):
        self.collect()
        with socket.create_connection(("127.0.0.1", self.port)) as client:
            client.sendall(b"POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\nabc")
            client.shutdown(socket.SHUT_WR)
            self.assertEqual(client.recv(1), b"")
        [exchange] = self.exchanges()
        self.assertEqual((exchange["bodyStart"], exchange["given"]["close"]), (b"abc".hex(), True))

    def test_misbehaves_for_as_many_uploads_as_asked_for(self):
        self.collect_with_replies({"body": "first"}, {"body": "second"})
        self.assertEqual(self.misbehave(times=2, **BUSY)[0], 200)
        answers = [self.post(encode(DOCUMENT)) for _ in range(4)]
        self.assertEqual(answers, [(503, "busy"), (503, "busy"), (200, "first"), (200, "second")])
        self.assertEqual([each["given"]["source"] for each in self.exchanges()], ["misbehaviour"] * 2 + ["script"] * 2)
        self.assertIsNone(self.state()["misbehaviour"])

    def test_misbehaves_in_every_way(self):
        self.collect()
        self.misbehave(body={"retry": True, "traffic_limit_exceeded": True})
        self.assertEqual(self.post(encode(DOCUMENT)), (200, '{"retry":true,"traffic_limit_exceeded":true}'))
        self.misbehave(close=True)
        with self.assertRaises(http.client.RemoteDisconnected):
            self.post(encode(DOCUMENT))
        self.misbehave(delay=0.2)
        begin = time.monotonic()
        self.assertEqual(self.post(encode(DOCUMENT)), (200, "{}"))
        self.assertGreaterEqual(time.monotonic() - begin, 0.2)
        self.assertGreaterEqual(self.exchanges()[2]["given"]["milliseconds"], 200)
        self.assertTrue(self.exchanges()[1]["given"]["close"])

    def test_a_body_that_does_not_decode_uses_no_misbehaviour_up(self):
        self.collect()
        self.misbehave(**BUSY)
        self.assertEqual(self.post(b"plain")[0], 400)
        self.assertEqual(self.post(encode(DOCUMENT)), (503, "busy"))

    def test_takes_each_misbehaviour_of_the_guide(self):
        self.collect()
        guide = (upload_schema.SCHEMA_FILE.parent / "collect.md").read_text(encoding="utf-8")
        lines = guide.split("\n## The API\n")[1].split("```jsonl\n")[1].split("```")[0].splitlines()
        for line in lines:
            self.assertEqual(self.misbehave(**json.loads(line))[0], 200, line)
        self.assertEqual(self.state()["misbehaviour"]["times"], json.loads(lines[-1])["times"])

    def test_behaves_again_when_told(self):
        self.collect()
        self.misbehave(times=9, **BUSY)
        self.assertEqual(self.state()["misbehaviour"]["times"], 9)
        self.assertEqual(self.ask("DELETE", "/api/misbehaviour")[0], 200)
        self.assertEqual(self.post(encode(DOCUMENT)), (200, "{}"))

    def test_refuses_a_misbehaviour_that_makes_no_sense(self):
        self.collect()
        wrong = ({"times": 0}, {"times": "2"}, {"times": 1000001}, {"status": 99}, {"delay": -1}, {"close": 1}, {"noise": 1})
        for wish in wrong:
            status, why = self.misbehave(**wish)
            self.assertEqual(status, 400, wish)
            self.assertIn(next(iter(wish)), why)
        self.assertEqual(self.ask("PUT", "/api/misbehaviour", "[1]")[0], 400)
        self.assertEqual(self.misbehave(body="x" * 65536)[0], 413)
        self.assertIsNone(self.state()["misbehaviour"])

    def test_streams_what_was_and_what_comes(self):
        self.collect()
        self.post(encode(DOCUMENT))
        events = self.events()
        _, name, hello = next(events)
        self.assertEqual((name, hello["state"]["last"]), ("hello", 1))
        last_id, name, first = next(events)
        self.assertEqual((name, first["exchange"]["number"], first["exchange"]["given"]["status"]), ("exchange", 1, 200))
        self.misbehave(times=1, **BUSY)
        last_id, name, misbehaviour = next(events)
        self.assertEqual((name, misbehaviour["status"]), ("misbehaviour", 503))

        self.post(encode(DOCUMENT))
        for again in (self.events(last_id), self.events(path=f"/api/events?after={last_id}"),
                      self.events(last_id, "/api/events?after=")):
            self.assertEqual(next(again)[1], "hello")
            seen = [next(again) for _ in range(2)]
            self.assertEqual([name for _, name, _ in seen], ["misbehaviour", "exchange"])
            self.assertEqual(seen[1][2]["exchange"]["number"], 2)

    def test_streams_all_to_who_knew_another_collector(self):
        self.collect()
        self.post(encode(DOCUMENT))
        events = self.events("1000000000.000000-77")
        self.assertEqual([next(events)[1] for _ in range(2)], ["hello", "exchange"])

    def test_an_open_stream_does_not_hold_up_the_end(self):
        self.collect()
        events = self.events()
        next(events)
        self.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.process.wait(harness.TIME_LIMIT), DONE)

    def test_streams_are_limited_and_free_again_when_their_clients_go(self):
        self.collect()
        connections = [http.client.HTTPConnection("127.0.0.1", self.port, timeout=harness.TIME_LIMIT) for _ in range(17)]
        for connection in connections:
            self.addCleanup(connection.close)
            connection.request("GET", "/api/events")
        responses = [connection.getresponse() for connection in connections]
        self.assertEqual(sorted(response.status for response in responses), [200] * 16 + [503])
        self.assertEqual(self.post(encode(DOCUMENT))[0], 200)
        for response, connection in zip(responses, connections):
            response.close()
            connection.close()
        harness.wait_until(lambda: self.ask_for_stream() == 200, "a stream is to be had again")

    def ask_for_stream(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=harness.TIME_LIMIT)
        connection.request("GET", "/api/events")
        response = connection.getresponse()
        response.close()
        connection.close()
        return response.status

    def test_exports_documents_as_json_lines(self):
        self.collect()
        pretty = {"a": [1, 2], "note": "line\nend"}
        self.post(encode(DOCUMENT))
        self.post(b"plain")
        self.post(harness.gzip.compress(json.dumps(pretty, indent=2).encode("ascii")))
        status, headers, text = self.ask("GET", "/api/documents.jsonl")
        self.assertEqual((status, headers["Content-Disposition"]), (200, "attachment"))
        self.assertEqual([json.loads(line) for line in text.splitlines()], [DOCUMENT, pretty])

    def test_forgets_when_told(self):
        self.collect()
        self.post(encode(DOCUMENT))
        self.assertEqual(self.ask("DELETE", "/api/exchanges")[0], 200)
        self.assertEqual(self.exchanges(), [])
        self.post(encode(DOCUMENT))
        self.assertEqual([each["number"] for each in self.exchanges()], [2])

    def is_reached_at(self, address):
        with socket.socket() as client:
            return client.connect_ex((address, self.port)) == 0

    def test_is_reached_under_no_other_address_than_127_0_0_1(self):
        self.collect()
        self.assertTrue(self.is_reached_at("127.0.0.1"))
        self.assertFalse(self.is_reached_at("127.0.0.2"))

    def test_is_reached_under_every_address_when_told_so(self):
        self.collect(host="0.0.0.0")
        self.assertTrue(self.is_reached_at("127.0.0.2"))

    def test_answers_only_who_means_this_host(self):
        self.collect()
        for host in (f"127.0.0.1:{self.port}", "localhost", f"LOCALHOST:{self.port}", "[::1]:80", "10.0.2.2:8080"):
            self.assertEqual(self.ask("GET", "/", headers={"Host": host})[0], 200, host)
        for host in ("evil.example", f"evil.example:{self.port}", "127.0.0.1.evil.example", "localhost.evil.example", ""):
            for path in ("/", "/api/exchanges", "/api/events", "/api/documents.jsonl"):
                self.assertEqual(self.ask("GET", path, headers={"Host": host})[0], 403, (host, path))

    def test_takes_orders_from_no_other_page(self):
        self.collect()
        own = {"Origin": f"http://127.0.0.1:{self.port}"}
        foreign = {"Origin": "http://evil.example"}
        self.assertEqual(self.ask("PUT", "/api/misbehaviour", json.dumps(BUSY), foreign)[0], 403)
        self.assertEqual(self.ask("DELETE", "/api/exchanges", headers={"Origin": "null"})[0], 403)
        self.assertIsNone(self.state()["misbehaviour"])
        self.assertEqual(self.ask("PUT", "/api/misbehaviour", json.dumps(BUSY), own)[0], 200)

    def test_uploads_are_taken_under_any_host_name(self):
        self.collect()
        status, text = self.post(encode(DOCUMENT), headers={"Host": "collector.example", "Content-Encoding": "gzip"})
        self.assertEqual((status, text), (200, "{}"))

    def test_the_page_allows_nothing_but_itself(self):
        self.collect()
        status, headers, page = self.ask("GET", "/")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/html; charset=utf-8"))
        policy = dict(part.split(" ", 1) for part in headers["Content-Security-Policy"].split("; "))
        self.assertEqual(policy["default-src"], "'none'")
        self.assertEqual(policy["connect-src"], "'self'")
        self.assertEqual(policy["frame-ancestors"], "'none'")
        [script] = re.findall(r"<script>(.*?)</script>", page, re.DOTALL)
        [style] = re.findall(r"<style>(.*?)</style>", page, re.DOTALL)
        for name, text in (("script-src", script), ("style-src", style)):
            digest = base64.b64encode(hashlib.sha256(text.encode("utf-8")).digest()).decode("ascii")
            self.assertEqual(policy[name], f"'sha256-{digest}'")
        self.assertEqual((headers["X-Content-Type-Options"], headers["Referrer-Policy"]), ("nosniff", "no-referrer"))

    def test_everything_else_is_not_there(self):
        self.collect()
        for method, path in (("GET", "/index.html"), ("GET", "/api"), ("PUT", "/"), ("DELETE", "/"), ("OPTIONS", "/api/state")):
            self.assertEqual(self.ask(method, path)[0], 404, (method, path))


if __name__ == "__main__":
    harness.main()
