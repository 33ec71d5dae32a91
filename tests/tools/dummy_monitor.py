#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Stands for a monitor that is measured beside ours: wakes up so many times a second, and each time but with "forget"
it appends a line to FILE. With "vanish" it ends at once.

Usage: dummy_monitor.py FILE PER_SECOND record|forget|vanish
"""

import pathlib
import sys
import time


def main() -> int:
    file, per_second, manner = pathlib.Path(sys.argv[1]), float(sys.argv[2]), sys.argv[3]
    file.touch()
    while manner != "vanish":
        if manner == "record":
            with file.open("a", encoding="utf-8") as out:
                out.write(f"{time.time()}\n")
        time.sleep(1 / per_second)
    return 0


if __name__ == "__main__":
    sys.exit(main())
