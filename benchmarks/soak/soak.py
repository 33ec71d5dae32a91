#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""A compressed day of the running agent, at the end of which every second must be found exactly once.

The agent is the product but for its clock, timers and idle time, which run ten times as fast (soak_agent): a tick each
tenth of a second, an upload each six seconds. On a desktop of their own, windows change focus and titles, the user goes
away, panel and keyring are restarted, a third of the uploads fails on the way to a real service, and for a while the disk
with the activity file is full. All of it is decided by one seed, which is printed.

Then every `Tick:` line that the agent printed is looked for in the service's database and in the activity file, by
application, title and address.

Needs root or user namespaces: it has network, processes and a small disk of its own.

Figures, after the warm-up (two minutes, or a fifth of a shorter run):
  lost_s, doubled_s       seconds that are missing, or there are too many of
  replaced_s              seconds of rows that the service took for others, because it cannot tell them apart
                          (docs/architecture.md, "An upload"); counted from the bodies, 0 or next to it
  rss_mb, anonymous_mb    resident memory, and what of it is no part of a file
  pss_mb                  proportional memory; not judged: it moves with every process of the machine that starts or ends
                          and maps the same libraries
  descriptors, threads    open ones
  ..._median              of these five
  ..._growth              what the last quarter has more than the first, in the median; descriptors and threads at the least
  cpu_s_per_1000_ticks    processor time, user and system, of all threads; a tick that finds the user idle counts. No budget
                          is compared with it: the activity file is in memory, where a flush costs nothing, and at ten
                          times the pace the processor's caches stay warm
  main_wakeups_per_tick   voluntary context switches of the main thread
  coverage                ticks, of the tenths of seconds that passed
  failed_uploads          share of the uploads that failed
  longest_backlog_s       the most seconds that were recorded from one upload that arrived to the next
"""

import argparse
import fcntl
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import statistics
import struct
import subprocess
import sys
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(HERE.parent))

import account  # noqa: E402
import desktop  # noqa: E402
import front  # noqa: E402
from desktops import X11Desktop, wait_for  # noqa: E402
from processes import Watched  # noqa: E402

PACE = 10
PORT = 8787  # compiled into the agent
SERVICE_PORT = 8788
EMAIL, PASSWORD = "soak@example.org", "a compressed day"
DISK_BYTES = 4 << 20
SAMPLE_EVERY = 2.0  # seconds
PATIENCE = desktop.PATIENCE
FULL_DISK_FROM = 0.4  # of the whole run
UPLOAD_EVERY = 6.0  # seconds: the shortest upload period there is, a minute
CANNOT_RUN = 77  # the exit code that says so
FAULTS_NEED = 240  # seconds until every kind of fault has had its turn
ATTEMPT, SUCCESS, FAILURE = "Velomira Sync: Attempting", "Velomira Sync Success", "Velomira Sync Failed"
# What is looked at from time to time, with what tells of growth: each upload takes descriptors and threads for a while, so
# that their median moves between two numbers, and what is never given back shows in the least of them.
SAMPLED = {"rss_mb": statistics.median, "anonymous_mb": statistics.median, "pss_mb": statistics.median,
           "descriptors": min, "threads": min}
STAGE = "QUILLSTEP_SOAK_STAGE"


class Recorder:
    """The agent with what it prints, in files: nothing that it says is dropped because somebody reads slowly."""

    def __init__(self, program: pathlib.Path, work: pathlib.Path, data: pathlib.Path):
        self.file = data / "Velomira Usage Monitor" / "activity_logs.json"
        self.out, self.complaints = work / "agent.out", work / "agent.err"
        with self.out.open("wb") as out, self.complaints.open("wb") as complaints:
            self.process = subprocess.Popen([program], stdout=out, stderr=complaints,
                                            env={**os.environ, "XDG_DATA_HOME": str(data)})
        self.watched = Watched(self.process.pid)

    def lines(self) -> list:
        """All whole lines so far."""
        return self.out.read_text(encoding="utf-8").rpartition("\n")[0].split("\n")

    def count(self, beginning: str) -> int:
        return sum(line.startswith(beginning) for line in self.lines())

    def end(self) -> int:
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(PATIENCE)

    def close(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class Sampler:
    """Looks at the agent from time to time, on a thread of its own."""

    def __init__(self, watched: Watched):
        self.samples = []
        self._watched = watched
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        while not self._stop.wait(SAMPLE_EVERY):
            try:
                self.samples.append({"when": time.monotonic(), "descriptors": self._watched.descriptors(),
                                     "threads": self._watched.threads(), "anonymous_mb": self._watched.anonymous(),
                                     **self._watched.memory()})
            except (FileNotFoundError, ProcessLookupError):
                return

    def close(self):
        self._stop.set()
        self._thread.join()

    def growth(self, field: str, after: float) -> float:
        """From the first quarter of the time after the warm-up to the last."""
        values = [sample[field] for sample in self.samples if sample["when"] >= after]
        quarter = max(1, len(values) // 4)
        typical = SAMPLED[field]
        return typical(values[-quarter:]) - typical(values[:quarter])

    def median(self, field: str, after: float) -> float:
        return statistics.median(sample[field] for sample in self.samples if sample["when"] >= after)


class Service:
    """A real one, with an account for the agent."""

    def __init__(self, program: pathlib.Path, work: pathlib.Path):
        self.database = work / "service.sqlite"
        command = [program, "--database", self.database]
        subprocess.run([*command, "--add-user", EMAIL, "Soak"], input=PASSWORD, text=True, check=True, timeout=PATIENCE,
                       stdout=subprocess.DEVNULL)
        out = work / "service.out"
        with out.open("wb") as listens, (work / "service.log").open("wb") as log:
            self.process = subprocess.Popen([*command, "--port", str(SERVICE_PORT)], stdout=listens, stderr=log)
        wait_for(lambda: "listening" in out.read_text(encoding="utf-8"), PATIENCE, "the service")

    def close(self):
        self.process.terminate()
        self.process.wait()


class Restarts:
    """Ends and starts parts of the desktop again, one after the other, on a thread of its own."""

    def __init__(self, parts: list, every: float):
        self.parts, self.problem = parts, None
        self._every = every
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        number = 0
        while not self._stop.wait(self._every):
            try:
                self.parts[number % len(self.parts)].restart()
            except (Exception, SystemExit) as problem:  # told at the end, on the main thread
                self.problem = problem
                return
            number += 1

    def stop(self):
        """What was started stays until the end."""
        self._stop.set()
        self._thread.join()

    def close(self):
        self.stop()
        for part in self.parts:
            part.close()


class DiskEpisode:
    """For some time nothing can be written to the disk with the activity file; on a thread of its own."""

    def __init__(self, agent: Recorder, folder: pathlib.Path, after: float, length: float):
        self.failures, self.failures_later, self.is_caught_up = 0, 0, False
        self._agent, self._folder, self._after, self._length = agent, folder, after, length
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        if self._stop.wait(self._after):
            return
        said = self._agent.count("Save failed")
        disk = desktop.FullDisk(self._folder)
        end = time.monotonic() + self._length
        while time.monotonic() < end and not self._stop.wait(0.05):
            disk.fill()
        disk.close()
        self.failures = self._agent.count("Save failed") - said
        end = time.monotonic() + PATIENCE
        # The file may be saved several times a second: it has caught up when it ends with a record of this moment.
        while time.monotonic() < end and not self.is_caught_up and not self._stop.wait(0.5):
            ticks = self._agent.lines()
            records = json.loads(self._agent.file.read_text(encoding="utf-8"))
            self.is_caught_up = bool(records) and any(records[-1]["windowTitle"] in line for line in ticks[-10:])
        said = self._agent.count("Save failed")
        if not self._stop.wait(UPLOAD_EVERY):
            self.failures_later = self._agent.count("Save failed") - said

    def close(self):
        self._stop.set()
        self._thread.join()


def longest_backlog(lines: list) -> int:
    """The most ticks from one upload that arrived to the next."""
    longest = waiting = 0
    for line in lines:
        waiting = 0 if line.startswith(SUCCESS) else waiting + line.startswith("Tick:")
        longest = max(longest, waiting)
    return longest


class Day:
    """What takes part in a compressed day, and its course."""

    def __init__(self, options, data: pathlib.Path):
        self.options, self.seconds = options, options.minutes * 60
        dice = random.Random(options.seed)
        self.parts = []  # in the order in which they were started
        try:
            self.service = self._add(Service(options.service, options.work))
            self.front = self._add(front.Front(PORT, SERVICE_PORT, random.Random(dice.random())))
            settings = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "com.velomira.UsageMonitor/defaults.ini"
            settings.parent.mkdir(parents=True)
            settings.write_text("[General]\nsyncInterval=1\n", encoding="utf-8")
            subprocess.run([options.agent, "--sign-in", EMAIL], input=PASSWORD, text=True, check=True, timeout=PATIENCE)
            self.user = self._add(desktop.User(random.Random(dice.random()), options.work))
            self.user.act(time.monotonic() + 1)
            self.agent = self._add(Recorder(options.agent, options.work, data))
            wait_for(self._ticks_for_the_user, PATIENCE, "the first tick")
            X11Desktop().close_dashboard()
            self.start, self.wall = time.monotonic(), time.time()
            self.warm = self.start + min(120.0, self.seconds / 5)
            self.sampler = self._add(Sampler(self.agent.watched))
            self.panel, self.keyring = desktop.panel(), desktop.keyring()
            self.restarts = self._add(Restarts([self.panel, self.keyring], max(15.0, self.seconds / 16)))
            self.disk = self._add(DiskEpisode(self.agent, data, self.seconds * FULL_DISK_FROM,
                                              max(20.0, min(60.0, self.seconds / 10))))
        except BaseException:
            self.close()
            raise

    def _add(self, part):
        self.parts.append(part)
        return part

    def _ticks_for_the_user(self) -> int:
        """At ten times the pace, twelve seconds of a slow start are enough for the user to count as away."""
        self.user.come_back()
        return self.agent.count("Tick:")

    def close(self):
        for part in reversed(self.parts):
            part.close()

    def pass_by(self) -> dict:
        """Until the last upload has arrived and the agent has ended; the result is what was measured on the way."""
        self.user.act(self.warm)
        watched, warmed = self.agent.watched, time.monotonic()
        ticks, cpu, main = -counted(self.agent), -watched.cpu(), -watched.main_switches()
        while time.monotonic() < self.start + self.seconds:
            self.user.act(min(self.start + self.seconds, time.monotonic() + 5))
            if self.agent.process.poll() is not None:
                sys.exit(f"soak.py: the agent ended with {self.agent.process.returncode}:\n"
                         f"{self.agent.complaints.read_text(encoding='utf-8')}")
        passed = time.monotonic() - warmed
        ticks, cpu, main = ticks + counted(self.agent), cpu + watched.cpu(), main + watched.main_switches()
        self.sampler.close()
        self.disk.close()
        self.restarts.stop()
        self._deliver_the_last()
        return {
            "ticks": ticks,
            "cpu_s_per_1000_ticks": cpu / ticks * 1000,
            "main_wakeups_per_tick": main / ticks,
            "coverage": ticks / (passed * PACE),
            "exit_code": self.agent.end(),
        }

    def _deliver_the_last(self):
        """An upload arrives, and none after it: what is recorded from then on is in the file."""
        self.user.come_back()
        self.front.close_after_next_delivery()
        end = time.monotonic() + 2 * PATIENCE
        while not self.front.is_closed:
            if time.monotonic() > end:
                sys.exit("soak.py: nothing was uploaded at the end")
            self.user.act(time.monotonic() + 0.5)
        wait_for(lambda: self.agent.count(SUCCESS) >= self.front.deliveries.acknowledged, PATIENCE, "the last success")
        self.user.act(time.monotonic() + 2)

    def figures(self, measured: dict) -> dict:
        agent, deliveries = self.agent, self.front.deliveries
        lines = agent.lines()
        recorded, in_service = account.said(lines), account.stored(self.service.database)
        in_file = account.kept(agent.file)
        self.differences = account.differences(recorded, in_service, in_file, deliveries.replaced)
        medians = {field: self.sampler.median(field, self.warm) for field in SAMPLED}
        growths = {field: self.sampler.growth(field, self.warm) for field in SAMPLED}
        return {
            "name": "day",
            "minutes": self.options.minutes,
            "recorded_s": recorded.total(),
            "in_service_s": in_service.total(),
            "in_file_s": in_file.total(),
            "lost_s": sum(seconds for seconds in self.differences.values() if seconds > 0),
            "doubled_s": -sum(seconds for seconds in self.differences.values() if seconds < 0),
            "replaced_s": deliveries.replaced.total(),
            "windows": len(recorded),
            "idle_ticks": agent.count("Idle:"),
            "uploads": agent.count(ATTEMPT),
            "failed_uploads": agent.count(FAILURE) / agent.count(ATTEMPT),
            "longest_backlog_s": longest_backlog(lines),
            "saves_failed": self.disk.failures,
            "panel_restarts": self.panel.restarts,
            "keyring_restarts": self.keyring.restarts,
            **{f"{field}_median": value for field, value in medians.items()},
            **{f"{field}_growth": value for field, value in growths.items()},
            **measured,
        }

    def checks(self, figures: dict) -> list:
        """What must hold on every machine: (what, whether it does, detail)."""
        succeeded, acknowledged = self.agent.count(SUCCESS), self.front.deliveries.acknowledged
        unended = figures["uploads"] - succeeded - self.agent.count(FAILURE)
        rss, own = figures["rss_mb_growth"], figures["anonymous_mb_growth"]
        stepped = abs((time.time() - self.wall) - (time.monotonic() - self.start))
        unmet = [fate.value for fate, count in self.front.met.items() if not count]
        return [
            ("every second is found exactly once", not self.differences,
             f"{len(self.differences)} windows differ: {list(self.differences.items())[:10]}"),
            ("uploads were acknowledged as often as the agent says", succeeded == acknowledged,
             f"{succeeded} and {acknowledged}"),
            ("every upload that began has an end, but for one under way", 0 <= unended <= 1, f"{unended} have none"),
            ("about a third of the uploads failed", 0.2 <= figures["failed_uploads"] <= 0.5,
             f"{figures['failed_uploads']:.0%}"),
            ("every kind of fault occurred", not unmet or self.seconds < FAULTS_NEED, f"not: {unmet}"),
            ("the windows changed", figures["windows"] >= self.seconds / 5, f"{figures['windows']} windows"),
            ("the user was away", figures["idle_ticks"] > 0, "never idle"),
            ("panel and keyring came back each time", not self.restarts.problem and self.panel.restarts
             and self.keyring.restarts,
             f"{self.panel.restarts} and {self.keyring.restarts} times; {self.restarts.problem}"),
            ("saving failed while the disk was full", self.disk.failures > 0, "it never did"),
            ("the file caught up once there was room", self.disk.is_caught_up and not self.disk.failures_later,
             f"{self.disk.failures_later} failures later"),
            ("descriptors do not grow", figures["descriptors_growth"] <= 1, f"{figures['descriptors_growth']}"),
            ("threads do not grow", figures["threads_growth"] <= 1, f"{figures['threads_growth']}"),
            ("memory is flat", max(abs(rss), abs(own)) <= self.options.memory, f"{rss:.2f} MB, {own:.2f} MB of its own"),
            ("the agent ended in order", figures["exit_code"] == 0, f"exit code {figures['exit_code']}"),
            ("the system's clock was not set", stepped < 0.5, f"by {stepped:.1f} s, which may be a reason for the rest"),
        ]

    def tell(self) -> None:
        """What is no figure."""
        print("\nwhat became of the uploads that came through:")
        for fate, count in self.front.met.items():
            print(f"  {count:4} {fate.value}")
        print(f"  {self.front.repeated:4} repeated by the agent's toolkit, with the same fate")
        if complaints := self.agent.complaints.read_text(encoding="utf-8").strip():
            print(f"\nthe agent complained:\n{complaints}")
        for window, count in self.front.deliveries.replaced.items():
            print(f"taken for another row: {count} s of {window}")


def counted(agent: Recorder) -> int:
    """Ticks so far, those that found the user idle included."""
    return sum(line.startswith(("Tick:", "Idle:")) for line in agent.lines())


def bring_up_loopback() -> None:
    name, up, get_flags, set_flags = b"lo", 1, 0x8913, 0x8914
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        request = fcntl.ioctl(any_socket, get_flags, struct.pack("16sh14x", name, 0))
        flags = struct.unpack("16sh14x", request)[1]
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh14x", name, flags | up))


def isolate() -> None:
    """Starts this program again, where nothing of the machine's is disturbed and from where nothing is left behind."""
    for user in ([], ["--user", "--map-current-user", "--keep-caps"]):
        command = ["unshare", *user, "--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc"]
        if subprocess.run([*command, "true"], capture_output=True, check=False).returncode == 0:
            os.environ[STAGE] = "isolated"
            os.execvp(command[0], [*command, sys.executable, __file__, *sys.argv[1:]])
    print("soak.py: needs root or user namespaces", file=sys.stderr)
    sys.exit(CANNOT_RUN)


def open_desktop(options, disk: pathlib.Path) -> None:
    """Starts this program again, with a small disk and on a desktop."""
    bring_up_loopback()
    shutil.rmtree(options.work, ignore_errors=True)
    disk.mkdir(parents=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={DISK_BYTES},mode=700", "soak", disk], check=True)
    os.environ[STAGE] = "desktop"
    program = str(ROOT / "scripts/private_desktop.sh")
    os.execv(program, [program, "--home", str(options.work / "home"), "--keyring", "--panel",
                       sys.executable, __file__, *sys.argv[1:]])


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--seed", type=int, help="what a run printed that is to be repeated")
    parser.add_argument("--agent", type=pathlib.Path, default=ROOT / "build/release/bin/soak_agent")
    parser.add_argument("--service", type=pathlib.Path, default=ROOT / "build/release/bin/velomira-service")
    parser.add_argument("--work", type=pathlib.Path, default=ROOT / "build/bench/soak", help="emptied first")
    parser.add_argument("--memory", type=float, default=1.0, help="the most that memory may grow, in MB")
    parser.add_argument("--json", type=pathlib.Path, help="where to put the figures")
    options = parser.parse_args()
    for program in (options.agent, options.service):
        if not os.access(program, os.X_OK):
            sys.exit(f"soak.py: {program} is not there")
    if STAGE not in os.environ:
        isolate()
    options.work = options.work.resolve()
    disk = options.work / "disk"
    if os.environ[STAGE] == "isolated":
        open_desktop(options, disk)

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    if options.seed is None:
        options.seed = random.SystemRandom().randrange(1 << 32)
    print(f"==> A day in {options.minutes:g} minutes, seed {options.seed}", flush=True)
    day = Day(options, disk)
    try:
        figures = day.figures(day.pass_by())
        checks = day.checks(figures)
        day.tell()
    finally:
        day.close()
    (options.work / "samples.json").write_text(json.dumps(day.sampler.samples), encoding="utf-8")
    width = max(map(len, figures))
    print()
    for name, value in figures.items():
        print(f"{name:<{width}} {value if isinstance(value, str) else format(value, ',.3f'):>16}")
    print()
    for what, held, detail in checks:
        print(f"{'ok    ' if held else 'FAILED'} {what}{'' if held else f' ({detail})'}")
    if options.json:
        options.json.write_text(json.dumps({"benchmarks": [figures]}, indent=2), encoding="utf-8")
    return 0 if all(held for _, held, _ in checks) else 1


if __name__ == "__main__":
    sys.exit(main())
