#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Compares measured figures with the budgets and fails when one is missed or was not measured.

A row with a "ratchet" has no budget of its own but the last accepted figure and 30 % more, over a floor that was measured in
the same run: it fails when the product has become slower than it was, not when the machine has.
"""

import argparse
import json
import operator
import pathlib
import sys

SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
COMPARE = {"<=": operator.le, ">=": operator.ge}
RATCHET = 1.3
PARTS = ("functions", "start", "idle", "disk", "dashboard", "soak")
MARKS = ("<!-- figures -->", "<!-- end of figures -->")
SPENT = ("cpu_s_per_1000_ticks", "wakeups_per_s")


def part_of(row: dict) -> str:
    """Which part of ./bench measures it."""
    return row.get("part", "functions")


def read_runs(folder: pathlib.Path) -> dict:
    """(run, benchmark): its fields, of every RUN.json and RUN.PART.json in `folder`."""
    runs = {}
    for file in sorted(folder.glob("*.json")):
        for benchmark in json.loads(file.read_text(encoding="utf-8"))["benchmarks"]:
            runs[file.name.split(".")[0], benchmark["name"]] = benchmark
    return runs


def value_of(source: str, unit: str, runs: dict):
    """The figure that `source` names, times in `unit` (seconds where that is no time); None if absent."""
    run, benchmark, field = source.split()
    fields = runs.get((run, benchmark), {})
    value = fields.get(field)
    if value is None or fields.get("error_occurred"):
        return None
    if field in {"real_time", "cpu_time"}:
        value *= SECONDS[fields["time_unit"]] / SECONDS.get(unit, 1.0)
    return value


def measured(row: dict, runs: dict):
    unit = row.get("unit", "")
    value = value_of(row["from"], unit, runs)
    if value is not None and "over" in row:
        floor = value_of(row["over"], unit, runs)
        value = value / floor if floor else None
    return value


def limit_of(row: dict) -> tuple:
    """Comparison, number, and how the budget is told."""
    if "ratchet" in row:
        accepted = row["ratchet"]
        return "<=", accepted * RATCHET, f"<= {RATCHET:g} x {accepted:g}, as accepted"
    comparison, limit = row["limit"]
    return comparison, limit, f"{comparison} {row['budget']}"


def verdict(row: dict, value) -> str:
    if value is None:
        return "NOT MEASURED"
    comparison, limit, _ = limit_of(row)
    return "ok" if COMPARE[comparison](value, limit) else "MISSED"


def number(value: float) -> str:
    return f"{value:,.0f}" if abs(value) >= 999.5 else f"{value:.3g}"


def shown(row: dict, value, runs: dict) -> str:
    """The figure; with its range, where it is no ratio and has one."""
    if value is None:
        return "-"
    text = f"{number(value)} {row.get('unit', '')}".rstrip()
    ends = [value_of(f"{row['from']}_{end}", row.get("unit", ""), runs) for end in ("min", "max")]
    if "over" in row or None in ends:
        return text
    return f"{text} ({number(ends[0])} to {number(ends[1])})"


def markdown(table: list) -> str:
    return "\n".join(f"| {' | '.join(line)} |" for line in [table[0], ("---",) * len(table[0]), *table[1:]])


def disks(runs: dict) -> list:
    """Where the running program was measured."""
    found = {(fields["machine"], fields["device"]) for fields in runs.values() if "device" in fields}
    return [line for machine, device in sorted(found)
            for line in (f"| disk of the machine | {machine} |", f"| disk of the running agent | {device} |")]


def spenders(runs: dict, field: str) -> list:
    """A table of what each thread, and each program beside the agent, has spent."""
    rows = {name: fields for (run, name), fields in runs.items()
            if run == "process_figures" and f"thread.main.{field}" in fields}
    parts = [key for key in dict.fromkeys(key for fields in rows.values() for key in fields)
             if key.startswith(("thread.", "beside.")) and key.endswith(f".{field}")
             and any(fields.get(key, 0) >= 0.005 for fields in rows.values())]
    table = [(field, *(key.removesuffix(f".{field}").replace("thread.", "").replace("beside.", "*beside:* ") for key in parts))]
    for name, fields in rows.items():
        table.append((name, *(number(fields[key]) if key in fields else "" for key in parts)))
    return table


def tables(figures: list, runs: dict) -> str:
    """As docs/performance.md has them: where, what, and who has spent it."""
    spent = [spenders(runs, field) for field in SPENT]
    return "\n\n".join(["\n".join(["| where | |", "| --- | --- |", *disks(runs)]), markdown(figures),
                        *(markdown(table) for table in spent if len(table) > 1)])


def write_tables(page: pathlib.Path, text: str) -> None:
    parts = page.read_text(encoding="utf-8").split(MARKS[0])
    if len(parts) != 2 or MARKS[1] not in parts[1]:
        sys.exit(f"report.py: {page} has not one place for figures")
    page.write_text(f"{parts[0]}{MARKS[0]}\n\n{text}\n\n{MARKS[1]}{parts[1].split(MARKS[1], 1)[1]}", encoding="utf-8")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("budgets", type=pathlib.Path, help="the budgets (benchmarks/budgets.json)")
    parser.add_argument("results", type=pathlib.Path, help="folder of RUN.json files, as Google Benchmark writes them")
    parser.add_argument("--quick", action="store_true", help="leave out what a quick run does not measure")
    parser.add_argument("--parts", nargs="+", choices=PARTS, default=PARTS[:-1], help="what was measured")
    parser.add_argument("--into", type=pathlib.Path, metavar="PAGE", help="put the tables into a page, between its marks "
                        f"{MARKS[0]} and {MARKS[1]}, and judge nothing")
    arguments = parser.parse_args()
    runs = read_runs(arguments.results)
    rows = json.loads(arguments.budgets.read_text(encoding="utf-8"))["budgets"]
    table, bad = [("figure", "budget", "measured", "")], 0
    for row in rows:
        if part_of(row) not in arguments.parts or (arguments.quick and row.get("not_in_quick")):
            continue
        value = measured(row, runs)
        result = verdict(row, value)
        bad += result != "ok"
        table.append((row["figure"], limit_of(row)[2], shown(row, value, runs), result))
    if arguments.into:
        write_tables(arguments.into, tables(table, runs))
        return 0
    widths = [max(map(len, column)) for column in zip(*table)]
    for line in table:
        print(" | ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
    print(f"\n{len(table) - 1 - bad} of {len(table) - 1} budgets kept")
    return 1 if bad or len(table) == 1 else 0


if __name__ == "__main__":
    sys.exit(main())
