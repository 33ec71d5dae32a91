#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Measures what velomira-service stores, how fast, and in how much memory, on this machine: into SQLite and into a
PostgreSQL server of its own, which is as it is installed (fsync on). Prints the tables of docs/operator.md.

Usage: service_load.py [options] SERVICE [PART ...]

few        uploads of 10 rows from several clients at once, each of a user of its own: after a warm-up several runs; beside
           them the floor, the same rows in as many transactions without the service: COPY into an equal table by as many
           psql, or a prepared insert in one process with SQLite
many       the same with 500 rows; then bytes a row, pg_dump and pg_restore
idle       10,000 connections that say nothing: memory for them, and how long others wait for their uploads meanwhile
largest    one upload of 2,000,000 rows: time and memory
month      633,600 rows of one second in a month of one user: time to store them, and for all sums of their days
migration  10,000,000 rows of the second schema: time from the start to the first answer, uploads while rows move, and how
           fast they move
drop       a month that is dropped as a partition, or deleted in portions by SQLite; uploads meanwhile
sign-ins   several at once, and memory

Without a PART it is all of them. Numbers of rows can be chosen, so can the database. Figures of several runs are the
median, and the least and the most. Each part makes everything in a folder of its own (--folder, on a disk), and ends and
removes it, also after Ctrl-C. Those of a machine that is busy with other work show that in its load.
"""

import argparse
import datetime
import json
import os
import pathlib
import resource
import signal
import sys
import tempfile

import service_parts
from service_parts import PARTS, Figure

WORDS = {"few": "uploads of {few} rows", "many": "uploads of {many} rows", "idle": "{idle} idle connections",
         "largest": "one upload of {largest} rows", "month": "a month of {month} rows",
         "migration": "migration of {old_rows} rows", "drop": "drop of a month of {drop_rows} rows ({drop_rows_sqlite})",
         "sign-ins": "sign-ins"}


def first_line(path: str, key: str) -> str:
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.startswith(key):
            return line.split(":", 1)[1].strip()
    return "unknown"


def file_system(folder: pathlib.Path) -> str:
    """Type of what `folder` is on."""
    found = ("", "unknown")
    for line in pathlib.Path("/proc/self/mounts").read_text(encoding="utf-8").splitlines():
        _, where, kind = line.split()[:3]
        if folder.is_relative_to(where) and len(where) >= len(found[0]):
            found = (where, kind)
    return found[1]


def machine(options) -> dict:
    memory = int(first_line("/proc/meminfo", "MemTotal").split()[0]) / (1 << 20)
    return {"processors": f"{os.cpu_count()} x {first_line('/proc/cpuinfo', 'model name')}", "memory": f"{memory:.0f} GiB",
            "kernel": f"{os.uname().sysname} {os.uname().release}",
            "file system": file_system(pathlib.Path(tempfile.gettempdir()).resolve()),
            "databases": service_parts.versions(), "load": f"{os.getloadavg()[0]:.1f} at the beginning",
            "clients": str(options.clients),
            "time": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")}


def grouped(value: float) -> str:
    return f"{value:,.0f}" if abs(value) >= 99.5 else f"{value:.3g}"


def shown(figure: Figure | None) -> str:
    if figure is None:
        return "–"
    text = grouped(figure.value) + (f" {figure.unit}" if figure.unit else "")
    least, most = grouped(figure.least), grouped(figure.most)
    return text if least == most else f"{text} ({least}–{most})"


def table(results: dict, options) -> str:
    """Of all parts, a line for each figure and a column for each database."""
    lines = ["| | PostgreSQL | SQLite |", "|---|---|---|"]
    numbers = {name: grouped(value) for name, value in vars(options).items() if isinstance(value, int)}
    for part, by_database in results.items():
        words = WORDS[part].format(**numbers)
        load = by_database.pop("load")
        lines.append(f"| **{words}** (load {load:.1f}) | | |")
        names = dict.fromkeys(name for figures in by_database.values() for name in figures)
        for name in names:
            cells = [shown(by_database.get(each, {}).get(name)) for each in ("postgresql", "sqlite")]
            lines.append(f"| {name} | {cells[0]} | {cells[1]} |")
    return "\n".join(lines)


def as_numbers(results: dict) -> dict:
    return {part: {database: {name: [figure.value, figure.least, figure.most, figure.unit]
                              for name, figure in figures.items()} if isinstance(figures, dict) else figures
                   for database, figures in by_database.items()} for part, by_database in results.items()}


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("parts", nargs="*", metavar="PART", choices=[[], *PARTS])
    parser.add_argument("--database", choices=("sqlite", "postgresql"), help="only this one")
    parser.add_argument("--folder", type=lambda text: pathlib.Path(text).resolve(), help="for what is written meanwhile")
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE", help="writes all figures there, too")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--clients", type=int, default=8)
    parser.add_argument("--few", type=int, default=10, metavar="ROWS")
    parser.add_argument("--few-uploads", type=int, default=250, help="of each client in each run")
    parser.add_argument("--many", type=int, default=500, metavar="ROWS")
    parser.add_argument("--many-uploads", type=int, default=40, help="of each client in each run")
    parser.add_argument("--idle", type=int, default=10_000, metavar="CONNECTIONS")
    parser.add_argument("--largest", type=int, default=2_000_000, metavar="ROWS")
    parser.add_argument("--month", type=int, default=633_600, metavar="ROWS")
    parser.add_argument("--old-rows", type=int, default=10_000_000, metavar="ROWS", help="of the second schema")
    parser.add_argument("--old-users", type=int, default=100)
    parser.add_argument("--moving", type=int, default=60, metavar="SECONDS", help="that the moving of rows is watched")
    parser.add_argument("--drop-rows", type=int, default=1_000_000, metavar="ROWS", help="of PostgreSQL")
    parser.add_argument("--drop-rows-sqlite", type=int, default=200_000, metavar="ROWS")
    return parser.parse_args()


def main() -> int:
    options = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # runs what is to be done at the end
    if options.folder:
        tempfile.tempdir = os.environ["TMPDIR"] = str(options.folder)
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    machine_now = machine(options)
    results = {}
    try:
        for part in options.parts or PARTS:
            results[part] = {"load": os.getloadavg()[0]}
            for database in [options.database] if options.database else ["postgresql", "sqlite"]:
                print(f"{part}, {database} ...", file=sys.stderr, flush=True)
                results[part][database] = service_parts.measure(part, database, options)
    finally:  # what is known is not lost
        if options.json:
            options.json.write_text(json.dumps({"machine": machine_now, "parts": as_numbers(results)}, indent=2) + "\n",
                                    encoding="utf-8")
        print("; ".join(f"{name}: {text}" for name, text in machine_now.items()), end="\n\n")
        print(table(results, options))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
