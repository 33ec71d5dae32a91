#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Compares measured figures with the budgets and fails when one is missed or was not measured."""

import argparse
import json
import operator
import pathlib
import sys

SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
COMPARE = {"<=": operator.le, ">=": operator.ge}


def read_runs(folder: pathlib.Path) -> dict:
    """(run, benchmark): its fields, of every RUN.json in `folder`."""
    runs = {}
    for file in sorted(folder.glob("*.json")):
        for benchmark in json.loads(file.read_text(encoding="utf-8"))["benchmarks"]:
            runs[file.stem, benchmark["name"]] = benchmark
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


def verdict(row: dict, value) -> str:
    if value is None:
        return "NOT MEASURED"
    comparison, limit = row["limit"]
    return "ok" if COMPARE[comparison](value, limit) else "MISSED"


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("budgets", type=pathlib.Path, help="the budgets (benchmarks/budgets.json)")
    parser.add_argument("results", type=pathlib.Path, help="folder of RUN.json files, as Google Benchmark writes them")
    parser.add_argument("--quick", action="store_true", help="leave out what a quick run does not measure")
    parser.add_argument("--soak", action="store_true", help="what a soak measures, and nothing else")
    parser.add_argument("--markdown", action="store_true", help="the table as docs/performance.md has it")
    arguments = parser.parse_args()
    runs = read_runs(arguments.results)
    rows = json.loads(arguments.budgets.read_text(encoding="utf-8"))["budgets"]
    table, bad = [("figure", "budget", "measured", "")], 0
    for row in rows:
        if row.get("only_in_soak", False) != arguments.soak or (arguments.quick and row.get("not_in_quick")):
            continue
        value = measured(row, runs)
        result = verdict(row, value)
        bad += result != "ok"
        shown = "-" if value is None else f"{value:.3g} {row.get('unit', '')}".rstrip()
        table.append((row["figure"], f"{row['limit'][0]} {row['budget']}", shown, result))
    if arguments.markdown:
        table.insert(1, ("---",) * 4)
        print("\n".join(f"| {' | '.join(line)} |" for line in table))
        return 0
    widths = [max(map(len, column)) for column in zip(*table)]
    for line in table:
        print(" | ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
    print(f"\n{len(table) - 1 - bad} of {len(table) - 1} budgets kept")
    return 1 if bad or len(table) == 1 else 0


if __name__ == "__main__":
    sys.exit(main())
