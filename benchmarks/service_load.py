#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Measures what velomira-service stores, and how fast, on this machine: uploads of rows of the usual size
from several clients at once, into SQLite or into a PostgreSQL server of its own, which is as it is
installed (fsync on).

Usage: service_load.py [options] SERVICE

Prints one JSON object:
  rows_per_s, uploads_per_s   from the first upload to the answer to the last
  upload_ms_p50, upload_ms_p99  from the client's side
  bytes_per_row, of_which_index_bytes   the table "runs" with its index, or the SQLite file after a
                              checkpoint; divided by its rows
  service_cpu_s_per_million_rows, service_peak_mb
  dump_s, dump_bytes_per_row, restore_s  (PostgreSQL) pg_dump and pg_restore in the custom format
"""

import argparse
import json
import os
import pathlib
import sqlite3
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/support"))
from service_bench import Bench, connect, rows, sign_in, upload

OF_ALL_MONTHS = "select sum(pg_{}_size(inhrelid)) from pg_inherits where inhparent = 'runs'::regclass"
PASSWORD = "correct horse battery"


def processor_seconds(pid: int) -> float:
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def peak_mb(pid: int) -> float:
    for line in pathlib.Path(f"/proc/{pid}/status").read_text(encoding="ascii").splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) / 1024
    raise RuntimeError("no peak")


def client(port: int, token: str, number: int, options, times: list, faults: list):
    connection = connect(port)
    for turn in range(options.uploads):
        body = rows(options.rows, (number * options.uploads + turn) * options.rows)
        begun = time.monotonic()
        status, answer = upload(connection, token, body, device=f"device-{number}")
        times.append(time.monotonic() - begun)
        if status != 201:
            faults.append((status, answer))
            break
    connection.close()


def load(port: int, options, pid: int) -> dict:
    token = sign_in(connect(port), "load@example.org", PASSWORD)
    times, faults = [], []
    threads = [threading.Thread(target=client, args=(port, token, n, options, times, faults))
               for n in range(options.clients)]
    processor, begun = processor_seconds(pid), time.monotonic()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    seconds = time.monotonic() - begun
    if faults:
        raise RuntimeError(f"an upload failed: {faults[0]}")
    times.sort()
    count = options.clients * options.uploads * options.rows
    return {"rows": count, "rows_per_s": round(count / seconds), "uploads_per_s": round(len(times) / seconds, 1),
            "upload_ms_p50": round(1000 * times[len(times) // 2], 1),
            "upload_ms_p99": round(1000 * times[int(len(times) * 0.99)], 1),
            "service_cpu_s_per_million_rows": round((processor_seconds(pid) - processor) * 1e6 / count, 1),
            "service_peak_mb": round(peak_mb(pid))}


def on_postgres(bench: Bench, options) -> dict:
    bench.start_postgres()
    if bench.user == "root":
        bench.administer("createuser", bench.user)
    bench.administer("createdb", f"--owner={bench.user}", "velomira")
    result = serve_and_load(bench, bench.database("velomira"), options)

    def number(query: str) -> int:
        return int(bench.administer("psql", "-At", "-d", "velomira", "-c", query))
    bench.administer("psql", "-At", "-d", "velomira", "-c", "vacuum runs")
    result["bytes_per_row"] = round(number(OF_ALL_MONTHS.format("total_relation")) / result["rows"])
    result["of_which_index_bytes"] = round(number(OF_ALL_MONTHS.format("indexes")) / result["rows"])
    dump = bench.folder / "velomira.dump"
    begun = time.monotonic()
    bench.run(["pg_dump", "--host", bench.socket, "--format=custom", f"--file={dump}", "velomira"])
    result["dump_s"] = round(time.monotonic() - begun, 1)
    result["dump_bytes_per_row"] = round(dump.stat().st_size / result["rows"])
    bench.administer("createdb", f"--owner={bench.user}", "restored")
    begun = time.monotonic()
    bench.run(["pg_restore", "--host", bench.socket, "--no-owner", "--exit-on-error", "--dbname=restored", dump])
    result["restore_s"] = round(time.monotonic() - begun, 1)
    return result


def on_sqlite(bench: Bench, options) -> dict:
    file = bench.folder / "service.sqlite"
    result = serve_and_load(bench, file, options)
    with sqlite3.connect(file) as database:
        database.execute("pragma wal_checkpoint(truncate)")
    result["bytes_per_row"] = round(file.stat().st_size / result["rows"])
    return result


def serve_and_load(bench: Bench, database, options) -> dict:
    bench.service(options.service, "--database", database, "--add-user", "load@example.org", "Load",
                  text=PASSWORD + "\n")
    process, port = bench.start_service(options.service, database, "service.log")
    result = load(port, options, process.pid)
    bench.end(process)
    return result


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--database", choices=("sqlite", "postgresql"), default="postgresql")
    parser.add_argument("--clients", type=int, default=8)
    parser.add_argument("--uploads", type=int, default=50, help="of each client")
    parser.add_argument("--rows", type=int, default=500, help="of each upload")
    options = parser.parse_args()
    bench = Bench()
    try:
        print(json.dumps(on_sqlite(bench, options) if options.database == "sqlite" else on_postgres(bench, options),
                         indent=2))
    finally:
        bench.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
