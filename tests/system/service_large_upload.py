#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Everything that somebody kept for years arrives in one upload: two million rows, on SQLite and on PostgreSQL, each acknowledged
when all of them are stored, and meanwhile the service takes little more memory.

Usage: service_large_upload.py SERVICE [ROWS]
"""

import contextlib
import json
import os
import pathlib
import re
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from service_bench import Bench, connect, missing_programs, sign_in

SKIPPED = 77
ROWS = 2_000_000
EMAIL = "collector@example.org"
PASSWORD = "correct horse battery"
# More than the sanitizers keep of freed memory, far less than what is sent.
MOST_GROWTH = 150 << 20
AT_A_TIME = 2000


def row(number: int) -> bytes:
    """All are equally long."""
    start = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(1_500_000_000 + 30 * number))
    return (f'{{"app_name":"Application {number % 40:02}","window_title":"Some document or page number {number:07} - a title of '
            f'usual length","url":null,"duration_seconds":{10 + number % 90},"start_time":"{start}"}}').encode()


def memory(process: int, name: str) -> int:
    status = pathlib.Path(f"/proc/{process}/status").read_text(encoding="utf-8")
    return int(re.search(rf"^{name}:\s+(\d+) kB$", status, re.MULTILINE)[1]) << 10


def send(port: int, token: str, count: int):
    """Status and answer of an upload of so many rows, which is never whole on our side either."""
    before = (b'{"device_id":"device","sync_timestamp":"2026-11-21T09:30:00Z","interval_minutes":5,"activities":[')
    after = b"]}"
    length = len(before) + count * (len(row(0)) + 1) - 1 + len(after)

    def pieces():
        yield before
        for first in range(0, count, AT_A_TIME):
            rows = b",".join(row(number) for number in range(first, min(first + AT_A_TIME, count)))
            yield b"," + rows if first else rows
        yield after
    with contextlib.closing(connect(port)) as connection:
        connection.timeout = 3000
        connection.request("POST", "/api/activity-log", pieces(),
                           {"Authorization": "Bearer " + token, "Content-Length": str(length)})
        answer = connection.getresponse()
        return length, answer.status, answer.read()


def try_on(bench: Bench, service: str, name: str, database, count: int):
    bench.service(service, "--database", database, "--add-user", EMAIL, "Collector", text=PASSWORD + "\n")
    options = os.environ.get("ASAN_OPTIONS", "")
    process, port = bench.start_service(service, database, "service.log",
                                        env={**os.environ, "ASAN_OPTIONS": options + ":quarantine_size_mb=4"})
    try:
        with contextlib.closing(connect(port)) as connection:
            token = sign_in(connection, EMAIL, PASSWORD)
        send(port, token, 10)
        pathlib.Path(f"/proc/{process.pid}/clear_refs").write_text("5", encoding="utf-8")  # its peak begins anew
        idle = memory(process.pid, "VmRSS")
        began = time.monotonic()
        length, status, answer = send(port, token, count)
        took = time.monotonic() - began
        growth = memory(process.pid, "VmHWM") - idle
        summary = bench.service(service, "--database", database, "--summary")
        print(f"{name}: {count} rows, {length / 1e6:.0f} MB in {took:.0f} s, {growth / 1e6:.0f} MB more memory", flush=True)
        assert (status, json.loads(answer)) == (201, {"success": True, "stored": count}), (status, answer)
        assert summary.startswith(f"user 1: {count} rows, "), summary
        assert growth < MOST_GROWTH, f"{growth} bytes more"
        assert length > 1.5 * MOST_GROWTH or count < ROWS, f"{length} bytes show nothing"
    finally:
        code = bench.end(process)
    assert code == 0, code


def main() -> int:
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    missing = missing_programs()
    if missing:
        print("not installed: " + ", ".join(missing))
        return SKIPPED
    service = str(pathlib.Path(sys.argv[1]).resolve())
    count = int(sys.argv[2]) if len(sys.argv) > 2 else ROWS
    with contextlib.closing(Bench()) as bench:
        bench.start_postgres()
        if bench.user == "root":
            bench.administer("createuser", bench.user)  # others are its superuser here
        bench.administer("createdb", f"--owner={bench.user}", "velomira")
        try_on(bench, service, "SQLite", bench.folder / "service.sqlite", count)
        try_on(bench, service, "PostgreSQL", bench.database("velomira"), count)
    return 0


if __name__ == "__main__":
    sys.exit(main())
