"""A door that answers what a test tells it to, on a Unix socket."""

import http.server
import json
import os
import socket
import socketserver
import threading
import time


class Answer:
    """What comes back for one call: JSON, a text, or the raw bytes of a connection that then ends."""

    def __init__(self, body=None, status=200, raw=None, hangs=False):
        self.body = body if isinstance(body, bytes) else json.dumps(body).encode()
        self.status = status
        self.raw = raw
        self.hangs = hangs


def refusal(status, code, text, what=""):
    return Answer({"error": {"code": code, "text": text, "what": what}}, status)


class FakeDoor:
    """Keeps what it was asked in `calls`, as (method, target, body). `answer` gets these and gives an Answer, or None
    where it took the connection's file `wfile` for itself."""

    def __init__(self, path, answer):
        self.calls = []
        door = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def serve(self):
                body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
                door.calls.append((self.command, self.path, body))
                given = answer(self, body)
                if given is None:
                    self.close_connection = True
                    return
                if given.hangs:
                    door.ended.wait(60)
                if given.raw is not None or given.hangs:
                    self.wfile.write(given.raw or b"")
                    self.close_connection = True
                    return
                self.send_response(given.status)
                self.send_header("Content-Length", str(len(given.body)))
                self.end_headers()
                self.wfile.write(given.body)

            do_GET = do_PUT = do_POST = do_DELETE = serve

            def address_string(self):
                return "client"

            def log_message(self, *_):
                pass

        class Server(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
            daemon_threads = True

            def handle_error(self, *_):
                pass  # a client that has gone

        self.ended = threading.Event()
        if os.path.exists(path):
            os.unlink(path)
        self.server = Server(path, Handler)
        self.path = path
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.01}, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.ended.set()
        self.server.shutdown()
        self.server.server_close()
        if os.path.exists(self.path):
            os.unlink(self.path)
