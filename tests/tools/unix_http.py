"""HTTP on a Unix socket."""

import http.client
import json
import socket


class Connection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("host", timeout=60)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)

    def send_request(self, method, target, body=None, headers=None):
        """The answer, of which only the head was read."""
        self.request(method, target, body, headers or {})
        return self.getresponse()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def ask(self, method, target, body=None):
        answer = self.send_request(method, target, body)
        text = answer.read().decode()
        assert answer.status == 200, f"{method} {target}: {answer.status} {text}"
        return json.loads(text)
