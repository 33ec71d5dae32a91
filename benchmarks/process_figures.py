#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Measures the running agent from outside, on a private desktop that it opens for itself.

idle/N      one terminal stays in front, N records wait in the data file at start, no window is open
coverage    two terminals swap the focus every two seconds and change their titles every second
sway/idle, sway/coverage
            the same on a headless sway: no X server is asked, the compositor tells
dashboard   as idle/30000, with the dashboard open beside the terminal
start       the median of several starts, with a panel that shows the icon
floor       no Quillstep: a process that does nothing but wake up once a second, append a record's worth of bytes to a
            file and flush it

What the figures of all but these two count, after five seconds of warming up:
  cpu_s_per_1000_ticks    processor time, user and system, of all threads
  wakeups_per_s           voluntary context switches of all threads: each time one of them stopped to wait
                          for something (timer, X server, disk, another thread) and was woken for it again
  main_wakeups_per_s      the same of the main thread alone
  pss_mb, rss_mb          proportional and resident memory at the end
  peak_mb                 the highest resident memory since the start, with attempts to upload
  load_peak_mb            the highest one until the first line, which comes after the data file has been read
  first_line_s            from the start until the first line of output, which follows the first tick
  written_mb_per_s        bytes that the process sent towards the disk
  coverage                ticks that recorded, of the whole seconds of wall time
  exit_code               how it ended on SIGTERM
  lost_ticks              reported on its output, but not in the file after the end

And those of the starts, each from the moment that the process is started:
  tray_item_ms            until the panel's watcher announces the icon
  window_ms               until the window manager has the dashboard, less the half second that it is due after
  second_start_ms         a start while another one runs, until it has handed over and ended
"""

import argparse
import itertools
import json
import os
import pathlib
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import threading
import time

from desktops import SwayDesktop, X11Desktop, wait_for

ROOT = pathlib.Path(__file__).resolve().parents[1]
REFERENCE = 978307200  # 2001-01-01 in Unix time
WARM_UP = 5
STARTS = 11
FLOOR_SECONDS = 20
FIRST_WINDOW_AFTER = 0.5  # seconds; the dashboard is not due before
STILL_ACTIVE = 30  # seconds between two keys: the user must not count as idle
MB = 1_000_000


def write_records(file: pathlib.Path, count: int) -> None:
    """A data file of `count` records as the agent would have written it: 200 applications, 3,000 addresses."""
    file.parent.mkdir(parents=True)
    dice = random.Random(count)
    applications = [f"Application {number}" for number in range(200)]
    addresses = [f"https:\\/\\/site{number % 300}.example\\/pages\\/{number}" for number in range(3000)]
    first = time.time() - REFERENCE - count - 60
    with file.open("w", encoding="utf-8") as out:
        out.write("[")
        for number in range(count):
            bits = f"{dice.getrandbits(128):032X}"
            url = f'"url":"{dice.choice(addresses)}",' if number % 2 else ""
            out.write(
                f'{"," if number else ""}{{"id":"{bits[:8]}-{bits[8:12]}-4{bits[13:16]}-A{bits[17:20]}-{bits[20:]}",'
                f'"appName":"{dice.choice(applications)}","windowTitle":"Window {dice.randrange(20000)} of many",'
                f'{url}"timestamp":{first + number:.6f},"duration":1}}')
        out.write("]")


class Watched:
    """What the system tells about a process and all of its threads."""

    def __init__(self, process: int):
        self.proc = pathlib.Path("/proc") / str(process)
        self.switches = {}  # thread id: voluntary switches when last seen

    def cpu(self) -> float:
        # The clock of another process, as clock_getcpuclockid(3) makes it; /proc has hundredths only.
        return time.clock_gettime((~int(self.proc.name) << 3) | 2)

    def count_switches(self) -> int:
        """Since the start, those of threads that ended meanwhile included, as far as they were seen."""
        for task in (self.proc / "task").iterdir():
            try:
                self.switches[task.name] = number_after("voluntary_ctxt_switches", task / "status")
            except (FileNotFoundError, ProcessLookupError):
                pass  # it ended while we looked
        return sum(self.switches.values())

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


def number_after(name: str, file: pathlib.Path) -> int:
    return int(re.search(rf"^{name}:\s+(\d+)", file.read_text(), re.MULTILINE).group(1))


def sign_in() -> None:
    """Leaves the session of an earlier run in the keyring: what starts from now on tracks."""
    subprocess.run(["secret-tool", "store", "--label=Velomira Usage Monitor", "service", "com.velomira.UsageMonitor",
                    "account", "authToken", "xdg:schema", "com.velomira.UsageMonitor"],
                   input="a token", text=True, timeout=20, check=True)


class Events:
    """The moments at which another program writes a line that holds `text`."""

    def __init__(self, command: list, text: str):
        self.moments = []
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.listener = threading.Thread(target=self._listen, args=(text,), daemon=True)
        self.listener.start()

    def _listen(self, text: str):
        for line in self.process.stdout:
            if text in line:
                self.moments.append(time.monotonic())

    def first_after(self, moment: float):
        return next((when for when in list(self.moments) if when > moment), None)

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.listener.join()


def measure(agent: Agent, seconds: int, each_second) -> dict:
    """Watches `agent` for `seconds` after the warm-up; `each_second` gets the number of the second."""
    time.sleep(WARM_UP)
    start, cpu, written = time.monotonic(), agent.cpu(), agent.written()
    switches, main = agent.count_switches(), agent.main_switches()
    for second in range(1, seconds + 1):
        time.sleep(max(0.0, start + second - time.monotonic()))
        agent.count_switches()
        each_second(second)
    end = time.monotonic()
    ticks, passed = agent.ticks_between(start, end), end - start
    if not ticks:
        sys.exit("process_figures.py: Quillstep recorded nothing")
    return {
        "seconds": passed,
        "ticks": ticks,
        "cpu_s_per_1000_ticks": (agent.cpu() - cpu) / ticks * 1000,
        "wakeups_per_s": (agent.count_switches() - switches) / passed,
        "main_wakeups_per_s": (agent.main_switches() - main) / passed,
        "first_line_s": agent.first_line,
        "written_mb_per_s": (agent.written() - written) / passed / MB,
        "coverage": min(1.0, ticks / int(passed)),
        "load_peak_mb": agent.load_peak,
        **agent.memory(),
    }


def scenario(name: str, program: pathlib.Path, records: int, seconds: int, terminals: int, window: bool = False,
             desktop=X11Desktop()) -> dict:
    data = pathlib.Path(os.environ["HOME"]) / f"data-{terminals}-{records}"
    if records:
        write_records(data / "Velomira Usage Monitor" / "activity_logs.json", records)
    else:
        data.mkdir()
    windows = [desktop.open_terminal(f"terminal{number}", changing=terminals > 1) for number in range(terminals)]
    turns = itertools.cycle(windows)

    def each_second(second: int) -> None:
        if second % STILL_ACTIVE == 0:
            desktop.stay_active()
        if terminals > 1 and second % 2 == 0:
            next(turns).activate()

    desktop.stay_active()
    agent = Agent(program, data, desktop.environment)
    try:
        if window:
            windows[0].activate()
        else:
            desktop.close_dashboard()
        figures = measure(agent, seconds, each_second)
        figures["exit_code"] = agent.end()
    finally:
        agent.kill()
        for window in windows:
            window.close()
    said = sum(line.startswith("Tick:") for _, line in agent.lines)
    kept = len(json.loads(agent.file.read_text(encoding="utf-8"))) - records
    figures["lost_ticks"] = said - kept
    shutil.rmtree(data)
    return {"name": name, **figures}


def starts(program: pathlib.Path) -> dict:
    """The medians over several starts, each of which ends again."""
    data = pathlib.Path(os.environ["HOME"]) / "data-starts"
    data.mkdir()
    items = Events(["dbus-monitor", "--session", "type='signal',member='StatusNotifierItemRegistered'"],
                   "member=StatusNotifierItemRegistered")
    windows = Events(["xprop", "-spy", "-root", "_NET_CLIENT_LIST"], "0x")
    tray, window, second = [], [], []
    terminal = X11Desktop().open_terminal("terminal", changing=False)
    try:
        for _ in range(STARTS):
            agent = Agent(program, data, X11Desktop.environment)
            try:
                tray.append(wait_for(lambda: items.first_after(agent.started), 20, "the icon") - agent.started)
                window.append(wait_for(lambda: windows.first_after(agent.started), 20, "the window") - agent.started)
                before = time.monotonic()
                subprocess.run([program], check=True, timeout=20)
                second.append(time.monotonic() - before)
                agent.end()
            finally:
                agent.kill()
    finally:
        for part in (items, windows, terminal):
            part.close()
    shutil.rmtree(data)
    return {"name": "start",
            "tray_item_ms": statistics.median(tray) * 1000,
            "window_ms": (statistics.median(window) - FIRST_WINDOW_AFTER) * 1000,
            "second_start_ms": statistics.median(second) * 1000}


def floor() -> dict:
    """What keeping a sample each second costs anybody on this disk."""
    file = pathlib.Path(os.environ["HOME"]) / "floor"
    work = "import os, sys, time\nfile = os.open(sys.argv[1], os.O_WRONLY | os.O_CREAT)\n" \
           "while True:\n    os.write(file, b' ' * 200)\n    os.fdatasync(file)\n    time.sleep(1)\n"
    with subprocess.Popen([sys.executable, "-c", work, str(file)]) as process:
        try:
            wait_for(lambda: file.exists() and file.stat().st_size >= 400, 10, "the second flush")
            watched, start = Watched(process.pid), time.monotonic()
            before, cpu, size = watched.count_switches(), watched.cpu(), file.stat().st_size
            time.sleep(FLOOR_SECONDS)
            switches, cpu, passed = watched.count_switches() - before, watched.cpu() - cpu, time.monotonic() - start
            flushes = (file.stat().st_size - size) / 200
        finally:
            process.terminate()
    file.unlink()
    return {"name": "floor", "seconds": passed, "ticks": flushes, "cpu_s_per_1000_ticks": cpu / flushes * 1000,
            "wakeups_per_s": switches / passed}


def idle_seconds(records: int) -> int:
    """So long that what a start costs once does not count tenfold in a figure for 1,000 ticks."""
    if records == 0:
        return 300
    return 150 if records >= 1_000_000 else 100


def print_table(rows: list) -> None:
    keys = list(dict.fromkeys(key for row in rows for key in row if key != "name"))
    width = max(len(key) for key in keys)
    print("\n" + " " * width + "".join(f"{row['name']:>16}" for row in rows))
    for key in keys:
        cells = (f"{row[key]:>16,.3f}" if key in row else f"{'':>16}" for row in rows)
        print(f"{key:<{width}}" + "".join(cells))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/release/bin/Quillstep")
    parser.add_argument("--json", type=pathlib.Path, help="where to put the figures")
    parser.add_argument("--records", type=int, nargs="+", default=[0, 30_000, 1_000_000])
    parser.add_argument("--seconds", type=int,
                        help="per scenario (default 100; 300 for an idle agent without records; 150 with 1,000,000)")
    arguments = parser.parse_args()
    if not os.access(arguments.program, os.X_OK):
        sys.exit(f"process_figures.py: {arguments.program} is not there; build the release preset first")
    if os.geteuid() != 0:
        sys.exit("process_figures.py: Quillstep lets no other process of its user look inside; only root can measure it")
    if "QUILLSTEP_PRIVATE_DESKTOP" not in os.environ:
        # The home is on the disk, not in a temporary folder that may be memory: bytes written are measured.
        home = ROOT / "build/bench/home"
        shutil.rmtree(home, ignore_errors=True)
        desktop = str(ROOT / "scripts/private_desktop.sh")
        os.execv(desktop, [desktop, "--home", str(home), "--keyring", "--panel", sys.executable, __file__, *sys.argv[1:]])

    # The desktop ends us by SIGTERM; what we started must end with us.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    sign_in()
    print(f"==> {STARTS} starts", flush=True)
    rows = [starts(arguments.program), floor()]
    for records in arguments.records:
        seconds = arguments.seconds or idle_seconds(records)
        print(f"==> Idle agent with {records:,} records for {seconds} s", flush=True)
        rows.append(scenario(f"idle/{records}", arguments.program, records, seconds, terminals=1))
    seconds = arguments.seconds or 100
    print(f"==> Coverage while windows change for {seconds} s", flush=True)
    rows.append(scenario("coverage", arguments.program, 0, seconds, terminals=2))
    print(f"==> Dashboard open for {seconds} s", flush=True)
    rows.append(scenario("dashboard", arguments.program, 30_000, seconds, terminals=1, window=True))
    sway = SwayDesktop()
    try:
        idle = arguments.seconds or idle_seconds(0)
        print(f"==> Idle agent under sway for {idle} s, then windows that change for {seconds} s", flush=True)
        rows.append(scenario("sway/idle", arguments.program, 0, idle, terminals=1, desktop=sway))
        rows.append(scenario("sway/coverage", arguments.program, 0, seconds, terminals=2, desktop=sway))
    finally:
        sway.close()
    print_table(rows)
    if arguments.json:
        # The form of Google Benchmark, so that one report reads both.
        arguments.json.write_text(json.dumps({"benchmarks": rows}, indent=2), encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
