#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Measures the running agent from outside, on private desktops and on an ext4 with a journal that it makes for itself.

start       several starts with a panel that shows the icon, with no records and with a million
idle        on each desktop (x11, sway, kwin, gnome, and accessibility where nothing else tells): one window stays in front,
            none of the agent's is open, an upload arrives each minute; the same while the window behind changes its title ten times a
            second (titles_behind), and the one in front two hundred times (titles_in_front)
disk        two windows swap the focus every two seconds; then a million records in the file and no service
dashboard   30,000 records, the dashboard open beside the window
floor       no Quillstep: a process that does nothing but wake up once a second, append a record's worth of bytes to a
            file and flush it
peers FILE  another monitor beside this one; see peers.py

Each figure is the median of three windows of time, FIELD_min and FIELD_max the least and the most of them:
  cpu_s_per_1000_ticks    processor time, user and system, of all threads
  wakeups_per_s           voluntary context switches of all threads: each time one of them stopped to wait
                          for something (timer, X server, disk, another thread) and was woken for it again
  thread.NAME.cpu..., thread.NAME.wakeups...   the same of one thread, or of several of one name
  beside.NAME.cpu..., beside.NAME.wakeups...   of what works for the agent outside of it: X server or compositor, buses, the
                          kernel's thread of the journal
  written_mb_per_s        bytes that the process sent towards the disk
  device_kib_per_s, flushes_per_1000_s, commits_per_1000_s   what reached the device below the file system; see disk.py
  flushes_fua_per_1000_s  of these flushes, those that a device needs too that can write through its cache
  coverage                ticks that recorded, of the whole seconds of wall time
And once, at the end:
  quiet_wakeups_per_s     the median of slices of five seconds: without uploads
  beyond_idle_per_s       while titles change: that, less the idle agent's
  uploads                 that have arrived
  pss_mb, rss_mb, peak_mb proportional and resident memory, and the highest resident one since the start
  load_peak_mb            the highest one until the first line, which comes after the data file has been read
  first_line_s            from the start until the first line of output, which follows the first tick
  exit_code               how it ended on SIGTERM
  lost_ticks              reported on its output, but neither delivered nor in the file after the end

And those of the starts, each from the moment that the process is started:
  tray_item_ms            until the panel's watcher announces the icon
  window_ms               until the X server has drawn the dashboard's first picture, less the half second that it is due after
  second_start_ms         a start while another one runs, until it has handed over and ended
"""

import argparse
import fcntl
import itertools
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

import peers
from desktops import SwayDesktop, Titles, X11Desktop, wait_for
from disk import JournaledDisk, mounted_at, needed
from measuring import WINDOWS, Surroundings, measure
from processes import MAIN, Agent, Watched
from shells import AccessibleDesktop, GnomeDesktop, KWinDesktop
from starts import starts
from upload_sink import UploadSink

ROOT = pathlib.Path(__file__).resolve().parents[1]
REFERENCE = 978307200  # 2001-01-01 in Unix time
STAGE, DEVICE = "QUILLSTEP_BENCH_STAGE", "QUILLSTEP_BENCH_DEVICE"
PARTS = ("start", "idle", "disk", "dashboard")
DESKTOPS = {desktop.name: desktop for desktop in (X11Desktop, SwayDesktop, KWinDesktop, GnomeDesktop, AccessibleDesktop)}
WARM_UP = 12  # seconds: memory that a start needed has been given back by then
# Of each window: whole minutes hold one upload each; where accessibility tells, one without is enough.
IDLE_SECONDS, ACCESSIBILITY_SECONDS, FLOOD_SECONDS = 60, 15, 5
CHANGING_SECONDS, FULL_SECONDS, DASHBOARD_SECONDS, FLOOR_SECONDS = 30, 25, 20, 5
MILLION = 1_000_000
UPLOAD_EVERY = 60  # seconds, if the settings do not say
STILL_ACTIVE = 30  # seconds between two keys: the user must not count as idle
FOLDER = "Velomira Usage Monitor"


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
        out.flush()
        os.fsync(out.fileno())


def sign_in() -> None:
    """Leaves the session of an earlier run in the keyring: what starts from now on tracks."""
    subprocess.run(["secret-tool", "store", "--label=Velomira Usage Monitor", "service", "com.velomira.UsageMonitor",
                    "account", "authToken", "xdg:schema", "com.velomira.UsageMonitor"],
                   input="a token", text=True, timeout=20, check=True)


class Scene:
    """An agent on a desktop, with one window in front and perhaps one behind."""

    def __init__(self, options, desktop, records: int = 0, window_stays: bool = False):
        self.desktop, self.records = desktop, records
        self.data = pathlib.Path(os.environ["HOME"]) / "data"
        if records:
            write_records(self.data / FOLDER / "activity_logs.json", records)
        else:
            self.data.mkdir()
        self.behind = desktop.open_window("bench-behind", "Behind")
        self.front = desktop.open_window("bench-front", "In front")
        desktop.stay_active()
        desktop.focus(self.front.pid)
        self.agent = Agent(options.program, self.data, desktop.environment)
        if not window_stays:
            desktop.close_dashboard(self.agent)
        desktop.focus(self.front.pid)
        self.agent.wait_for_title(self.front.title)
        self.surroundings = Surroundings(options.disk, desktop.programs())
        time.sleep(max(0.0, self.agent.started + WARM_UP - time.monotonic()))

    def measure(self, seconds: int, each_second=lambda second: None) -> dict:
        def also_active(second: int) -> None:
            if second % STILL_ACTIVE == 0:
                self.desktop.stay_active()
            each_second(second)
        self.desktop.stay_active()
        return measure(self.agent, self.surroundings, seconds, self.agent.ticks_between, also_active)

    def memory(self) -> dict:
        return {"first_line_s": self.agent.first_line, "load_peak_mb": self.agent.load_peak, **self.agent.memory()}

    def end(self, delivered: int = 0) -> dict:
        exit_code = self.agent.end()
        kept = len(json.loads(self.agent.file.read_text(encoding="utf-8")))
        return {"exit_code": exit_code, "lost_ticks": self.agent.count("Tick:") + self.records - kept - delivered}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.agent.kill()
        for window in (self.front, self.behind):
            window.close()
        shutil.rmtree(self.data)


def say(what: str) -> None:
    print(f"==> {what}", flush=True)


def idle(options, name: str) -> list:
    """The idle agent on the desktop of that name, then the same among changing titles."""
    seconds = options.seconds or (ACCESSIBILITY_SECONDS if name == AccessibleDesktop.name else IDLE_SECONDS)
    say(f"Idle agent on {name} for {WINDOWS} x {seconds} s")
    desktop = DESKTOPS[name]()
    try:
        with UploadSink() as sink, Scene(options, desktop) as scene:
            first = {"name": f"{name}/idle", **scene.measure(seconds)}
            first |= {"uploads": sink.uploads, **scene.memory()}
            rows = [first]
            for window, kind, per_second in ((scene.behind, "behind", 10), (scene.front, "in_front", 200)):
                say(f"Titles {kind.replace('_', ' ')}, {per_second} times a second")
                with Titles(window, per_second) as titles:
                    row = scene.measure(FLOOD_SECONDS)
                row |= {"titles_per_s": titles.given / (WINDOWS * FLOOD_SECONDS),
                        "beyond_idle_per_s": row["quiet_wakeups_per_s"] - first["quiet_wakeups_per_s"]}
                rows.append({"name": f"{name}/titles_{kind}", **row})
            if WINDOWS * seconds > UPLOAD_EVERY and not sink.uploads:
                sys.exit(f"process_figures.py: nothing was uploaded in {WINDOWS * seconds} s")
            sink.close_after_this()
            first |= scene.end(sink.delivered)
            return rows
    finally:
        desktop.close()


def changing(options) -> dict:
    """Two windows that swap the focus every two seconds."""
    seconds = options.seconds or CHANGING_SECONDS
    say(f"Another window in front every 2 s, for {WINDOWS} x {seconds} s")
    with Scene(options, X11Desktop()) as scene:
        def swap(second: int) -> None:
            if second % 2 == 0:
                scene.desktop.focus((scene.behind, scene.front)[second // 2 % 2].pid)
        return {"name": "disk/changing", **scene.measure(seconds, swap), **scene.memory(), **scene.end()}


def full(options) -> dict:
    seconds = options.seconds or FULL_SECONDS
    say(f"Idle agent with 1,000,000 records for {WINDOWS} x {seconds} s")
    with Scene(options, X11Desktop(), MILLION) as scene:
        return {"name": "disk/1000000", **scene.measure(seconds), **scene.memory(), **scene.end()}


def dashboard(options) -> dict:
    seconds = options.seconds or DASHBOARD_SECONDS
    say(f"Dashboard open for {WINDOWS} x {seconds} s")
    with Scene(options, X11Desktop(), 30_000, window_stays=True) as scene:
        row = {"name": "dashboard", **scene.measure(seconds), **scene.memory()}
        if not scene.desktop.dashboards():
            sys.exit("process_figures.py: the dashboard did not stay open")
        return row | scene.end()


def floor(options) -> dict:
    """What keeping a sample each second costs anybody on this disk."""
    file = pathlib.Path(os.environ["HOME"]) / "floor"
    work = "import os, sys, time\nfile = os.open(sys.argv[1], os.O_WRONLY | os.O_CREAT)\n" \
           "while True:\n    os.write(file, b' ' * 200)\n    os.fdatasync(file)\n    time.sleep(1)\n"
    say(f"A process that appends 200 bytes a second, for {WINDOWS} x {FLOOR_SECONDS} s")
    with subprocess.Popen([sys.executable, "-c", work, str(file)]) as process:
        try:
            wait_for(lambda: file.exists() and file.stat().st_size >= 400, 10, "the second flush")
            figures = measure(Watched(process.pid), Surroundings(options.disk, {}), FLOOR_SECONDS,
                              lambda start, end: round(end - start))
        finally:
            process.terminate()
    file.unlink()
    return {"name": "floor", **figures}


def cell(row: dict, key: str) -> str:
    """The figure, with its range where it has one."""
    if key not in row:
        return ""
    value = f"{row[key]:,.3f}"
    return value if f"{key}_min" not in row else f"{value} ({row[f'{key}_min']:,.3f} to {row[f'{key}_max']:,.3f})"


def print_table(title: str, rows: list, keys: list) -> None:
    lines = [[title, *(row["name"] for row in rows)], *([key, *(cell(row, key) for row in rows)] for key in keys)]
    widths = [max(map(len, column)) for column in zip(*lines)]
    print()
    for line in lines:
        print(line[0].ljust(widths[0]) + "".join("  " + text.rjust(width) for text, width in zip(line[1:], widths[1:])))


def print_tables(rows: list) -> None:
    """The figures with their range; then who spends it, the threads of the agent and what is beside it in columns."""
    bare = [key for row in rows for key in row if key != "name" and not key.endswith(("_min", "_max"))]
    keys = list(dict.fromkeys(bare))
    for _, group in itertools.groupby(rows, lambda row: row["name"].partition("/")[0]):
        some = list(group)
        print_table("", some, [key for key in keys if not key.startswith(("thread.", "beside."))
                               and any(key in row for row in some)])
    for field in ("cpu_s_per_1000_ticks", "wakeups_per_s"):
        parts = [key for key in keys if key.startswith(("thread.", "beside.")) and key.endswith(field)
                 and any(row.get(f"{key}_max", 0) >= 0.0005 for row in rows)]
        columns = [key.removesuffix(f".{field}") for key in parts]
        by_part = [{"name": column, **{row["name"]: row[key] for row in rows if key in row}}
                   for key, column in zip(parts, columns)]
        if by_part:
            print_table(field, by_part, [row["name"] for row in rows if f"thread.{MAIN}.{field}" in row])


def bring_up_loopback() -> None:
    name, up, get_flags, set_flags = b"lo", 1, 0x8913, 0x8914
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        request = fcntl.ioctl(any_socket, get_flags, struct.pack("16sh14x", name, 0))
        flags = struct.unpack("16sh14x", request)[1]
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh14x", name, flags | up))


def enter_desktop(work: pathlib.Path) -> None:
    """Starts this program again, step by step: with mounts and network of its own, then on a desktop of its own whose home is
    on a disk of its own."""
    again = [sys.executable, __file__, *sys.argv[1:]]
    if STAGE not in os.environ:
        if os.geteuid() != 0:
            sys.exit("process_figures.py: Quillstep lets no other process of its user look inside, and the disk has to be made: "
                     "only root can measure it")
        needed("unshare", "--mount", "--net", "true")
        os.environ[STAGE] = "alone"
        os.execvp("unshare", ["unshare", "--mount", "--net", *again])
    if os.environ[STAGE] == "alone":
        bring_up_loopback()
        shutil.rmtree(work, ignore_errors=True)
        disk = JournaledDisk.mount(work / "disk")
        disk.check(work / "disk")
        print(f"This machine's disk: {mounted_at(ROOT)}")
        print(f"Measured on:         {mounted_at(work / 'disk')}", flush=True)
        os.environ |= {STAGE: "desktop", DEVICE: disk.name, "PYTHONDONTWRITEBYTECODE": "1"}
        program = str(ROOT / "scripts/private_desktop.sh")
        os.execv(program, [program, "--home", str(work / "disk/home"), "--keyring", "--panel", *again])


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("parts", nargs="*", metavar="PART", help=f"of {', '.join(PARTS)}; default: all. Or: peers FILE")
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/release/bin/Quillstep")
    parser.add_argument("--work", type=pathlib.Path, default=ROOT / "build/bench/work", help="emptied first")
    parser.add_argument("--json", type=pathlib.Path, help="where to put the figures")
    parser.add_argument("--desktops", nargs="+", choices=DESKTOPS, default=list(DESKTOPS), help="of the idle agent")
    parser.add_argument("--seconds", type=int, help="of each of the three windows of every scene but the changing titles; "
                        "for a first impression, uploads come once in a minute")
    parser.add_argument("--quick", action="store_true", help="windows of ten seconds, and nothing with a million records")
    options = parser.parse_args()
    contract = peers.read_contract(pathlib.Path(options.parts[1])) if options.parts[:1] == ["peers"] else None
    if not contract and not set(options.parts) <= set(PARTS):
        parser.error(f"the parts are {', '.join(PARTS)}, or peers FILE")
    if not os.access(options.program, os.X_OK):
        sys.exit(f"process_figures.py: {options.program} is not there; build the release preset first")
    enter_desktop(options.work.resolve())

    # The desktop ends us by SIGTERM; what we started must end with us.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    options.disk = JournaledDisk(os.environ[DEVICE])
    options.seconds = options.seconds or (10 if options.quick else None)
    sign_in()
    wanted = options.parts or PARTS
    rows, failed = [], []
    if contract:
        rows += peers.measure(options, contract, Scene, X11Desktop())
    if "start" in wanted:
        say("Starts")
        rows += starts(options.program, write_records, 0 if options.quick else MILLION)
    if "disk" in wanted:
        rows += [floor(options), changing(options)]
        if not options.quick:
            rows.append(full(options))
    if "dashboard" in wanted:
        rows.append(dashboard(options))
    if "idle" in wanted:
        for name in sorted(options.desktops, key=list(DESKTOPS).index):
            try:
                rows += idle(options, name)
            except (Exception, SystemExit) as problem:  # the others can be measured all the same
                if isinstance(problem, SystemExit) and not isinstance(problem.code, str):
                    raise  # we are asked to end
                failed.append(name)
                print(f"{name} was not measured: {problem}", file=sys.stderr)
    print_tables(rows)
    rows.append({"name": "disk", "device": str(mounted_at(pathlib.Path(os.environ["HOME"]))),
                 "machine": str(mounted_at(ROOT))})
    if options.json:
        # The form of Google Benchmark, so that one report reads both.
        options.json.write_text(json.dumps({"benchmarks": rows}, indent=2), encoding="utf-8")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
