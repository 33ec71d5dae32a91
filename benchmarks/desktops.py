# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The desktops on which the running program is measured: one for each way in which it learns what is in front.

All have the same functions:
  name, environment   what a program needs in addition to appear on it
  programs()          what else works for it there: by name, the process
  open_window()       a window that changes its title under orders
  focus()             asks for a window of a process to be in front; who needs to know waits until the product records it
  close_dashboard()   waits for the window of the agent and closes it, as the user would
  stay_active()       what a user does who is not idle
X11 and sway are here, the others in shells.py.
"""

import json
import os
import pathlib
import pwd
import shutil
import subprocess
import sys
import tempfile
import threading
import time

DASHBOARD = "Dashboard"
GTK_WINDOW = pathlib.Path(__file__).resolve().parents[1] / "tests/support/gtk_window.py"


def wait_for(condition, seconds: float, what: str):
    end = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > end:
            sys.exit(f"{pathlib.Path(sys.argv[0]).name}: {what} did not come within {seconds} s")
        time.sleep(0.05)
    return result


def end(process: subprocess.Popen) -> None:
    process.terminate()
    process.wait()


def xdotool(*arguments: str) -> str:
    return subprocess.run(["xdotool", *arguments], capture_output=True, text=True, timeout=10, check=False).stdout


class Window:
    """A GTK program with one window: no Qt, whose memory the product would share."""

    def __init__(self, identifier: str, title: str, environment: dict):
        self.title = title
        self.flood = None
        self.process = subprocess.Popen([GTK_WINDOW, identifier, title], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, env={**os.environ, "NO_AT_BRIDGE": "1", **environment})
        shown = self.process.stdout.readline()
        if shown != "shown\n":
            sys.exit(f"{pathlib.Path(sys.argv[0]).name}: a window was not shown but \"{shown}\"")
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    @property
    def pid(self) -> int:
        return self.process.pid

    def _read(self):
        for _ in self.process.stdout:  # "done", after each order
            pass

    def set_title(self, title: str) -> None:
        self.title = title
        self.process.stdin.write(f"title {title}\n")
        self.process.stdin.flush()

    def close(self):
        end(self.process)
        self.reader.join()


class Titles:
    """While it is entered, `window` gets a new title so many times a second."""

    def __init__(self, window: Window, per_second: float):
        self.given = 0
        self._window, self._period, self._first = window, 1 / per_second, window.title
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)

    def _run(self):
        start = time.monotonic()
        while not self._stop.wait(max(0.0, start + self.given * self._period - time.monotonic())):
            self.given += 1
            self._window.set_title(f"{self._first} {self.given}")

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._stop.set()
        self._thread.join()
        self._window.set_title(self._first)


class X11Desktop:
    """The private desktop that the program runs in already."""

    name = "x11"
    environment = {}

    def open_window(self, identifier: str, title: str) -> Window:
        return Window(identifier, title, self.environment)

    def focus(self, process: int) -> None:
        found = wait_for(lambda: xdotool("search", "--onlyvisible", "--pid", str(process)), 20, "a window")
        xdotool("windowactivate", found.split()[0])

    def programs(self) -> dict:
        return {}

    @staticmethod
    def dashboards() -> list:
        return xdotool("search", "--onlyvisible", "--name", f"^{DASHBOARD}$").split()

    def close_dashboard(self, _agent=None) -> None:
        wait_for(self.dashboards, 20, "the dashboard")
        subprocess.run(["wmctrl", "-i", "-c", self.dashboards()[0]], timeout=10, check=True)
        wait_for(lambda: not self.dashboards(), 20, "the end of the dashboard")

    def stay_active(self) -> None:
        xdotool("key", "shift")

    def close(self) -> None:
        pass


class SwayDesktop:
    """A headless sway of its own. Bus, keyring and panel are those of the private desktop."""

    SETTINGS = "output HEADLESS-1 resolution 1280x800\nxwayland disable\nfocus_follows_mouse no\nmouse_warping none\n"

    name = "sway"

    def __init__(self):
        # It does not run as root, so it gets a folder that the user it runs as may enter.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillstep-sway-"))
        settings = self.folder / "config"
        settings.write_text(self.SETTINGS, encoding="utf-8")
        command = ["setpriv", "--pdeathsig=KILL"]
        if os.geteuid() == 0:
            nobody = pwd.getpwnam("nobody").pw_uid
            for path in (settings, self.folder):
                os.chown(path, nobody, -1)
            command += ["--reuid=nobody", "--regid=nogroup", "--clear-groups"]
        command += ["--", "sway", "-c", str(settings)]
        runs_in = {name: str(self.folder) for name in ("HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_CACHE_HOME")}
        with (self.folder / "log").open("w", encoding="utf-8") as log:
            self.process = subprocess.Popen(command, stdout=log, stderr=log, env={
                **{name: value for name, value in os.environ.items() if name != "DISPLAY"}, **runs_in,
                "WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1", "WLR_RENDERER": "pixman"})
        display = wait_for(lambda: list(self.folder.glob("wayland-?")), 20, "the display of sway")
        socket = wait_for(lambda: list(self.folder.glob("sway-ipc.*.sock")), 20, "the socket of sway")
        self.environment = {"WAYLAND_DISPLAY": str(display[0]), "SWAYSOCK": str(socket[0]), "DISPLAY": "",
                            "XDG_CURRENT_DESKTOP": "sway", "XDG_SESSION_TYPE": "wayland", "QT_QPA_PLATFORM": "wayland"}
        wait_for(self.windows, 20, "an answer of sway")

    def order(self, *words: str) -> None:
        subprocess.run(["swaymsg", "-s", self.environment["SWAYSOCK"], "--", *words],
                       stdout=subprocess.DEVNULL, timeout=10, check=False)

    def windows(self) -> list:
        """All nodes of its tree, outputs and workspaces included; none while it does not answer."""
        answer = subprocess.run(["swaymsg", "-s", self.environment["SWAYSOCK"], "-r", "-t", "get_tree"],
                                capture_output=True, text=True, timeout=10, check=False)
        if answer.returncode != 0:
            return []
        nodes, found = [json.loads(answer.stdout)], []
        while nodes:
            found.append(nodes.pop())
            nodes += found[-1]["nodes"] + found[-1]["floating_nodes"]
        return found

    def programs(self) -> dict:
        return {"sway": self.process.pid}

    def open_window(self, identifier: str, title: str) -> Window:
        return Window(identifier, title, {**self.environment, "GDK_BACKEND": "wayland"})

    def focus(self, process: int) -> None:
        self.order(f"[pid={process}]", "focus")

    def _has_dashboard(self) -> bool:
        return any(window["name"] == DASHBOARD for window in self.windows())

    def close_dashboard(self, _agent=None) -> None:
        wait_for(self._has_dashboard, 20, "the dashboard")
        self.order(f'[title="^{DASHBOARD}$"]', "kill")
        wait_for(lambda: not self._has_dashboard(), 20, "the end of the dashboard")

    def stay_active(self) -> None:
        self.order("seat", "-", "cursor", "move", "1", "1")

    def close(self) -> None:
        end(self.process)
        shutil.rmtree(self.folder)
