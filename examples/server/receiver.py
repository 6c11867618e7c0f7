"""Receives documents and appends each once to a file. usage: receiver.py PORT FILE"""
import gzip
import http.server
import json
import sys
import threading
import time
import urllib.parse

lock = threading.Lock()
def document(upload):
    session = upload["session"]  # an immediate upload is no document: it equals nothing
    return (session["uuid"], session["sid"], session["create_time"]) if "retry_count" in upload else object()

def keep(upload):
    with lock, open(sys.argv[2], "a+", encoding="utf-8") as file:
        file.seek(0)
        if document(upload) not in (document(json.loads(line)) for line in file):  # a database finds it faster
            file.write(json.dumps(upload) + "\n")

class Receiver(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"  # an app sends all that waits over one connection
    def do_POST(self):
        try:
            keep(json.loads(urllib.parse.unquote(gzip.decompress(self.body()).decode("ascii"))))
            reply = {"visit_new_server_time": int(time.time())}
        except Exception as error:  # no upload, or no room for it: an app would take a mere status for an answer
            self.log_error("%r", error)
            reply = {"retry": True, "wait_seconds": 600}
        self.send_response(200)
        self.send_header("Content-Length", str(len(json.dumps(reply))))
        self.end_headers()
        self.wfile.write(json.dumps(reply).encode("ascii"))

    def body(self):
        chunks = iter(lambda: self.rfile.read(int(self.rfile.readline(), 16) + 2), b"\r\n")  # of an immediate upload
        size = self.headers["Content-Length"]
        return self.rfile.read(int(size)) if size else b"".join(chunk[:-2] for chunk in chunks)

http.server.ThreadingHTTPServer(("127.0.0.1", int(sys.argv[1])), Receiver).serve_forever()
