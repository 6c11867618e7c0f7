"""A running `harvelstone collect`, for tests of what it answers."""

import http.client
import json
import re
import signal
import subprocess

import harness
from harness import COMMAND


class CollectorCase(harness.Case):
    def collect(self, *arguments, host=None):
        told = ["--host", host] if host else []
        self.process = subprocess.Popen([COMMAND, "collect", *told, *arguments], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.finish)
        line = self.process.stdout.readline()
        self.assertRegex(line, rf"\Alistening on http://{re.escape(host or '127.0.0.1')}:\d+\n\Z")
        self.port = int(line.rsplit(":", 1)[1])

    def collect_with_replies(self, *replies):
        self.collect("--replies", self.write("replies.jsonl", "".join(json.dumps(reply) + "\n" for reply in replies)))

    def finish(self):
        """Ends the collector; gives its exit code and what it has printed since its first line."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        output, errors = self.process.communicate(timeout=harness.TIME_LIMIT)
        return self.process.returncode, output, errors

    def ask(self, method, path, body=None, headers=None):
        """The whole answer: status, headers, text."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=harness.TIME_LIMIT)
        try:
            connection.request(method, path, body, headers or {})
            response = connection.getresponse()
            return response.status, response.headers, response.read().decode("utf-8")
        finally:
            connection.close()

    def post(self, body, path="/", headers=None):
        status, _, text = self.ask("POST", path, body, headers or {"Content-Encoding": "gzip"})
        return status, text
