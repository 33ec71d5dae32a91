# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The disk that the running program is measured on: an ext4 with a journal, as most users have it, on a loop device of our
own, so that what reaches the device is counted below the file system and nobody else's is among it.

What the loop device counts is what the file system asks of it. Because it cannot write through its cache by itself (FUA),
each commit of the journal takes two flushes of it where a disk that can needs one; both numbers are given.
"""

import os
import pathlib
import re
import subprocess
import sys
from typing import NamedTuple

SECTOR = 512
IMAGE_BYTES = 4 << 30  # a hole, until something is written


class Mount(NamedTuple):
    """What is mounted where a path lies."""

    source: str
    kind: str
    options: str
    journal: str

    def __str__(self):
        return f"{self.kind} on {self.source}, {self.options}; {self.journal}"


def mounted_at(path: pathlib.Path, proc=pathlib.Path("/proc")) -> Mount:
    best, found = -1, None
    for line in (proc / "self/mountinfo").read_text(encoding="utf-8").splitlines():
        before, after = line.split(" - ", 1)
        number, point, options = (before.split()[field] for field in (2, 4, 5))
        kind, source, more = after.split()[:3]
        if path.is_relative_to(point) and len(point) >= best:
            best, found = len(point), (number, source, kind, ",".join(dict.fromkeys((options + "," + more).split(","))))
    number, source, kind, options = found
    return Mount(source, kind, options, journal_of(number, kind, proc))


def journal_of(number: str, kind: str, proc: pathlib.Path) -> str:
    """What is known of the journal of the file system on the device of this number, such as 7:0."""
    if not kind.startswith("ext"):
        return "whether it has a journal is not known here"
    block = pathlib.Path("/sys/dev/block") / number
    name = block.resolve().name if block.exists() else number
    settings = proc / "fs" / kind / name / "options"
    mode = re.search(r"^data=\w+$", settings.read_text(), re.MULTILINE) if settings.exists() else None
    return f"journal, {mode[0]}" if mode else "no journal"


class Counts(NamedTuple):
    """Of a device, since it was made."""

    written_bytes: int
    flushes: int
    commits: int

    def __sub__(self, other):
        return Counts(*(mine - theirs for mine, theirs in zip(self, other)))


def read_counts(stat: str, journal: str) -> Counts:
    """From the text of /sys/block/NAME/stat (Documentation/block/stat.rst) and that of /proc/fs/jbd2/NAME/info."""
    fields = [int(field) for field in stat.split()]
    return Counts(fields[6] * SECTOR, fields[15], int(journal.split()[0]))


class JournaledDisk:
    """The loop device, mounted for this process and those that it starts. The kernel lets go of it with the last of them,
    however that ends."""

    def __init__(self, device: str):
        self.name = device
        self._stat = pathlib.Path(f"/sys/block/{device}/stat")
        self._journal = pathlib.Path(f"/proc/fs/jbd2/{device}-8/info")

    @staticmethod
    def mount(folder: pathlib.Path) -> "JournaledDisk":
        """Beside `folder`, and mounted there. In a mount namespace of our own."""
        image = folder.with_suffix(".img")
        folder.mkdir(parents=True, exist_ok=True)
        image.unlink(missing_ok=True)
        with image.open("wb") as file:
            file.truncate(IMAGE_BYTES)
        # Without lazy initialisation, of which the kernel would write later what belongs to nobody.
        needed("mkfs.ext4", "-q", "-F", "-O", "has_journal", "-E", "lazy_itable_init=0,lazy_journal_init=0", image)
        device = needed("losetup", "--find", "--show", image)
        try:
            needed("mount", "-t", "ext4", device, folder)
        finally:
            subprocess.run(["losetup", "--detach", device], check=False)  # as soon as nothing is mounted from it
            image.unlink()
        return JournaledDisk(pathlib.Path(device).name)

    def counts(self) -> Counts:
        return read_counts(self._stat.read_text(), self._journal.read_text())

    def journal_thread(self) -> str:
        """The name of the kernel's thread that commits the journal."""
        return f"jbd2/{self.name}-8"

    def check(self, folder: pathlib.Path) -> None:
        """Exits where the counters do not count what is known to have been written."""
        rounds, size = 16, 1 << 16
        before = self.counts()
        file = os.open(folder / "check", os.O_WRONLY | os.O_CREAT)
        for _ in range(rounds):
            os.write(file, os.urandom(size))
            os.fdatasync(file)
        os.close(file)
        (folder / "check").unlink()
        seen = self.counts() - before
        if not (rounds * size <= seen.written_bytes <= 2 * rounds * size and rounds <= seen.flushes <= 3 * rounds
                and rounds <= seen.commits <= 2 * rounds):
            sys.exit(f"process_figures.py: the counters of {self.name} cannot be trusted: after {rounds} times "
                     f"{size} bytes and a flush they say {seen}")


def needed(*command) -> str:
    try:
        return subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True).stdout.strip()
    except (FileNotFoundError, subprocess.CalledProcessError) as problem:
        reason = getattr(problem, "stderr", "") or str(problem)
        sys.exit(f"process_figures.py: the running program is measured on an ext4 with a journal in a loop device, and "
                 f"{command[0]} does not make one here: {reason.strip()}\n"
                 "Run it where root may use /dev/loop-control and mount; a container needs --privileged for that.")
