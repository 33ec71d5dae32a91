# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What the system tells about running programs: processor time and switches by thread, memory."""

import os
import pathlib
import re
import signal
import subprocess
import sys
import threading
import time
from typing import NamedTuple

from desktops import wait_for

MB = 1_000_000
MAIN = "main"


class Spent(NamedTuple):
    """Processor time in seconds, and voluntary context switches: how often one stopped to wait for something (timer,
    X server, disk, another thread) and was woken for it again."""

    cpu: float
    wakeups: int

    def __add__(self, other):
        return Spent(self.cpu + other.cpu, self.wakeups + other.wakeups)

    def __sub__(self, other):
        return Spent(self.cpu - other.cpu, self.wakeups - other.wakeups)


NOTHING = Spent(0.0, 0)


def number_after(name: str, file: pathlib.Path) -> int:
    return int(re.search(rf"^{name}:\s+(\d+)", file.read_text(), re.MULTILINE).group(1))


class Watched:
    """A process and all of its threads."""

    def __init__(self, process: int):
        self.proc = pathlib.Path("/proc") / str(process)
        self._seen = {}  # thread id: (name, what it had spent when last seen)

    def cpu(self) -> float:
        # The clock of another process, as clock_getcpuclockid(3) makes it; /proc/PID/stat has hundredths only.
        return time.clock_gettime((~int(self.proc.name) << 3) | 2)

    def look(self) -> dict:
        """By the name of the thread, what it has spent since it began. Threads that have ended are in it as they were
        last seen, so look often."""
        for task in (self.proc / "task").iterdir():
            try:
                name = MAIN if task.name == self.proc.name else (task / "comm").read_text().strip()
                ran = int((task / "schedstat").read_text().split()[0]) / 1e9
                self._seen[task.name] = name, Spent(ran, number_after("voluntary_ctxt_switches", task / "status"))
            except (FileNotFoundError, ProcessLookupError):
                pass  # it ended while we looked
        sums = {}
        for name, spent in self._seen.values():
            sums[name] = sums.get(name, NOTHING) + spent
        return sums

    def spent(self) -> Spent:
        """By all threads together. The time is the process' own, which knows threads that lived too shortly to be seen."""
        return Spent(self.cpu(), sum(spent.wakeups for spent in self.look().values()))

    def main_switches(self) -> int:
        return number_after("voluntary_ctxt_switches", self.proc / "status")

    def memory(self) -> dict:
        return {
            "pss_mb": number_after("Pss", self.proc / "smaps_rollup") * 1024 / MB,
            "rss_mb": number_after("VmRSS", self.proc / "status") * 1024 / MB,
            "peak_mb": number_after("VmHWM", self.proc / "status") * 1024 / MB,
        }

    def anonymous(self) -> float:
        """Resident memory in MB that is no part of a file: what the process has made itself."""
        return number_after("RssAnon", self.proc / "status") * 1024 / MB

    def written(self) -> int:
        return number_after("write_bytes", self.proc / "io")

    def descriptors(self) -> int:
        return sum(1 for _ in (self.proc / "fd").iterdir())

    def threads(self) -> int:
        return number_after("Threads", self.proc / "status")


class KernelThread(Watched):
    """It has no clock of its own, but a line of the scheduler's."""

    def cpu(self) -> float:
        return int((self.proc / "schedstat").read_text().split()[0]) / 1e9


def processes() -> list:
    """(id, name) of all that there are."""
    found = []
    for proc in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            found.append((int(proc.name), (proc / "comm").read_text().strip()))
        except (FileNotFoundError, ProcessLookupError):
            pass
    return found


def of_this_desktop(process: int) -> bool:
    """Whether it was started on the private desktop that this program runs in."""
    ours = f"XDG_RUNTIME_DIR={os.environ['XDG_RUNTIME_DIR']}".encode()
    try:
        return ours in pathlib.Path(f"/proc/{process}/environ").read_bytes().split(b"\0")
    except (FileNotFoundError, ProcessLookupError, PermissionError):
        return False


def kernel_thread(name: str) -> KernelThread:
    for process, called in processes():
        if called == name:
            return KernelThread(process)
    sys.exit(f"process_figures.py: the kernel has no thread {name}")


class Agent(Watched):
    """A running Quillstep with a data folder of its own."""

    def __init__(self, program: pathlib.Path, data: pathlib.Path, environment: dict):
        self.file = data / "Velomira Usage Monitor" / "activity_logs.json"
        self.lines = []  # (time of arrival, text)
        started = time.monotonic()
        self.process = subprocess.Popen([program], stdout=subprocess.PIPE, text=True,
                                        env={**os.environ, "XDG_DATA_HOME": str(data), **environment})
        super().__init__(self.process.pid)
        self.listener = threading.Thread(target=self._listen, daemon=True)
        self.listener.start()
        self.started = started
        wait_for(lambda: self.lines, 60, "Quillstep's first line")
        self.first_line = self.lines[0][0] - started
        self.load_peak = self.memory()["peak_mb"]

    def _listen(self):
        for line in self.process.stdout:
            self.lines.append((time.monotonic(), line.rstrip()))

    def ticks_between(self, start: float, end: float) -> int:
        return sum(start < when <= end and line.startswith("Tick:") for when, line in list(self.lines))

    def count(self, beginning: str) -> int:
        return sum(line.startswith(beginning) for _, line in list(self.lines))

    def wait_for_title(self, title: str) -> None:
        """Until a tick records a window of this title."""
        asked = time.monotonic()
        wait_for(lambda: any(when > asked and line.startswith("Tick:") and f"| {title} |" in line
                             for when, line in list(self.lines)), 20, f"a tick of the window \"{title}\"")

    def latest_tick_has(self, title: str) -> bool:
        ticks = [line for _, line in list(self.lines) if line.startswith("Tick:")]
        return bool(ticks) and f"| {title} |" in ticks[-1]

    def end(self) -> int:
        """Its exit code; every line that it said is in `lines` then."""
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(30)
        self.listener.join()
        return status

    def kill(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
