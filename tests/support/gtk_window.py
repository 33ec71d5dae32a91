#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""A GTK program with one window, under the same orders as qt_window.

Usage: gtk_window.py IDENTIFIER [TITLE]
"""

import sys
import time

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402


def say(word: str) -> None:
    print(word, flush=True)


def change_titles(window, prefix: str, count: int, milliseconds: int) -> None:
    start = time.monotonic()
    changed = 0

    def change() -> bool:
        nonlocal changed
        elapsed = (time.monotonic() - start) * 1000
        due = count if milliseconds == 0 else min(count, int(elapsed * count / milliseconds))
        while changed < due:
            changed += 1
            window.set_title(f"{prefix} {changed}")
        if changed == count:
            say("done")
        return changed < count

    GLib.timeout_add(1, change)


def main() -> int:
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    GLib.set_prgname(sys.argv[1])
    window = Gtk.Window()
    window.set_default_size(300, 200)
    window.set_title(sys.argv[2] if len(sys.argv) > 2 else "")
    window.connect("destroy", Gtk.main_quit)
    window.connect("map-event", lambda *_: say("shown"))

    def obey(*_) -> bool:
        line = sys.stdin.readline()
        if not line:
            Gtk.main_quit()
            return False
        order, _, rest = line.rstrip("\n").partition(" ")
        if order == "titles":
            count, milliseconds, prefix = rest.split(" ", 2)
            change_titles(window, prefix, int(count), int(milliseconds))
        else:
            window.set_title(rest)
            say("done")
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, obey)
    window.show_all()
    Gtk.main()
    return 0


if __name__ == "__main__":
    sys.exit(main())
