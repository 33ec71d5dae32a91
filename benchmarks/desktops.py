# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The desktops on which the running program is measured: one for each way in which it learns what is in front.

Both have the same functions:
  environment        what a program needs in addition to appear on it
  open_terminal()    a window, in front when the call returns; a changing one gets a new title every second
  close_dashboard()  waits for the window and closes it, as the user would
  stay_active()      what a user does who is not idle
"""

import json
import os
import pathlib
import pwd
import shutil
import subprocess
import sys
import tempfile
import time

TITLES = 'i=0; while :; do printf "\\033]0;Part %d\\007" $i; i=$((i+1)); sleep 1; done'
DASHBOARD = "Dashboard"


def wait_for(condition, seconds: float, what: str):
    end = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > end:
            sys.exit(f"{pathlib.Path(sys.argv[0]).name}: {what} did not come within {seconds} s")
        time.sleep(0.05)
    return result


def in_terminal(changing: bool) -> list:
    return ["bash", "-c", TITLES] if changing else ["sleep", "infinity"]


def end(process: subprocess.Popen) -> None:
    process.terminate()
    process.wait()


def xdotool(*arguments: str) -> str:
    return subprocess.run(["xdotool", *arguments], capture_output=True, text=True, timeout=10, check=False).stdout


class X11Desktop:
    """The private desktop that the program runs in already."""

    environment = {}

    class Terminal:
        def __init__(self, name: str, changing: bool):
            self.process = subprocess.Popen(["xterm", "-name", name, "-e", *in_terminal(changing)],
                                            stderr=subprocess.DEVNULL)
            found = wait_for(lambda: xdotool("search", "--onlyvisible", "--classname", f"^{name}$"), 20, "a terminal")
            self.window = found.split()[0]
            self.activate()

        def activate(self):
            xdotool("windowactivate", self.window)
            wait_for(lambda: xdotool("getactivewindow").strip() == self.window, 10, "the focus")

        def close(self):
            end(self.process)

    def open_terminal(self, name: str, changing: bool) -> Terminal:
        return self.Terminal(name, changing)

    @staticmethod
    def dashboards() -> list:
        return xdotool("search", "--onlyvisible", "--name", f"^{DASHBOARD}$").split()

    def close_dashboard(self) -> None:
        wait_for(self.dashboards, 20, "the dashboard")
        subprocess.run(["wmctrl", "-i", "-c", self.dashboards()[0]], timeout=10, check=True)
        wait_for(lambda: not self.dashboards(), 20, "the end of the dashboard")

    def stay_active(self) -> None:
        xdotool("key", "shift")


class SwayDesktop:
    """A headless sway of its own. Bus, keyring and panel are those of the private desktop."""

    SETTINGS = "output HEADLESS-1 resolution 1280x800\nxwayland disable\nfocus_follows_mouse no\nmouse_warping none\n"

    class Terminal:
        def __init__(self, sway: "SwayDesktop", name: str, changing: bool):
            self.sway = sway
            self.process = subprocess.Popen(["foot", f"--app-id={name}", *in_terminal(changing)],
                                            env={**os.environ, **sway.environment}, stderr=subprocess.DEVNULL)
            wait_for(lambda: any(window.get("pid") == self.process.pid for window in sway.windows()), 20, "a terminal")
            self.activate()

        def activate(self):
            self.sway.order(f"[pid={self.process.pid}]", "focus")
            wait_for(lambda: any(window.get("pid") == self.process.pid and window["focused"]
                                 for window in self.sway.windows()), 10, "the focus")

        def close(self):
            end(self.process)

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

    def open_terminal(self, name: str, changing: bool) -> Terminal:
        return self.Terminal(self, name, changing)

    def _has_dashboard(self) -> bool:
        return any(window["name"] == DASHBOARD for window in self.windows())

    def close_dashboard(self) -> None:
        wait_for(self._has_dashboard, 20, "the dashboard")
        self.order(f'[title="^{DASHBOARD}$"]', "kill")
        wait_for(lambda: not self._has_dashboard(), 20, "the end of the dashboard")

    def stay_active(self) -> None:
        self.order("seat", "-", "cursor", "move", "1", "1")

    def close(self) -> None:
        end(self.process)
        shutil.rmtree(self.folder)
