"""What the guides give server authors to start from: the receiver of examples/server, and the reader of queue files."""

import concurrent.futures
import functools
import http.client
import json
import os
import socket
import subprocess
import sys
import urllib.parse

import harness
import upload_schema
from harness import DONE, NO_HOLD, OFFLINE, START, encode, run, step

EXAMPLES = upload_schema.SCHEMA_FILE.parents[1] / "examples"


class Receiver(harness.Case):
    def receive(self, file):
        """Starts the receiver; gives its address once it listens. `stop` ends it."""
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        process = subprocess.Popen([sys.executable, "-B", EXAMPLES / "server" / "receiver.py", str(port), file],
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(self.end, process)
        self.stop = functools.partial(self.end, process)
        self.address = urllib.parse.urlsplit(f"http://127.0.0.1:{port}/documents")
        harness.wait_until(self.listens, "the receiver listens")
        return self.address.geturl()

    def listens(self):
        try:
            socket.create_connection((self.address.hostname, self.address.port)).close()
        except OSError:
            return False
        return True

    def post(self, upload):
        return self.post_body(encode(upload))

    def post_body(self, body):
        connection = http.client.HTTPConnection(self.address.hostname, self.address.port, timeout=harness.TIME_LIMIT)
        try:
            connection.request("POST", self.address.path, body, {"Content-Encoding": "gzip"})
            return json.loads(connection.getresponse().read())
        finally:
            connection.close()

    @staticmethod
    def read(file):
        with open(file, encoding="utf-8") as lines:
            return [json.loads(line) for line in lines]

    def test_takes_everything_that_the_demos_app_sends(self):
        file = self.path("received.jsonl")
        target = self.receive(file)
        ended = run("replay", EXAMPLES / "shop.jsonl", "--target", target, "--documents", self.documents, "--json")
        self.assertEqual(ended.returncode, DONE, ended.stderr)
        counts = json.loads(ended.stdout)["counts"]
        received = self.read(file)
        upload_schema.check(received)
        documents = [upload for upload in received if "retry_count" in upload]
        self.assertEqual(len(documents), json.loads(ended.stdout)["receipt"]["sent"])
        self.assertEqual(len(received), counts["uploads"])
        self.assertEqual(len(received) - len(documents), counts["clickUploads"] + counts["goalUploads"])

    def test_keeps_a_document_once_and_each_immediate_upload(self):
        file = self.path("received.jsonl")
        self.receive(file)
        session = {"uuid": "U", "sid": "S", "create_time": 1.5}
        for upload in ({"session": session, "retry_count": 1}, {"session": session, "retry_count": 2},
                       {"session": {**session, "create_time": 2.5}, "retry_count": 1},
                       {"session": session, "click": [{}]}, {"session": session, "click": [{}]}):
            reply = self.post(upload)
            self.assertEqual(set(reply), {"visit_new_server_time"})
            self.assertEqual(upload_schema.faults(reply, "reply"), [])
        self.assertEqual([upload.get("retry_count") for upload in self.read(file)], [1, 1, None, None])

    def test_keeps_a_document_once_that_comes_many_times_at_once_and_after_a_restart(self):
        file = self.path("received.jsonl")
        uploads = [{"session": {"uuid": "U", "sid": "S", "create_time": number + 0.5}, "retry_count": 1} for number in range(5)]
        self.receive(file)
        with concurrent.futures.ThreadPoolExecutor(12) as senders:
            replies = list(senders.map(self.post, [upload for upload in uploads for _ in range(12)]))
        self.stop()
        self.receive(file)
        replies += [self.post(upload) for upload in uploads]
        self.assertEqual({key for reply in replies for key in reply}, {"visit_new_server_time"})
        self.assertCountEqual(self.read(file), uploads)

    def test_has_sent_again_what_is_no_upload(self):
        file = self.path("received.jsonl")
        self.receive(file)
        bodies = (b"plain", encode([]), encode({"click": [{}]}), encode({"session": {}, "retry_count": 1}), encode({})[:-9])
        for body in bodies:
            reply = self.post_body(body)
            self.assertEqual(reply, {"retry": True, "wait_seconds": 600})
        self.post({"session": {"uuid": "U", "sid": "S", "create_time": 1.5}, "retry_count": 1})
        self.assertEqual(len(self.read(file)), 1)

    def test_has_a_document_sent_again_that_it_cannot_keep(self):
        self.receive(self.path("no/such/folder"))
        reply = self.post({"session": {"uuid": "U", "sid": "S", "create_time": 1.5}, "retry_count": 1})
        self.assertEqual(reply, {"retry": True, "wait_seconds": 600})


class QueueReader(harness.Case):
    def test_prints_the_records_that_wait(self):
        self.play([NO_HOLD, OFFLINE, START, step("click", record={"n": 1}), step("click", record={"n": 2})])
        name, = [name for name in os.listdir(self.storage) if name.startswith("click_")]
        printed = subprocess.run([sys.executable, "-B", EXAMPLES / "storage" / "records.py", os.path.join(self.storage, name)],
                                 capture_output=True, text=True, check=True).stdout
        self.assertEqual([json.loads(line)["n"] for line in printed.splitlines()], [1, 2])


if __name__ == "__main__":
    harness.main()
