# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""A service that takes every upload and adds up what it got."""

import http.server
import json
import threading

PORT = 8787  # compiled into the agent


class UploadSink:
    """While it is entered, on a thread of its own."""

    def __init__(self):
        self.uploads, self.delivered = 0, 0
        self._is_open = True
        sink = self

        class Answer(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
                if sink._is_open:
                    sink.uploads += 1
                    sink.delivered += sum(row["duration_seconds"] for row in body["activities"])
                self.send_response(201 if sink._is_open else 503)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *_):
                pass

        self._server = http.server.HTTPServer(("127.0.0.1", PORT), Answer)
        self._thread = threading.Thread(target=self._server.serve_forever)

    def close_after_this(self) -> None:
        """From now on it takes nothing more, so that `delivered` stays."""
        self._is_open = False

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._thread.join()
        self._server.server_close()
