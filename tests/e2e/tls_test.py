"""Uploads over TLS: what the command makes of certificates that are in order and of those that are not."""

import os
import ssl
import subprocess

import harness
from harness import NEW_VISIT, NO_HOLD, SEND, START


class TlsServer(harness.Server):
    """The server of the other tests behind TLS."""

    def __init__(self, certificate, key):
        self._context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._context.load_cert_chain(certificate, key)
        super().__init__()
        self.url = self.url.replace("http:", "https:")

    def _serve(self, connection, number):
        try:
            with self._context.wrap_socket(connection, server_side=True) as secure:
                super()._serve(secure, number)
        except OSError:
            return  # the client did not trust us


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, capture_output=True, timeout=harness.TIME_LIMIT)


class Certificates(harness.Case):
    """Each test makes an authority and a server of its own."""

    def setUp(self):
        super().setUp()
        self.authority = self.path("authority.pem")
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
                "-subj", "/CN=Authority of the test", "-keyout", self.path("authority.key"), "-out", self.authority)

    def tls_server(self, names="IP:127.0.0.1", days="2"):
        key, request, certificate = self.path("server.key"), self.path("server.csr"), self.path("server.pem")
        extensions = self.write("server.ext", "subjectAltName=" + names)
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=Server of the test",
                "-keyout", key, "-out", request)
        openssl("x509", "-req", "-in", request, "-CA", self.authority, "-CAkey", self.path("authority.key"),
                "-CAcreateserial", "-days", days, "-extfile", extensions, "-out", certificate)
        return self.closed_and_checked(TlsServer(certificate, key))

    def play_over(self, server, *options):
        """Two visits, so that the loop has a next document to go on to."""
        steps = [NO_HOLD, START, *NEW_VISIT, SEND]
        ended = harness.run(*self.arguments(steps, server.url), *options)
        return harness.Played(ended.returncode, ended.stdout, ended.stderr, self.read_log())

    def test_of_the_given_authority_are_trusted(self):
        server = self.tls_server()
        played = self.play_over(server, "--authorities", self.authority)
        self.assertEqual(played.code, harness.DONE, played.errors)
        self.assertGreaterEqual(played.receipt["sent"], 2)
        self.assertEqual(played.receipt["sent"], len(server.requests))
        self.assertEqual(server.connections, 1)

    def test_of_nobody_the_system_knows_cost_each_document_and_no_more(self):
        server = self.tls_server()
        self.assert_refused(server, self.play_over(server))

    def test_for_another_name_are_refused(self):
        server = self.tls_server(names="DNS:collector.example")
        self.assert_refused(server, self.play_over(server, "--authorities", self.authority))

    def test_that_have_expired_are_refused(self):
        server = self.tls_server(days="-1")
        self.assert_refused(server, self.play_over(server, "--authorities", self.authority))

    def assert_refused(self, server, played):
        self.assertEqual(played.code, harness.DONE, played.errors)
        self.assertEqual(server.requests, [])
        self.assertEqual(played.receipt["sent"], 0)
        self.assertGreaterEqual(played.receipt["dropped"]["transport_failed"], 2)
        self.assertIn("DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an Exception occurred.",
                      played.log)

    def test_of_an_authority_that_cannot_be_read_are_wrong_use(self):
        for file in self.path("none.pem"), self.write("empty.pem", "no certificate"):
            ended = harness.run(*self.arguments([START]), "--authorities", file)
            self.assertEqual(ended.returncode, harness.WRONG_USE)
            self.assertIn("harvelstone replay: the file of certificate authorities", ended.stderr)
            self.assertFalse(os.path.exists(self.storage))


if __name__ == "__main__":
    harness.main()
