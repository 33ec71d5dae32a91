#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Serves a page with a title for every address, on a free port of this machine, until it is ended.

Usage: demo_pages.py FILE

Writes the port into FILE once it listens.
"""

import html
import http.server
import pathlib
import sys


class Pages(http.server.BaseHTTPRequestHandler):
    """A page is titled by the host and the path that it was asked for."""

    def do_GET(self):  # noqa: N802 (the library's name)
        host = self.headers.get("Host", "").partition(".")[0].partition(":")[0]
        path = self.path.partition("?")[0].strip("/") or "home"
        title = html.escape(f"{path.capitalize()} - {host.capitalize()}")
        page = f"<!DOCTYPE html><meta charset=utf-8><title>{title}</title><h1>{title}</h1>".encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.send_header("Content-Length", str(len(page)))
        self.end_headers()
        self.wfile.write(page)

    def log_message(self, *_):
        pass


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Pages) as server:
        port = pathlib.Path(sys.argv[1])
        port.with_suffix(".new").write_text(str(server.server_address[1]))
        port.with_suffix(".new").rename(port)
        server.serve_forever()
    return 0


if __name__ == "__main__":
    sys.exit(main())
