#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Lists the tests of a ctest JUnit report that did not really run; with CI set in the environment,
one such test is a failure. Both count: a test that ctest skipped, and a function that skipped itself
inside a test which passed.

Usage: skipped_tests.py REPORT
"""

import os
import re
import sys
import xml.etree.ElementTree

SKIPPED_FUNCTION = re.compile(r"^SKIP +: .*$", re.MULTILINE)


def skipped(report: str):
    for case in xml.etree.ElementTree.parse(report).iter("testcase"):
        name = case.get("name")
        if case.get("status") not in {"run", "fail"}:
            yield f"{name}: {case.get('status')}"
        for line in SKIPPED_FUNCTION.findall(case.findtext("system-out") or ""):
            yield f"{name}: {line}"


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    found = list(skipped(sys.argv[1]))
    for line in found:
        print(f"did not run: {line}")
    return 1 if found and os.environ.get("CI") else 0


if __name__ == "__main__":
    sys.exit(main())
