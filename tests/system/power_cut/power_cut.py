#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What a power cut costs, at any block.

A real store records for 45 seconds on ext4, xfs and btrfs, on a disk that remembers every write and flush. Then, for the
disk as it was before each write, and without some of what was not flushed at the time, a real store starts on it. It must

  * find, or repair, a whole file, with a list that the store had held,
  * miss of it no news older than --news seconds and no more of the same older than --same seconds,
  * delete nothing before it has read,
  * save one record more, and leave a whole file with it, and no copy that says something was damaged.

Before that, the instrument shows that a flush arrives in order; and that it can say no: of a file that was torn, and of
a store whose flushes do nothing.

Needs root. Figures: `worst_news_s` and `worst_same_s` are the age of what was missing when the power went.
"""

import argparse
import collections
import json
import multiprocessing
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

import block_disk
from block_disk import KINDS
from history import History

CANNOT_RUN = 77  # the exit code that says so
STAGE = "POWER_CUT_STAGE"
DATA = pathlib.Path("Velomira Usage Monitor/activity_logs.json")
# A letter for each second: power_cut_store.cpp. Killed, started again, ended, started again.
SCRIPTS = ("Bnsnsnsssssssssssssnsk", "nnsrnsnsf", "nsnsrnsnsssk")
SHORT_SCRIPTS = ("Bnsnsnsnsnsk",)
IDENTIFIER = re.compile('"id":"([0-9A-F-]{36})"')


class Runner:
    """One file system: the recording, then the replay. In a process of its own."""

    def __init__(self, options, name: str, folder: pathlib.Path, flushes: bool):
        self.options = options
        self.kind = KINDS[name]
        self.flushes = flushes
        self.folder = folder
        self.point = folder / "mounted"
        self.point.mkdir(parents=True)
        self.counts = collections.Counter()
        self.worst = collections.Counter()
        self.failures = []
        self.damage = ""

    def run(self, images: int) -> dict:
        base, entries, begun, end = self.record()
        history = History([json.loads(line) for line in (self.folder / "told").read_text().splitlines()])
        for number, verdict in enumerate(history.starts):
            self.judge(f"start {number + 1}", verdict)
        if self.flushes:
            self.check_flush(base, entries)
        before = [entry for entry in entries if entry.time <= begun]
        base.write_all(before)
        entries = entries[len(before):]
        os.nice(10)  # from here on nothing measures time
        begin = time.monotonic()
        store = subprocess.Popen([self.options.store, "start"], text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                 stderr=(self.folder / "first starts").open("w"))
        last = None
        choice = random.Random(self.options.seed)
        for cut in block_disk.cuts(base, entries, end, images, choice, self.kind.atom):
            self.try_cut(store, history, cut)
            last = cut
        if self.flushes:
            self.check_torn(store, history, last)
        store.stdin.close()
        if store.wait(60) != 0:
            self.failures.append(f"the first starts ended with {store.returncode}: " +
                                 (self.folder / "first starts").read_text()[-2000:])
        return {"counts": dict(self.counts), "worst": dict(self.worst), "failures": self.failures, "damage": self.damage,
                "writes": sum(1 for entry in entries if entry.data), "flushes": sum(1 for entry in entries if not entry.data),
                "bytes": sum(len(entry.data) for entry in entries), "replay_s": time.monotonic() - begin}

    def record(self):
        """The empty disk, what was done to it, and when the store began and ended."""
        image = self.folder / "image"
        log = self.folder / "log"
        served = self.folder / "served"
        served.mkdir()
        block_disk.make_image(image, self.kind)
        base = block_disk.Blocks.of(image)
        with block_disk.logged_disk(self.options.disk, image, log, served) as disk, \
                block_disk.mounted(disk, self.kind, self.point, block_disk.LO_FLAGS_DIRECT_IO):
            self.flush_something()
            begun = time.monotonic_ns()
            with (self.folder / "told").open("wb") as told:
                for script in SCRIPTS if self.flushes else SHORT_SCRIPTS:
                    self.write(script, told)
            end = time.monotonic_ns()
        return base, block_disk.read_log(log, end), begun, end

    def write(self, script: str, told) -> None:
        flags = [] if self.flushes else ["--without-flushes"]
        done = subprocess.run([self.options.store, "write", str(self.point), script, *flags], stdout=told, check=False)
        if done.returncode != (0 if script.endswith("f") else -9):
            raise RuntimeError(f"the writer ended with {done.returncode}")

    def flush_something(self) -> None:
        self.flushed = os.urandom(5 * block_disk.BLOCK)
        with (self.point / "flushed").open("wb", buffering=0) as file:
            file.write(self.flushed)
            self.flush_from = time.monotonic_ns()
            os.fsync(file.fileno())
            self.flush_until = time.monotonic_ns()

    def check_flush(self, base, entries) -> None:
        """What was flushed in the file system is on the disk by a flush of the disk's, before flushing returned."""
        flushes = [number for number, entry in enumerate(entries)
                   if not entry.data and self.flush_from <= entry.time <= self.flush_until]
        if not flushes:
            self.damage = "a flush of the file system did not arrive at the disk"
            return
        blocks = base.copy()
        blocks.write_all(entries[:flushes[-1]])
        scratch = self.folder / "scratch"
        blocks.store(scratch)
        with block_disk.mounted(scratch, self.kind, self.point):
            file = self.point / "flushed"
            if not file.exists() or file.read_bytes() != self.flushed:
                self.damage = "what was flushed is not on the disk"

    def check_torn(self, store, history, cut) -> None:
        so_far = self.counts, self.worst, self.failures
        self.counts, self.worst, self.failures = collections.Counter(), collections.Counter(), []
        self.try_cut(store, history, cut, tear=True)
        if not self.failures:
            self.damage = "a file that was torn in half passed"
        self.counts, self.worst, self.failures = so_far

    def try_cut(self, store, history, cut, tear=False) -> None:
        scratch = self.folder / "scratch"
        cut.blocks.store(scratch)
        self.counts["images"] += 1
        try:
            with block_disk.mounted(scratch, self.kind, self.point):
                self.start(store, history, cut, tear)
        except OSError as error:
            self.fail(cut.name, str(error))

    def start(self, store, history, cut, tear: bool) -> None:
        if tear:
            os.truncate(self.point / DATA, (self.point / DATA).stat().st_size // 2)
        before = records_of(self.point / DATA)
        store.stdin.write(f"{self.point}\n")
        store.stdin.flush()
        line = store.stdout.readline()
        if not line:
            raise RuntimeError("the first start did not end: " + (self.folder / "first starts").read_text()[-2000:])
        answer = json.loads(line)
        loaded = answer["loaded"]
        verdict = history.judge(loaded, cut.time)
        fine = self.judge(cut.name, verdict)
        self.counts[state_of(before)] += 1
        self.counts["repaired"] += fine and before != loaded and bool(loaded)
        after = records_of(self.point / DATA)
        if not answer["finished"]:
            self.fail(cut.name, "saving was not finished")
        if answer["afterwards"][:-1] != loaded or after != answer["afterwards"]:
            self.fail(cut.name, f"{len(loaded)} records were loaded and one added, now the file is {state_of(after)}"
                                f" with {len(after or [])}")
        if answer["deletedEarly"]:
            self.fail(cut.name, "something was deleted before the list was loaded")
        for copy in (self.point / DATA).parent.glob(DATA.name + ".damaged-*"):
            if set(IDENTIFIER.findall(copy.read_bytes().decode(errors="replace"))) <= set(loaded):
                self.fail(cut.name, f"{copy.name} holds nothing that is not in the list")

    def judge(self, name: str, verdict) -> bool:
        self.worst["news"] = max(self.worst["news"], verdict.news)
        self.worst["same"] = max(self.worst["same"], verdict.same)
        if verdict.problem:
            return self.fail(name, verdict.problem)
        if verdict.news > self.options.news:
            return self.fail(name, f"news of {verdict.news:.1f} s are missing")
        if verdict.same > self.options.same:
            return self.fail(name, f"more of the same of {verdict.same:.1f} s is missing")
        return True

    def fail(self, name: str, problem: str) -> bool:
        self.failures.append((name, problem))
        return False


def records_of(file: pathlib.Path):
    """The identifiers in a file that is one whole array; otherwise "missing" or "torn"."""
    try:
        return [record["id"] for record in json.loads(file.read_text(encoding="utf-8"))]
    except FileNotFoundError:
        return "missing"
    except (ValueError, TypeError, KeyError):
        return "torn"


def state_of(records) -> str:
    return records if isinstance(records, str) else "whole"


def run_into(pipe, *arguments) -> None:
    *runner, images = arguments
    try:
        pipe.send(Runner(*runner).run(images))
    except BaseException:  # whatever it was, the test has failed
        pipe.send({"error": traceback.format_exc()})


def isolate(options) -> None:
    """Starts this program again, where whatever it leaves behind goes with it, however it ends."""
    missing = [program for program in ("unshare", "mkfs.ext4", "mkfs.xfs", "mkfs.btrfs") if not shutil.which(program)]
    missing += [device for device in ("/dev/fuse", "/dev/loop-control") if not os.access(device, os.R_OK | os.W_OK)]
    missing += [] if options.disk else ["libfuse3-dev, when this was built"]
    if os.geteuid() != 0:
        missing.append("the rights of root")
    command = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if not missing and subprocess.run([*command, "true"], capture_output=True, check=False).returncode != 0:
        missing.append("namespaces of its own")
    if missing:
        print("a power cut cannot be tried without: " + ", ".join(missing))
        sys.exit(CANNOT_RUN)
    os.environ[STAGE] = "isolated"
    os.execvp(command[0], [*command, sys.executable, __file__, *sys.argv[1:]])


def report(name: str, result: dict, show: int) -> None:
    counts = collections.Counter(result["counts"])
    worst = collections.Counter(result["worst"])
    print(f"{name:16} images={counts['images']} failed={failed_images(result)} whole={counts['whole']}"
          f" torn={counts['torn']} missing={counts['missing']} repaired={counts['repaired']}"
          f" worst_news_s={worst['news']:.2f} worst_same_s={worst['same']:.2f}"
          f" writes={result['writes']} flushes={result['flushes']} written_mb={result['bytes'] / 1e6:.1f}"
          f" replay_s={result['replay_s']:.0f}")
    for cut, problem in result["failures"][:show]:
        print(f"    at write {cut}: {problem}")


def failed_images(result: dict) -> int:
    return len({name for name, _ in result["failures"]})


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--store", required=True, help="the program power_cut_store")
    parser.add_argument("--disk", required=True, help="the program logged_disk")
    parser.add_argument("--kinds", nargs="*", default=list(KINDS), choices=KINDS)
    parser.add_argument("--images", type=int, default=350, help="of each file system")
    parser.add_argument("--news", type=float, default=3, help="seconds")
    parser.add_argument("--same", type=float, default=11, help="seconds")
    parser.add_argument("--seed", type=int, default=1, help="of the images without some writes")
    parser.add_argument("--show", type=int, default=5, help="so many failures of each file system")
    options = parser.parse_args()
    if STAGE not in os.environ:
        isolate(options)
    with tempfile.TemporaryDirectory(prefix="power-cut-") as name:
        folder = pathlib.Path(name)
        block_disk.mount("none", folder, "tmpfs", "mode=700")
        try:
            return try_all(options, folder)
        finally:
            block_disk.unmount(folder, block_disk.MNT_DETACH)


def try_all(options, folder: pathlib.Path) -> int:
    runs = {name: (name, True, options.images) for name in options.kinds}
    runs["ext4 unflushed"] = ("ext4", False, 40)
    pipes = {}
    for title, (kind, flushes, images) in runs.items():
        pipes[title], theirs = multiprocessing.Pipe(False)
        arguments = (theirs, options, kind, folder / title, flushes, images)
        multiprocessing.Process(target=run_into, args=arguments, daemon=True).start()
        theirs.close()
    wrong = []
    for title, pipe in pipes.items():
        result = pipe.recv()
        if "error" in result:
            wrong.append(f"{title}: {result['error']}")
            continue
        report(title, result, options.show)
        if result["damage"]:
            wrong.append(f"{title}: {result['damage']}")
        if runs[title][1] and result["failures"]:
            wrong.append(f"{title}: {failed_images(result)} of {result['counts']['images']} failed")
        if not runs[title][1] and not result["failures"]:
            wrong.append(f"{title}: nothing was lost, so this test proves nothing")
    print("\n".join(wrong))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
