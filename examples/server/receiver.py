"""Receives documents and appends each once to a file. usage: receiver.py PORT FILE"""
import gzip
import http.server
import json
import sys
import time
import urllib.parse

kept = set()
def keep(upload):
    session = upload["session"]
    document = session["uuid"], session["sid"], session["create_time"]
    if "retry_count" not in upload or document not in kept:  # an immediate upload is no document
        with open(sys.argv[2], "a", encoding="utf-8") as file:
            file.write(json.dumps(upload) + "\n")
    if "retry_count" in upload:
        kept.add(document)

class Receiver(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"  # an app sends all that waits over one connection

    def do_POST(self):
        upload = json.loads(urllib.parse.unquote(gzip.decompress(self.body()).decode("ascii")))
        try:
            keep(upload)
            reply = {"visit_new_server_time": int(time.time())}
        except OSError:  # not a status: the app would take it for an answer
            reply = {"retry": True, "wait_seconds": 600}
        self.send_response(200)
        self.send_header("Content-Length", str(len(json.dumps(reply))))
        self.end_headers()
        self.wfile.write(json.dumps(reply).encode("ascii"))

    def body(self):
        if self.headers["Content-Length"]:
            return self.rfile.read(int(self.headers["Content-Length"]))
        chunks = iter(lambda: self.rfile.read(int(self.rfile.readline(), 16) + 2), b"\r\n")
        return b"".join(chunk[:-2] for chunk in chunks)  # of an immediate upload

http.server.ThreadingHTTPServer(("127.0.0.1", int(sys.argv[1])), Receiver).serve_forever()
