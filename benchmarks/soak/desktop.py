# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What happens on the desktop of a soak: windows with their focus and titles, keys, panel and keyring, a full disk.

Everything is decided by the dice that are handed in; when it happens is not exact, the machine being what it is.
"""

import heapq
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import time

from desktops import wait_for, xdotool

PATIENCE = 60  # seconds, for a machine with much else to do
BETWEEN_FRONTS = 0.4  # seconds at least from one change of the front window to the next


class Titled:
    """A terminal whose title is what it is told."""

    def __init__(self, folder: pathlib.Path, name: str):
        self.name, self.number = name, 0
        self.pipe_file = folder / f"{name}.pipe"
        os.mkfifo(self.pipe_file)
        self.pipe = os.open(self.pipe_file, os.O_RDWR)  # opening it for writing alone would wait for a reader
        reader = ["xterm", "-name", name, "-class", name.capitalize(), "-e", "cat", self.pipe_file]
        self.process = subprocess.Popen(reader, stderr=subprocess.DEVNULL)
        self.change_title()
        found = wait_for(lambda: xdotool("search", "--onlyvisible", "--classname", f"^{name}$"), PATIENCE, name)
        self.window = found.split()[0]

    def change_title(self):
        """No title comes twice, so that seconds lost here and doubled there cannot make up for each other."""
        self.number += 1
        os.write(self.pipe, f"\033]0;{self.name} \"{self.number}\" of a\\day/{self.number % 7}\007".encode())

    def activate(self):
        """The window manager may be busy with another window and forget this one."""
        end = time.monotonic() + PATIENCE
        while xdotool("getactivewindow").strip() != self.window:
            if time.monotonic() > end:
                sys.exit(f"soak.py: {self.name} did not get the focus")
            xdotool("windowactivate", self.window)
            asked = time.monotonic()
            while time.monotonic() < asked + 1 and xdotool("getactivewindow").strip() != self.window:
                time.sleep(0.05)

    def close(self):
        self.process.terminate()
        self.process.wait()
        os.close(self.pipe)
        self.pipe_file.unlink()


class User:
    """Types, changes windows, opens and closes some, and goes away from time to time."""

    def __init__(self, dice: random.Random, folder: pathlib.Path):
        self.dice, self.folder = dice, folder
        self.opened, self.scheduled = 0, 0
        self.passing = None  # the window that is there for a while only
        self.windows = [Titled(folder, f"steady{number}") for number in range(3)]
        self.present_again = 0.0
        self.due = []  # (when, number, what to do); the number keeps the order of equals
        for window in self.windows:
            self._again(0.3, lambda window=window: self._retitle(window))
        self._again(0, self._type)
        self._again(1, self._change_front)
        self._again(self.dice.uniform(15, 25), self._leave)

    def act(self, until: float):
        """Does what is due until then, by the monotonic clock."""
        while self.due[0][0] < until:
            when, _, action = heapq.heappop(self.due)
            time.sleep(max(0.0, when - time.monotonic()))
            action()
        time.sleep(max(0.0, until - time.monotonic()))

    def come_back(self):
        self.present_again = 0.0
        xdotool("key", "shift")

    def close(self):
        for window in [*self.windows, self.passing]:
            if window:
                window.close()

    def _again(self, seconds: float, action):
        self.scheduled += 1
        heapq.heappush(self.due, (time.monotonic() + seconds, self.scheduled, action))

    def _type(self):
        if time.monotonic() >= self.present_again:
            xdotool("key", "shift")
        self._again(self.dice.uniform(0.5, 2), self._type)

    def _leave(self):
        """Long enough to count as idle, which is 12 s here."""
        self.present_again = time.monotonic() + self.dice.uniform(15, 22)
        self._again(self.dice.uniform(60, 100), self._leave)

    def _retitle(self, window: Titled):
        window.change_title()
        self._again(self.dice.uniform(0.2, 4), lambda: self._retitle(window))

    def _change_front(self):
        if self.passing:
            self.passing.close()
            self.passing = None
        elif self.dice.random() < 0.15:
            self.opened += 1
            self.passing = Titled(self.folder, f"passing{self.opened}")
        else:
            self.dice.choice(self.windows).activate()
        self._again(self.dice.uniform(BETWEEN_FRONTS, 5), self._change_front)


def bus_call(destination: str, path: str, method: str, *arguments: str) -> str:
    """The answer, or nothing."""
    command = ["dbus-send", "--session", "--print-reply", "--reply-timeout=5000", f"--dest={destination}", path, method]
    return subprocess.run([*command, *arguments], capture_output=True, text=True, timeout=20, check=False).stdout


def end_process(process, by_signal: signal.Signals) -> None:
    """Returns when `process`, if it is one, has ended."""
    if process is None:
        return
    try:
        os.kill(process, by_signal)
    except ProcessLookupError:
        return
    wait_for(lambda: has_ended(process), PATIENCE, f"the end of process {process}")


def has_ended(process: int) -> bool:
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] == "Z"
    except (FileNotFoundError, ProcessLookupError):
        return True


class Part:
    """A part of the desktop that is ended and started again, in turns gently and not."""

    def __init__(self, name: str, command: list, is_back, given: str = ""):
        self.name, self.command, self.is_back, self.given = name, command, is_back, given
        self.restarts = 0
        self.process = None  # the one that we started

    def restart(self):
        end_process(self.owner(), signal.SIGKILL if self.restarts % 2 else signal.SIGTERM)
        end = time.monotonic() + PATIENCE
        self._start()
        while not self._has_taken_over():
            if time.monotonic() > end:
                sys.exit(f"soak.py: {self.command[0]} did not come back")
            # The bus may have started one of its own meanwhile, of whom nobody knows the password.
            end_process(self.owner(), signal.SIGTERM)
            self._start()
        wait_for(self.is_back, PATIENCE, f"{self.command[0]} with all that it had")
        self.restarts += 1

    def owner(self):
        """The process that has the part's name on the bus; none without one. Starts nothing."""
        answer = bus_call("org.freedesktop.DBus", "/", "org.freedesktop.DBus.GetConnectionUnixProcessID",
                          f"string:{self.name}")
        found = re.search(r"uint32 (\d+)", answer)
        return int(found.group(1)) if found else None

    def _start(self):
        self.close()
        self.process = subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, text=True)
        self.process.stdin.write(self.given)
        self.process.stdin.close()

    def _has_taken_over(self) -> bool:
        """Waits for somebody to have the name; true if it is the one that was started here."""
        end = time.monotonic() + PATIENCE / 3
        while (owner := self.owner()) is None and time.monotonic() < end:
            time.sleep(0.05)
        return owner == self.process.pid

    def close(self):
        if self.process:
            self.process.terminate()
            self.process.wait()


def panel() -> Part:
    """Is back when it shows our icon."""
    return Part("org.kde.StatusNotifierWatcher", ["lxqt-panel"], lambda: "string \"" in bus_call(
        "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties.Get",
        "string:org.kde.StatusNotifierWatcher", "string:RegisteredStatusNotifierItems"))


def keyring() -> Part:
    """Is back when it gives out our token."""
    return Part("org.freedesktop.secrets",
                ["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                gives_out_our_token, given="private desktop\n")


def gives_out_our_token() -> bool:
    try:
        return bool(subprocess.run(["secret-tool", "lookup", "service", "com.velomira.UsageMonitor"], timeout=10,
                                   capture_output=True, check=False).stdout)
    except subprocess.TimeoutExpired:
        return False  # it asks somebody for a password


class FullDisk:
    """Takes all that is left of a file system, again and again, until it is told to give it back."""

    def __init__(self, folder: pathlib.Path):
        self.file = (folder / "ballast").open("wb", buffering=0)

    def fill(self):
        for size in (65536, 4096, 1):
            try:
                while True:
                    self.file.write(bytes(size))
            except OSError:
                pass  # full

    def close(self):
        os.unlink(self.file.name)
        self.file.close()
