"""What the end-to-end tests share: the built command, apps that it plays, and servers of our own.

Nothing here shares code with the command: requests are read off the socket and decoded with Python's own modules.
"""

import gzip
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.parse

import upload_schema

COMMAND = os.environ["HARVELSTONE_COMMAND"]
TIME_LIMIT = 60

DONE = 0
FAILED = 1
WRONG_USE = 2


def run(*arguments, **options):
    """Runs the command to its end."""
    return subprocess.run([COMMAND, *arguments], capture_output=True, text=True, timeout=TIME_LIMIT, **options)


def wait_until(condition, what):
    deadline = time.monotonic() + TIME_LIMIT
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("timed out waiting until " + what)
        time.sleep(0.005)


def decode(body):
    """The value in an upload's body."""
    encoded = gzip.decompress(body).decode("ascii")
    return json.loads(urllib.parse.unquote_to_bytes(encoded).decode("utf-8"))


def encode(value):
    """The body of an upload as a client that is not ours would make it."""
    return gzip.compress(urllib.parse.quote(json.dumps(value), safe="").encode("ascii"))


class Request:
    def __init__(self, connection, method, target, headers, body):
        self.connection = connection
        self.method = method
        self.target = target
        self.headers = headers  # pairs in the order of the wire
        self.body = body

    def header(self, name):
        values = [value for key, value in self.headers if key.lower() == name.lower()]
        assert len(values) < 2, f"{name} stands twice"
        return values[0] if values else None

    def header_names(self):
        return sorted(key.lower() for key, _ in self.headers)

    @property
    def document(self):
        return decode(self.body)


class Server:
    """An HTTP server over raw sockets. `answer(request)` gives the reply's body, or None to close the connection."""

    def __init__(self, answer=lambda request: "{}", headers=()):
        self.answer = answer
        self.headers = headers
        self.requests = []
        self.connections = 0
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.url = "http://127.0.0.1:%d/upload" % self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def close(self):
        self._listener.close()

    def documents(self):
        return [request.document for request in self.requests]

    def _accept(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self._serve, args=(connection, self.connections), daemon=True).start()

    def _serve(self, connection, number):
        with connection, connection.makefile("rb") as stream:
            try:
                while request := self._read(stream, number):
                    self.requests.append(request)
                    reply = self.answer(request)
                    if reply is None:
                        return
                    body = reply.encode("utf-8")
                    head = ["HTTP/1.1 200 OK", "Content-Length: %d" % len(body), *self.headers]
                    connection.sendall("\r\n".join(head).encode("ascii") + b"\r\n\r\n" + body)
            except OSError:
                return  # the client has gone

    @staticmethod
    def _read(stream, number):
        line = stream.readline()
        if not line:
            return None
        method, target, _ = line.decode("ascii").split()
        headers = []
        while (line := stream.readline().decode("latin-1").rstrip("\r\n")):
            name, value = line.split(":", 1)
            headers.append((name, value.strip()))
        request = Request(number, method, target, headers, b"")
        if request.header("Transfer-Encoding") == "chunked":
            while size := int(stream.readline(), 16):
                request.body += stream.read(size)
                stream.readline()
            stream.readline()
        else:
            request.body = stream.read(int(request.header("Content-Length") or 0))
        return request


class Played:
    """A run of `harvelstone replay` that has ended."""

    def __init__(self, code, output, errors, log):
        self.code = code
        self.errors = errors
        self.log = log
        self.result = json.loads(output) if output.strip() else None

    @property
    def receipt(self):
        return self.result["receipt"]

    @property
    def pending(self):
        return self.result["pending"]

    @property
    def last_error(self):
        """The last line on standard error; before it stand the component's own lines."""
        return self.errors.splitlines()[-1]

    def logged(self, start):
        return [line for line in self.log if line.startswith(start)]


def step(do, /, **arguments):
    return {"do": do, **arguments}


# The start-up hold waits for the install referrer; most apps here do not.
NO_HOLD = step("installReferrerSet", on=True)
OFFLINE = step("network", connected=False)
ONLINE = step("network", connected=True)
SEND = step("sendDocument")
SETTLE = step("settle")
START = step("startSession")
NEW_VISIT = [step("newVisit"), START]


class Case(unittest.TestCase):
    """A test with a folder of its own."""

    maxDiff = None

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="harvelstone-e2e-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.documents = os.path.join(self.folder, "documents")
        self.storage = os.path.join(self.documents, "harvelstone")
        self.log_file = os.path.join(self.folder, "debug.log")
        self.clicks = 0  # played so far
        self.counts_clicks = True  # whether no life was ended before it had played all of its steps

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(content)
        return self.path(name)

    def server(self, *arguments, **options):
        return self.closed_and_checked(Server(*arguments, **options))

    def closed_and_checked(self, server):
        """At the end of the test; what was uploaded to the server must be as the schema says."""
        self.addCleanup(lambda: upload_schema.check(server.documents()))
        self.addCleanup(server.close)
        return server

    def silent_server(self):
        """Never answers."""
        never = threading.Event()
        self.addCleanup(never.set)
        return self.server(lambda request: never.wait() and None)

    def scenario(self, steps):
        return self.write("scenario.jsonl", "".join(json.dumps(each) + "\n" for each in steps))

    def arguments(self, steps, target="http://127.0.0.1:9/"):
        return ["replay", self.scenario(steps), "--target", target, "--documents", self.documents,
                "--log", self.log_file, "--json"]

    def play(self, steps, target="http://127.0.0.1:9/", code=DONE):
        """Plays one life of the app. The default target is never reached: nobody listens there."""
        ended = run(*self.arguments(steps, target))
        played = Played(ended.returncode, ended.stdout, ended.stderr, self.read_log())
        self.assertEqual(played.code, code, ended.stderr)
        self.clicks += [each["do"] for each in steps].count("click")
        if code == DONE:
            self.check_ledger(played.result["ledger"])
        return played

    def check_ledger(self, ledger):
        """Every document and record is accounted for, to the run itself and to a look at its folder afterwards."""
        documents = ledger["documents"]
        self.assertEqual(documents["created"],
                         documents["sent"] + sum(documents["retired"].values()) + documents["pending"])
        for kind, counts in ledger["records"].items():
            self.assertEqual(counts["recorded"],
                             counts["sent"] + sum(counts["dropped"].values()) + counts["pending"] + counts["damaged"], kind)
        if self.counts_clicks:
            clicks = ledger["records"].get("click", {"recorded": 0})
            self.assertEqual(clicks["recorded"], self.clicks)
            self.assertEqual(self.inspect()["ledger"], ledger)

    def start(self, steps, target):
        """Begins a life of the app that the test ends itself."""
        self.counts_clicks = False
        process = subprocess.Popen([COMMAND, *self.arguments(steps, target)], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.send_signal(signal.SIGKILL)
        process.wait(TIME_LIMIT)

    def read_log(self):
        if not os.path.exists(self.log_file):
            return []
        with open(self.log_file, encoding="utf-8") as file:
            return file.read().splitlines()

    def inspect(self, folder=None):
        ended = run("inspect", folder or self.storage, "--json")
        self.assertEqual(ended.returncode, DONE, ended.stderr)
        return json.loads(ended.stdout)

    def queue(self, prefix):
        """The records of the only queue with that prefix."""
        queues = {name: records for name, records in self.inspect()["queues"].items() if name.startswith(prefix)}
        self.assertEqual(len(queues), 1, queues)
        return next(iter(queues.values()))


def main():
    unittest.main()
