# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""File systems on loop devices, and the log of a disk that remembers what it was told. Needs root, and a mount namespace
of its own: whatever is mounted when its last process ends goes with it, and the loop devices with that."""

import contextlib
import ctypes
import dataclasses
import errno
import fcntl
import os
import pathlib
import random
import struct
import subprocess
import time

BLOCK = 4096
NOTHING = bytes(BLOCK)
MIB = 1 << 20

LOOP_CTL_GET_FREE = 0x4C82
LOOP_CONFIGURE = 0x4C0A
LO_FLAGS_AUTOCLEAR = 4
LO_FLAGS_DIRECT_IO = 16
BTRFS_IOC_FORGET_DEV = 0x50009405
MNT_DETACH = 2

LIBC = ctypes.CDLL(None, use_errno=True)


@dataclasses.dataclass(frozen=True)
class Kind:
    """A kind of file system."""
    name: str
    mebibytes: int
    atom: int  # so many bytes it expects a disk to write wholly or not at all
    make: tuple
    options: str


KINDS = {kind.name: kind for kind in (
    # Its superblocks have 1,024 bytes, and it cannot be mounted when one of them is half new.
    Kind("ext4", 64, 1024, ("mkfs.ext4", "-q", "-F", "-b", "4096", "-J", "size=4",
                      "-E", "nodiscard,lazy_itable_init=0,lazy_journal_init=0"), ""),
    # Two images of one file system never meet, but the kernel does not know that.
    Kind("xfs", 300, 512, ("mkfs.xfs", "-q", "-f", "-K"), "nouuid"),
    Kind("btrfs", 128, BLOCK, ("mkfs.btrfs", "-q", "-f", "-K"), "nodiscard"))}


def wait_until(condition, what: str, seconds: float = 20) -> None:
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError(what)
        time.sleep(0.005)


def mount(device: str, folder: pathlib.Path, kind: str, options: str = "") -> None:
    if LIBC.mount(device.encode(), os.fsencode(folder), kind.encode(), 0, options.encode()) != 0:
        number = ctypes.get_errno()
        raise OSError(number, f"cannot mount {kind}: {os.strerror(number)}")


def unmount(folder: pathlib.Path, flags: int = 0) -> None:
    def done() -> bool:
        if LIBC.umount2(os.fsencode(folder), flags) == 0:
            return True
        if ctypes.get_errno() != errno.EBUSY:
            raise OSError(ctypes.get_errno(), f"cannot unmount {folder}")
        return False
    wait_until(done, f"{folder} is in use")


@contextlib.contextmanager
def loop_device(file: pathlib.Path, flags: int = 0):
    """Its name. It goes with its last user."""
    descriptor = os.open(file, os.O_RDWR | os.O_CLOEXEC)
    with contextlib.ExitStack() as stack:
        stack.callback(os.close, descriptor)
        control = os.open("/dev/loop-control", os.O_RDWR | os.O_CLOEXEC)
        stack.callback(os.close, control)
        configuration = bytearray(304)
        struct.pack_into("<I", configuration, 0, descriptor)
        struct.pack_into("<I", configuration, 60, flags | LO_FLAGS_AUTOCLEAR)
        deadline = time.monotonic() + 20
        while True:
            name = f"/dev/loop{fcntl.ioctl(control, LOOP_CTL_GET_FREE)}"
            try:
                device = os.open(name, os.O_RDWR | os.O_CLOEXEC)
            except OSError:
                device = -1
            if device >= 0:
                try:
                    fcntl.ioctl(device, LOOP_CONFIGURE, configuration)
                    stack.callback(os.close, device)
                    break
                except OSError as error:  # somebody else was faster
                    os.close(device)
                    if error.errno != errno.EBUSY:
                        raise
            if time.monotonic() > deadline:
                raise TimeoutError(f"no loop device to be had, the last was {name}")
        yield name


@contextlib.contextmanager
def mounted(image: pathlib.Path, kind: Kind, folder: pathlib.Path, flags: int = 0):
    with loop_device(image, flags) as device, contextlib.ExitStack() as stack:
        if kind.name == "btrfs":
            stack.callback(forget, device)
        mount(device, folder, kind.name, kind.options)
        stack.callback(unmount, folder)
        yield


def forget(device: str) -> None:
    """Or the next image, which says it is the same, would be compared with it."""
    control = os.open("/dev/btrfs-control", os.O_RDWR | os.O_CLOEXEC)
    try:
        fcntl.ioctl(control, BTRFS_IOC_FORGET_DEV, bytearray(struct.pack("<q4088s", 0, device.encode())))
    except OSError as error:
        if error.errno != errno.ENOENT:
            raise
    finally:
        os.close(control)


def make_image(file: pathlib.Path, kind: Kind) -> None:
    with file.open("wb") as image:
        image.truncate(kind.mebibytes * MIB)
    subprocess.run([*kind.make, str(file)], check=True, stdout=subprocess.DEVNULL)


@contextlib.contextmanager
def logged_disk(program: str, image: pathlib.Path, log: pathlib.Path, folder: pathlib.Path):
    """The path of a file with the bytes of `image`, whose writes and flushes go to `log` as well."""
    process = subprocess.Popen([program, str(image), str(log), str(folder)])
    disk = folder / "disk"
    try:
        wait_until(lambda: process.poll() is not None or disk.exists(), "the logged disk does not start")
        if process.poll() is not None:
            raise RuntimeError(f"the logged disk ended with {process.returncode}")
        yield disk
        # The loop device lets go of it a little later than its last user of the device.
        unmount(folder)
        process.wait(20)
    finally:
        if process.poll() is None:
            LIBC.umount2(os.fsencode(folder), MNT_DETACH)
            process.kill()
            process.wait()


@dataclasses.dataclass(frozen=True)
class Entry:
    time: int
    offset: int
    data: bytes  # empty: a flush


def read_log(file: pathlib.Path, until: int) -> list:
    entries = []
    content = file.read_bytes()
    at = 0
    while at < len(content):
        when, offset, length, kind = struct.unpack_from("<QQII", content, at)
        at += 24
        if (kind == 1) != (length > 0) or at + length > len(content):
            raise ValueError("the log of the disk is damaged")
        if when <= until:
            entries.append(Entry(when, offset, content[at:at + length]))
        at += length
    return entries


class Blocks:
    """The content of a disk, without what is empty."""

    def __init__(self, blocks: dict, size: int):
        self._blocks = blocks
        self._size = size

    @classmethod
    def of(cls, image: pathlib.Path):
        content = {}
        with image.open("rb") as file:
            size = os.fstat(file.fileno()).st_size
            for number in range(size // BLOCK):
                block = file.read(BLOCK)
                if block != NOTHING:
                    content[number] = block
        return cls(content, size)

    def copy(self):
        return Blocks(dict(self._blocks), self._size)

    def write(self, offset: int, data: bytes) -> None:
        at = 0
        while at < len(data):
            number, begin = divmod(offset + at, BLOCK)
            piece = data[at:at + BLOCK - begin]
            if len(piece) < BLOCK:
                old = self._blocks.get(number, NOTHING)
                piece = old[:begin] + piece + old[begin + len(piece):]
                at += BLOCK - begin
            else:
                at += BLOCK
            self._blocks[number] = piece

    def write_all(self, entries: list) -> None:
        for entry in entries:
            self.write(entry.offset, entry.data)

    def read(self, offset: int, length: int) -> bytes:
        """Within one block."""
        number, begin = divmod(offset, BLOCK)
        return self._blocks.get(number, NOTHING)[begin:begin + length]

    def store(self, file: pathlib.Path) -> None:
        with file.open("wb", buffering=0) as out:
            out.truncate(self._size)
            run, begin = [], 0
            for number in sorted(self._blocks):
                if run and number != begin + len(run):
                    os.pwrite(out.fileno(), b"".join(run), begin * BLOCK)
                    run = []
                if not run:
                    begin = number
                run.append(self._blocks[number])
            if run:
                os.pwrite(out.fileno(), b"".join(run), begin * BLOCK)


@dataclasses.dataclass(frozen=True)
class Cut:
    name: str
    time: int  # the last moment at which the disk was like this
    blocks: Blocks


def pieces_of(writes: list, durable: Blocks, atom: int) -> list:
    """What of `writes` can be on the disk or not, each by itself: offset and bytes."""
    pieces = [(write.offset + at, write.data[at:at + atom])
              for write in writes for at in range(0, len(write.data), atom)]
    return [(offset, data) for offset, data in dict.fromkeys(pieces) if durable.read(offset, len(data)) != data]


def some_of(pieces: list, choice: random.Random) -> list:
    """What a disk may have made of writes that nobody asked it to finish: some, in any order."""
    share = choice.choice((0.1, 0.5, 0.9))
    some = [piece for piece in pieces if choice.random() < share]
    choice.shuffle(some)
    return some


def spread(count: int, slots: int) -> list:
    """How many of `count` things fall to each of `slots`, evenly."""
    return [(index + 1) * count // slots - index * count // slots for index in range(slots)]


def fill(count: int, rooms: list) -> list:
    """The same where each slot has room for so many."""
    filled = [0] * len(rooms)
    while left := [slot for slot, room in enumerate(rooms) if filled[slot] < room]:
        for slot, more in zip(left, spread(count, len(left))):
            more = min(more, rooms[slot] - filled[slot])
            filled[slot] += more
            count -= more
        if count == 0:
            break
    return filled


def cuts(base: Blocks, entries: list, end: int, wanted: int, choice: random.Random, atom: int = BLOCK):
    """The disk before each write and after the last, as it was then: at most `wanted` of them, evenly over the time. If
    they are fewer, the rest is of the disk without some of what was written since the last flush, in parts of `atom`
    bytes; there may not be enough of those. Each is to be used before the next is asked for."""
    durable = base.copy()
    unflushed = []
    open_choices = {}  # by entry: what can be there or not before it
    for index, entry in enumerate(entries):
        pieces = pieces_of(unflushed, durable, atom)
        if len(pieces) > 1:
            open_choices[index] = pieces
        if entry.data:
            unflushed.append(entry)
        else:
            durable.write_all(unflushed)
            unflushed = []
    boundaries = sum(1 for entry in entries if entry.data) + 1
    whole = min(boundaries, wanted)
    is_chosen = spread(whole, boundaries)
    rooms = [2 ** min(len(pieces), 16) - 2 for pieces in open_choices.values()]
    variants = dict(zip(open_choices, fill(wanted - whole, rooms)))

    durable = base.copy()
    now = base.copy()
    unflushed = []
    number = 0
    for index, entry in enumerate(entries):
        seen = set()
        for variant in range(variants.get(index, 0)):
            pieces = open_choices[index]
            some = some_of(pieces, choice)
            # All and none are disks of their own right already.
            while len(some) in (0, len(pieces)) or tuple(sorted(some)) in seen:
                some = some_of(pieces, choice)
            seen.add(tuple(sorted(some)))
            blocks = durable.copy()
            for offset, data in some:
                blocks.write(offset, data)
            yield Cut(f"{number} variant {variant + 1}", entry.time, blocks)
        if not entry.data:
            durable.write_all(unflushed)
            unflushed = []
            continue
        if is_chosen[number]:
            yield Cut(f"{number}", entry.time, now)
        now.write(entry.offset, entry.data)
        unflushed.append(entry)
        number += 1
    if is_chosen[number]:
        yield Cut(f"{number}", end, now)
