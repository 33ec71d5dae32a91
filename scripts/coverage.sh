#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/coverage.sh [CTEST OPTION...]
#
# Prints for each folder how many of its lines the tests reach, and keeps pages about each file below
# build/coverage/report. Without an option: the tests on fakes. "-R NAME" takes those with a name, "-L system" those with
# real peers.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

case ${1:-} in -h | --help) usage && exit 0 ;; esac
[ $# -gt 0 ] || set -- -L '^unit$'

"$root/scripts/setup.sh" build test coverage
tree=$root/build/coverage
step "Building (preset coverage)"
configure coverage
# Only what the chosen tests are made of, if they are programs of their own.
targets=()
while read -r name; do targets+=("$name"); done < <(
    ctest --test-dir "$tree" -N -V "$@" | sed -nE 's/.*Test command: .*"?bin\/(tst_[a-z0-9_]+)"? .*/\1/p' | sort -u
)
build coverage ${targets:+--target "${targets[@]}"}
find "$tree" -name '*.gcda' -delete

step "Testing"
status=0
ctest --test-dir "$tree" --no-tests=error --output-on-failure "$@" >"$root/build/log/coverage.log" 2>&1 || status=1
[ "$status" = 0 ] || tail -n 30 "$root/build/log/coverage.log" >&2

step "Lines reached"
mkdir -p "$tree/report"
cd "$root" # to which the filter is relative
gcovr --root "$root" --object-directory "$tree" --exclude '(tests|build|benchmarks|tools)/' \
    --json-summary "$tree/report/summary.json" --html-details "$tree/report/index.html" "$tree" >/dev/null
python3 - "$tree/report/summary.json" <<'TABLE'
import collections
import json
import posixpath
import sys

with open(sys.argv[1], encoding="utf-8") as summary:
    files = json.load(summary)["files"]
reached, lines = collections.Counter(), collections.Counter()
for file in files:
    for folder in (posixpath.dirname(file["filename"]), "all"):
        reached[folder] += file["line_covered"]
        lines[folder] += file["line_total"]
for folder in sorted(lines, key=lambda name: (name == "all", name)):
    print(f"{reached[folder]:6} of {lines[folder]:6} lines {reached[folder] / max(1, lines[folder]):6.1%}  {folder}")
TABLE
echo "$tree/report/index.html"
exit $status
