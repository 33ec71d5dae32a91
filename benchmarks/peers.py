# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Another monitor, measured beside this one: on the same desktop, in the same windows of time, recording the same.

Which one is for who measures to say, in a file of this form, one section for each:

  [another monitor]
  start = /usr/bin/another-monitor --foreground
  processes = another-monitor another-helper
  records = ~/.local/share/another-monitor
  settle = 20

  start      the command, run on the private desktop; its home is empty, and "~" at the start of a word is it. It may start
             others and end.
  processes  the names of the processes that are its, as in /proc/PID/comm, or the last part of the path of one of the
             first two words of their command lines (for scripts). All of them must come.
  records    the file or folder that it records into, "~" as above; a relative path is in that home, too
  settle     seconds that it needs until it runs as it always does; 10 if not said

A monitor whose records do not change while windows change does not record, and its figures are worth nothing: that is an error,
as is a program that is not there, or one whose processes do not come.
"""

import configparser
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import sys
import time
from typing import NamedTuple

from desktops import wait_for
from processes import MB, NOTHING, Watched, of_this_desktop, processes

WINDOWS, SECONDS = 3, 30
START_SECONDS = 30
SWAP_SECONDS = 2  # between two windows in front
KEYS = {"start", "processes", "records", "settle"}


class Peer(NamedTuple):
    name: str
    start: list
    processes: list
    records: str
    settle: float


def fail(why: str) -> None:
    sys.exit(f"process_figures.py: {why}")


def read_contract(file: pathlib.Path) -> list:
    parser = configparser.ConfigParser(interpolation=None)
    try:
        if not parser.read(file, encoding="utf-8"):
            fail(f"{file} cannot be read")
    except configparser.Error as problem:
        fail(f"{file}: {problem}")
    peers = []
    for name in parser.sections():
        section = parser[name]
        if missing := {"start", "processes", "records"} - set(section):
            fail(f"{file}: [{name}] has no \"{sorted(missing)[0]}\"")
        if strange := set(section) - KEYS:
            fail(f"{file}: [{name}] has a \"{sorted(strange)[0]}\", which means nothing")
        try:
            peer = Peer(name, shlex.split(section["start"]), section["processes"].split(), section["records"],
                        section.getfloat("settle", 10.0))
        except ValueError as problem:
            fail(f"{file}: [{name}]: {problem}")
        if not peer.start or not peer.processes or not peer.records:
            fail(f"{file}: [{name}] leaves something empty")
        if not shutil.which(peer.start[0]):
            fail(f"{file}: the program {peer.start[0]} of [{name}] is not on this machine")
        peers.append(peer)
    if not peers:
        fail(f"{file} names nobody")
    return peers


def names_of(process: int, name: str) -> set:
    """What a process may be called in a contract."""
    try:
        words = pathlib.Path(f"/proc/{process}/cmdline").read_text(encoding="utf-8", errors="replace").split("\0")[:2]
    except (FileNotFoundError, ProcessLookupError):
        words = []
    return {name, *(word.rpartition("/")[2] for word in words if word)}


class Running:
    """A peer that has been started; all of its processes together."""

    def __init__(self, peer: Peer):
        self.peer = peer
        self.records = pathlib.Path(os.environ["HOME"]) / pathlib.Path(peer.records).expanduser()
        command = [os.path.expanduser(word) for word in peer.start]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        start_new_session=True)
        wait_for(self._all_there, START_SECONDS, f"each process of {peer.name} ({' '.join(peer.processes)})")
        time.sleep(peer.settle)
        if not self._all_there():
            fail(f"{peer.name} did not stay")
        self.watched = list(self._found().values())

    def _found(self) -> dict:
        """Its processes by id."""
        wanted = set(self.peer.processes)
        return {process: Watched(process) for process, name in processes()
                if of_this_desktop(process) and names_of(process, name) & wanted}

    def _all_there(self) -> bool:
        there = set()
        for process, name in processes():
            if of_this_desktop(process):
                there |= names_of(process, name)
        return set(self.peer.processes) <= there

    def spent(self):
        return sum((each.spent() for each in self.watched), NOTHING)

    def written(self) -> int:
        return sum(each.written() for each in self.watched)

    def pss_mb(self) -> float:
        return sum(each.memory()["pss_mb"] for each in self.watched)

    def state_of_records(self) -> tuple:
        """Changes when something is recorded: size and last change of all files."""
        files = self.records.rglob("*") if self.records.is_dir() else [self.records]
        found = [each.stat() for each in files if each.is_file()]
        return sum(each.st_size for each in found), max((each.st_mtime_ns for each in found), default=0)

    def close(self) -> None:
        for process in self._found():
            try:
                os.kill(process, signal.SIGTERM)
            except ProcessLookupError:
                pass
        try:
            wait_for(lambda: self.process.poll() is not None and not self._found(), 10, "its end")
        except SystemExit:
            for process in self._found():
                os.kill(process, signal.SIGKILL)


class Ourselves:
    """The agent, asked like a peer."""

    def __init__(self, agent):
        self.watched, self.file = [agent], agent.file

    spent, written, pss_mb = Running.spent, Running.written, Running.pss_mb

    def state_of_records(self) -> tuple:
        status = self.file.stat()
        return status.st_size, status.st_mtime_ns


def measure_side_by_side(measured: dict, seconds: float, windows: int, while_waiting) -> dict:
    """By name, the figures of each window of time in turn: (processor seconds for 1,000 s, wake-ups a second, MB/s written)."""
    figures = {name: [] for name in measured}
    for _ in range(windows):
        begun = time.monotonic()
        before = {name: (each.spent(), each.written()) for name, each in measured.items()}
        while_waiting(seconds)
        passed = time.monotonic() - begun
        for name, each in measured.items():
            spent, written = each.spent() - before[name][0], each.written() - before[name][1]
            figures[name].append((spent.cpu / passed * 1000, spent.wakeups / passed, written / passed / MB))
    return figures


def measure(options, contract: list, scene, desktop) -> list:
    """Rows "peers/NAME/idle" and "peers/NAME/changing", the agent's being "ours"."""
    seconds = options.seconds or SECONDS
    started, rows = [], []
    try:
        for peer in contract:
            print(f"==> Starting {peer.name}", flush=True)
            started.append(Running(peer))
        with scene(options, desktop) as ours:
            measured = {"ours": Ourselves(ours.agent), **{each.peer.name: each for each in started}}

            def rest(length: float) -> None:
                desktop.stay_active()
                deadline = time.monotonic() + length
                while time.monotonic() < deadline:
                    time.sleep(min(1.0, max(0.0, deadline - time.monotonic())))
                    for each in measured.values():
                        each.spent()  # so that threads that end are seen

            def change(length: float) -> None:
                deadline = time.monotonic() + length
                while time.monotonic() < deadline:
                    for window in (ours.behind, ours.front):
                        desktop.focus(window.pid)
                        time.sleep(SWAP_SECONDS)
            for kind, action in (("idle", rest), ("changing", change)):
                print(f"==> Side by side, {kind}, for {WINDOWS} x {seconds} s", flush=True)
                recorded = {name: each.state_of_records() for name, each in measured.items()}
                figures = measure_side_by_side(measured, seconds, WINDOWS, action)
                for name, each in measured.items():
                    if kind == "changing" and each.state_of_records() == recorded[name]:
                        fail(f"{name} recorded nothing while windows changed")
                    rows.append(row_of(f"peers/{name}/{kind}", figures[name], each.pss_mb()))
            ours.end()
    finally:
        for each in reversed(started):
            each.close()
    print_ratios(rows)
    return rows


def row_of(name: str, windows: list, pss_mb: float) -> dict:
    row = {"name": name, "pss_mb": pss_mb}
    for key, values in zip(("cpu_s_per_1000_s", "wakeups_per_s", "written_mb_per_s"), zip(*windows)):
        row |= {key: sorted(values)[len(values) // 2], f"{key}_min": min(values), f"{key}_max": max(values)}
    return row


def print_ratios(rows: list) -> None:
    ours = {row["name"].rpartition("/")[2]: row for row in rows if row["name"].startswith("peers/ours/")}
    print()
    for row in rows:
        if row["name"].startswith("peers/ours/"):
            continue
        mine = ours[row["name"].rpartition("/")[2]]
        for key in ("cpu_s_per_1000_s", "wakeups_per_s", "written_mb_per_s", "pss_mb"):
            ratio = f"{mine[key] / row[key]:.3f} of it" if row[key] else "it has none"
            print(f"{row['name']:<40} {key:<20} {row[key]:10.3f}   ours {mine[key]:10.3f}, {ratio}")
