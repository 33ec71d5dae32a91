# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Figures of a running program in three windows of time; process_figures.py says what each of them means."""

import statistics
import sys
import time

from disk import JournaledDisk
from processes import MB, NOTHING, Watched, kernel_thread, of_this_desktop, processes

WINDOWS = 3
QUIET = 5  # seconds of a slice that as a rule holds no upload


class Surroundings:
    """What works for the agent outside of it, and the disk. To be made when all of it runs."""

    def __init__(self, disk: JournaledDisk, programs: dict):
        self.disk = disk
        self._beside = {name: [Watched(process)] for name, process in programs.items()}
        for process, name in processes():
            if name in {"Xvfb", "dbus-daemon"} and of_this_desktop(process) and process not in programs.values():
                self._beside.setdefault(name, []).append(Watched(process))
        self._beside["journal"] = [kernel_thread(disk.journal_thread())]

    def spent(self) -> dict:
        return {name: sum((each.spent() for each in all_of_it), NOTHING) for name, all_of_it in self._beside.items()}


class Moment:
    """All counters at one time."""

    def __init__(self, watched: Watched, surroundings: Surroundings):
        self.when = time.monotonic()
        self.all, self.threads, self.written = watched.spent(), watched.look(), watched.written()
        self.beside = surroundings.spent()
        self.disk = surroundings.disk.counts()


def between(start: Moment, end: Moment, ticks: int) -> dict:
    """The figures of one window of time."""
    passed = end.when - start.when
    if not ticks:
        sys.exit("process_figures.py: nothing was recorded")

    def of(before, after, prefix: str) -> dict:
        spent = after - before
        return {f"{prefix}cpu_s_per_1000_ticks": spent.cpu / ticks * 1000, f"{prefix}wakeups_per_s": spent.wakeups / passed}
    figures = {"seconds": passed, "ticks": ticks, **of(start.all, end.all, "")}
    for name, spent in end.threads.items():
        figures |= of(start.threads.get(name, NOTHING), spent, f"thread.{name}.")
    for name, spent in end.beside.items():
        figures |= of(start.beside[name], spent, f"beside.{name}.")
    device = end.disk - start.disk
    return figures | {
        "written_mb_per_s": (end.written - start.written) / passed / MB,
        "device_kib_per_s": device.written_bytes / 1024 / passed,
        "flushes_per_1000_s": device.flushes / passed * 1000,
        "commits_per_1000_s": device.commits / passed * 1000,
        "flushes_fua_per_1000_s": (device.flushes - device.commits) / passed * 1000,
        "coverage": min(1.0, ticks / int(passed)),
    }


def combined(windows: list) -> dict:
    """The median of each figure, and its range; a thread that a window has not seen spent nothing there."""
    figures = {}
    for key in dict.fromkeys(key for window in windows for key in window):
        values = [window.get(key, 0.0) for window in windows]
        figures[key] = statistics.median(values)
        figures |= {f"{key}_min": min(values), f"{key}_max": max(values)}
    return figures


def measure(watched: Watched, surroundings: Surroundings, seconds: int, ticks_between, each_second=lambda second: None) -> dict:
    """Watches for three windows of `seconds`; `each_second` gets the number of the second."""
    begun = time.monotonic()
    moments, wakeups = [Moment(watched, surroundings)], []
    for second in range(1, WINDOWS * seconds + 1):
        time.sleep(max(0.0, begun + second - time.monotonic()))
        if second % QUIET == 0:
            wakeups.append(watched.spent().wakeups)
        else:
            watched.look()
        if second % seconds == 0:
            moments.append(Moment(watched, surroundings))
        each_second(second)
    pairs = list(zip(moments, moments[1:]))
    figures = combined([between(start, end, ticks_between(start.when, end.when)) for start, end in pairs])
    slices = [(after - before) / QUIET for before, after in zip([moments[0].all.wakeups, *wakeups], wakeups)]
    return figures | {"quiet_wakeups_per_s": statistics.median(slices)}
