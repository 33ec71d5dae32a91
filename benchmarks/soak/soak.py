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
  replaced_s              seconds of rows that a later upload replaced, because the service cannot tell them apart
                          (docs/architecture.md, "An upload"); counted from the bodies, 0 or next to it
  rss_growth_mb, anonymous_growth_mb  resident memory, and what of it is no part of a file: the median of the last quarter
                          less that of the first
  pss_growth_mb           the same of proportional memory; not judged: it moves with every process of the machine that
                          starts or ends and maps the same libraries
  descriptor_growth, thread_growth   the same of open descriptors and of threads
  cpu_s_per_1000_ticks    processor time, user and system, of all threads; a tick that finds the user idle counts
  main_wakeups_per_tick   voluntary context switches of the main thread
  coverage                ticks, of the tenths of seconds that passed
  failed_uploads          share of the uploads that failed
  longest_backlog_s       the most recorded seconds that waited for an upload, and those of the full disk
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
from process_figures import Watched, close_dashboard, wait_for  # noqa: E402

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

    def kill(self) -> None:
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
        return statistics.median(values[-quarter:]) - statistics.median(values[:quarter])

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

    def close(self):
        self._stop.set()
        self._thread.join()
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
        waiting = 0 if line.startswith("Velomira Sync Success") else waiting + line.startswith("Tick:")
        longest = max(longest, waiting)
    return longest


def soak(options, work: pathlib.Path, data: pathlib.Path) -> list:
    """Runs the day; the result is its figures and its checks: (what, whether it held, detail)."""
    dice = random.Random(options.seed)
    seconds = options.minutes * 60
    parts = []
    try:
        service = Service(options.service, work)
        parts.append(service)
        between = front.Front(PORT, SERVICE_PORT, random.Random(dice.random()))
        parts.append(between)
        settings = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "com.velomira.UsageMonitor/defaults.ini"
        settings.parent.mkdir(parents=True)
        settings.write_text("[General]\nsyncInterval=1\n", encoding="utf-8")
        subprocess.run([options.agent, "--sign-in", EMAIL], input=PASSWORD, text=True, check=True, timeout=PATIENCE)

        user = desktop.User(random.Random(dice.random()), work)
        parts.append(user)
        agent = Recorder(options.agent, work, data)
        try:
            return run_day(options, seconds, user, agent, between, service, data)
        finally:
            agent.kill()
    finally:
        for part in reversed(parts):
            part.close()


def run_day(options, seconds, user, agent, between, service, data):
    user.act(time.monotonic() + 1)
    wait_for(lambda: agent.count("Tick:"), PATIENCE, "the first tick")
    close_dashboard()
    start, wall = time.monotonic(), time.time()
    warm = start + min(120.0, seconds / 5)
    sampler = Sampler(agent.watched)
    panel, keyring = desktop.panel(), desktop.keyring()
    restarts = Restarts([panel, keyring], max(15.0, seconds / 16))
    disk = DiskEpisode(agent, data, seconds * FULL_DISK_FROM, max(20.0, min(60.0, seconds / 10)))
    try:
        user.act(warm)
        said, cpu, main = counted(agent), agent.watched.cpu(), agent.watched.main_switches()
        warmed = time.monotonic()
        while time.monotonic() < start + seconds:
            user.act(min(start + seconds, time.monotonic() + 5))
            if agent.process.poll() is not None:
                sys.exit(f"soak.py: the agent ended with {agent.process.returncode}:\n{agent.complaints.read_text()}")
        ticks, passed = counted(agent) - said, time.monotonic() - warmed
        cpu, main = agent.watched.cpu() - cpu, agent.watched.main_switches() - main
    finally:
        for part in (sampler, restarts, disk):
            part.close()

    # The last upload arrives, and nothing after it: what is recorded from then on is in the file.
    user.come_back()
    between.close_after_next_delivery()
    end = time.monotonic() + 2 * PATIENCE
    while not between.is_closed and time.monotonic() < end:
        user.act(time.monotonic() + 0.5)
    wait_for(lambda: between.deliveries.acknowledged <= agent.count("Velomira Sync Success"), PATIENCE, "the last upload")
    user.act(time.monotonic() + 2)
    exit_code = agent.end()
    stepped = abs((time.time() - wall) - (time.monotonic() - start))

    lines = agent.lines()
    recorded, in_service, in_file = account.said(lines), account.stored(service.database), account.kept(agent.file)
    differences = account.differences(recorded, in_service, in_file, between.deliveries.replaced)
    attempts = agent.count("Velomira Sync: Attempting")
    failed = agent.count("Velomira Sync Failed")
    succeeded = agent.count("Velomira Sync Success")
    figures = {
        "name": "day",
        "minutes": options.minutes,
        "recorded_s": recorded.total(),
        "in_service_s": in_service.total(),
        "in_file_s": in_file.total(),
        "lost_s": sum(seconds for seconds in differences.values() if seconds > 0),
        "doubled_s": -sum(seconds for seconds in differences.values() if seconds < 0),
        "replaced_s": between.deliveries.replaced.total(),
        "windows": len(recorded),
        "idle_ticks": agent.count("Idle:"),
        "uploads": attempts,
        "failed_uploads": failed / attempts,
        "longest_backlog_s": longest_backlog(lines),
        "saves_failed": disk.failures,
        "restarts": panel.restarts + keyring.restarts,
        "pss_mb": sampler.median("pss_mb", warm),
        "pss_growth_mb": sampler.growth("pss_mb", warm),
        "anonymous_mb": sampler.median("anonymous_mb", warm),
        "anonymous_growth_mb": sampler.growth("anonymous_mb", warm),
        "rss_mb": sampler.median("rss_mb", warm),
        "rss_growth_mb": sampler.growth("rss_mb", warm),
        "descriptors": sampler.median("descriptors", warm),
        "descriptor_growth": sampler.growth("descriptors", warm),
        "thread_growth": sampler.growth("threads", warm),
        "ticks": ticks,
        "cpu_s_per_1000_ticks": cpu / ticks * 1000,
        "main_wakeups_per_tick": main / ticks,
        "coverage": ticks / (passed * PACE),
        "exit_code": exit_code,
    }
    (options.work / "samples.json").write_text(json.dumps(sampler.samples), encoding="utf-8")
    complaints = agent.complaints.read_text(encoding="utf-8").strip()
    checks = [
        ("every second is found exactly once", not differences,
         f"{len(differences)} windows differ: {list(differences.items())[:10]}"),
        ("uploads were acknowledged as often as the agent says", succeeded == between.deliveries.acknowledged,
         f"{succeeded} and {between.deliveries.acknowledged}"),
        ("every upload that began has one end, but for one under way", 0 <= attempts - succeeded - failed <= 1,
         f"{attempts}, {succeeded}, {failed}"),
        ("about a third of the uploads failed", 0.2 <= failed / attempts <= 0.5, f"{failed} of {attempts}"),
        ("the windows changed", len(recorded) >= seconds / 5, f"{len(recorded)} windows"),
        ("the user was away", figures["idle_ticks"] > 0, ""),
        ("panel and keyring came back each time", restarts.problem is None and panel.restarts and keyring.restarts,
         f"{panel.restarts} and {keyring.restarts} times; {restarts.problem}"),
        ("saving failed while the disk was full", disk.failures > 0, ""),
        ("the file caught up once there was room", disk.is_caught_up and disk.failures_later == 0,
         f"{disk.failures_later} failures later"),
        ("descriptors do not grow", figures["descriptor_growth"] <= 1, f"{figures['descriptor_growth']}"),
        ("threads do not grow", figures["thread_growth"] <= 1, f"{figures['thread_growth']}"),
        ("memory is flat", max(abs(figures["rss_growth_mb"]), abs(figures["anonymous_growth_mb"])) <= options.memory,
         f"{figures['rss_growth_mb']:.2f} MB, {figures['anonymous_growth_mb']:.2f} MB of its own"),
        ("the agent ended in order", exit_code == 0, f"{exit_code}"),
        ("the system's clock was not set", stepped < 0.5, f"by {stepped:.1f} s: the account may differ for that reason"),
    ]
    if seconds >= 240:
        unmet = [fate.value for fate, count in between.met.items() if not count]
        checks.append(("every kind of fault occurred", not unmet, f"not: {unmet}"))
    print("\nwhat became of the uploads that came through:")
    for fate, count in between.met.items():
        print(f"  {count:4} {fate.value}")
    print(f"  {between.repeated:4} repeated by the agent's toolkit, with the same fate")
    if complaints:
        print(f"\nthe agent complained:\n{complaints}")
    for window, count in between.deliveries.replaced.items():
        print(f"replaced by a later upload: {count} s of {window}")
    return figures, checks


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
    user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    command = ["unshare", *user, "--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if subprocess.run([*command, "true"], capture_output=True, check=False).returncode != 0:
        print("soak.py: needs root or user namespaces", file=sys.stderr)
        sys.exit(CANNOT_RUN)
    os.environ[STAGE] = "isolated"
    os.execvp(command[0], [*command, sys.executable, __file__, *sys.argv[1:]])


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
    figures, checks = soak(options, options.work, disk)
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
