# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The desktops of desktops.py that are spoken to over the session bus, which is that of the private desktop: KWin, GNOME Shell,
and a compositor that tells nothing, so that programs tell which window is active (accessibility)."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

from gi.repository import Gio, GLib

from desktops import DASHBOARD, Window, X11Desktop, end, wait_for

ROOT = pathlib.Path(__file__).resolve().parents[1]
PATIENCE_MS = 20_000
NO_GPU = {"LIBGL_ALWAYS_SOFTWARE": "1"}


class Caller:
    """A connection to the session bus that stays, as some services want it."""

    def __init__(self):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.bus = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)

    def call(self, name: str, path: str, method: str, arguments: GLib.Variant = None) -> tuple:
        """The answer; raises GLib.Error. `method` is with its interface."""
        interface, _, member = method.rpartition(".")
        return self.bus.call_sync(name, path, interface, member, arguments, None, Gio.DBusCallFlags.NO_AUTO_START,
                                  PATIENCE_MS, None).unpack()

    def has(self, name: str) -> bool:
        bus = "org.freedesktop.DBus"
        return self.call(bus, "/", f"{bus}.NameHasOwner", GLib.Variant("(s)", (name,)))[0]


class WaylandShell:
    """What the three have in common."""

    name, desktop = "", ""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"quillstep-{self.name}-"))
        self.caller = Caller()
        self.display = f"wayland-{self.name}"
        self.environment = {"WAYLAND_DISPLAY": self.display, "DISPLAY": "", "XDG_CURRENT_DESKTOP": self.desktop,
                            "XDG_SESSION_TYPE": "wayland", "QT_QPA_PLATFORM": "wayland", **NO_GPU}

    def start(self, *command, **environment) -> subprocess.Popen:
        with (self.folder / "log").open("ab") as log:
            return subprocess.Popen(command, stdout=log, stderr=log, env={
                **{name: value for name, value in os.environ.items() if name != "DISPLAY"}, **NO_GPU,
                "XDG_CURRENT_DESKTOP": self.desktop, "XDG_SESSION_TYPE": "wayland", "NO_AT_BRIDGE": "1", **environment})

    def open_window(self, identifier: str, title: str) -> Window:
        return Window(identifier, title, {**self.environment, "GDK_BACKEND": "wayland"})

    def close(self) -> None:
        shutil.rmtree(self.folder)


class KWinDesktop(WaylandShell):
    """A KWin without a screen. The window in front is changed by a script in it."""

    name, desktop = "kwin", "KDE"
    SCRIPT = """
const newer = workspace.windowActivated !== undefined;
for (const each of newer ? workspace.windowList() : workspace.clientList()) {
    if (!(%s))
        continue;
    %s;
}
"""

    def __init__(self):
        super().__init__()
        # A copy has no file capability, which containers do not allow.
        program = shutil.copyfile(shutil.which("kwin_wayland"), self.folder / "kwin_wayland")
        program.chmod(0o755)
        self.scripts = 0
        self.process = self.start(
            program, "--virtual", "--width", "1280", "--height", "800", "--no-global-shortcuts", "--no-lockscreen",
            "--socket", self.display, KDE_FULL_SESSION="true", KDE_SESSION_VERSION="5", KWIN_COMPOSE="Q",
            KWIN_WAYLAND_NO_PERMISSION_CHECKS="1", QT_QPA_PLATFORM="")
        wait_for(lambda: self.caller.has("org.kde.KWin"), 20, "KWin")
        socket = pathlib.Path(os.environ["XDG_RUNTIME_DIR"]) / self.display
        wait_for(socket.exists, 20, "the display of KWin")

    def programs(self) -> dict:
        return {"kwin_wayland": self.process.pid}

    def run_script(self, condition: str, action: str) -> None:
        self.scripts += 1
        name, file = f"bench-{self.scripts}", self.folder / "script.js"
        file.write_text(self.SCRIPT % (condition, action), encoding="utf-8")
        scripting = "org.kde.kwin.Scripting"
        number = self.caller.call("org.kde.KWin", "/Scripting", f"{scripting}.loadScript",
                                  GLib.Variant("(ss)", (str(file), name)))[0]
        for path in (f"/{number}", f"/Scripting/Script{number}"):  # KWin 5, KWin 6
            try:
                self.caller.call("org.kde.KWin", path, "org.kde.kwin.Script.run")
                break
            except GLib.Error:
                pass
        self.caller.call("org.kde.KWin", "/Scripting", f"{scripting}.unloadScript", GLib.Variant("(s)", (name,)))

    def focus(self, process: int) -> None:
        self.run_script(f"each.pid === {process}", "if (newer) workspace.activeWindow = each; else workspace.activeClient = each")

    def close_dashboard(self, agent) -> None:
        wait_for(lambda: agent.latest_tick_has(DASHBOARD), 20, "the dashboard")

        def is_closed() -> bool:
            self.run_script(f"each.caption === '{DASHBOARD}'", "each.closeWindow()")
            return not agent.latest_tick_has(DASHBOARD)
        wait_for(is_closed, 20, "the end of the dashboard")

    def stay_active(self) -> None:
        subprocess.run([ROOT / "build/release/bin/kwin_input"], env={**os.environ, **self.environment}, check=True, timeout=20)

    def close(self) -> None:
        end(self.process)
        super().close()


class GnomeDesktop(WaylandShell):
    """A GNOME Shell without a screen, with our extension, obedient to what is evaluated in it."""

    name, desktop = "gnome", "GNOME"
    SHELL, REMOTE = "org.gnome.Shell", "org.gnome.Mutter.RemoteDesktop"
    LEFT_SHIFT, ESCAPE = 42, 1  # of evdev

    def __init__(self):
        super().__init__()
        self._install_extension()
        self.system_bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                                           stdout=subprocess.PIPE, text=True)
        address = self.system_bus.stdout.readline().strip()
        self.environment |= {"GSETTINGS_BACKEND": "keyfile", "DBUS_SYSTEM_BUS_ADDRESS": address}
        self.process = self.start("gnome-shell", "--headless", "--no-x11", "--unsafe-mode", "--virtual-monitor", "1280x800",
                                  f"--wayland-display={self.display}", XDG_SESSION_DESKTOP="gnome",
                                  GSETTINGS_BACKEND="keyfile", DBUS_SYSTEM_BUS_ADDRESS=address, GIO_USE_VFS="local",
                                  GVFS_DISABLE_FUSE="1", GIO_USE_VOLUME_MONITOR="unix")
        wait_for(lambda: self.evaluate("!Main.layoutManager._startingUp") is True, 60, "GNOME Shell")
        # Without a keyboard on the seat no window gets the focus.
        self.seat = self.caller.call(self.REMOTE, "/org/gnome/Mutter/RemoteDesktop", f"{self.REMOTE}.CreateSession")[0]
        self.caller.call(self.REMOTE, self.seat, f"{self.REMOTE}.Session.Start")
        self.stay_active()

        def has_left_overview() -> bool:
            if self.evaluate("!Main.overview.visible"):
                return True
            self._press(self.ESCAPE)
            return False
        wait_for(has_left_overview, 30, "the end of the overview")

    @staticmethod
    def _install_extension() -> None:
        version = subprocess.run(["gnome-shell", "--version"], capture_output=True, text=True, check=True).stdout
        style = "43" if int(re.search(r"\d+", version)[0]) < 45 else "45"
        built = ROOT / "build/release/backends/desktops/gnome" / style
        name = json.loads((built / "metadata.json").read_text(encoding="utf-8"))["uuid"]
        folder = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "gnome-shell/extensions" / name
        folder.mkdir(parents=True, exist_ok=True)
        for file in ("extension.js", "metadata.json"):
            shutil.copyfile(built / file, folder / file)
        settings = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "glib-2.0/settings/keyfile"
        settings.parent.mkdir(parents=True, exist_ok=True)
        settings.write_text(f"[org/gnome/shell]\nenabled-extensions=['{name}']\ndisable-user-extensions=false\n"
                            "welcome-dialog-last-shown-version='99'\n[org/gnome/desktop/interface]\n"
                            "enable-animations=false\n[org/gnome/desktop/session]\nidle-delay=uint32 0\n", encoding="utf-8")

    def evaluate(self, script: str):
        """None while it cannot be asked, or does not understand."""
        try:
            done, value = self.caller.call(self.SHELL, "/org/gnome/Shell", f"{self.SHELL}.Eval", GLib.Variant("(s)", (script,)))
        except GLib.Error:
            return None
        return json.loads(value) if done and value else None

    def _press(self, key: int) -> None:
        for is_down in (True, False):
            self.caller.call(self.REMOTE, self.seat, f"{self.REMOTE}.Session.NotifyKeyboardKeycode",
                             GLib.Variant("(ub)", (key, is_down)))

    def programs(self) -> dict:
        return {"gnome-shell": self.process.pid, "system bus": self.system_bus.pid}

    def focus(self, process: int) -> None:
        wait_for(lambda: self.evaluate(
            "(() => { const window = global.get_window_actors().map(a => a.meta_window)"
            f".find(w => w.get_pid() === {process});"
            " const has = window && global.display.focus_window === window;"
            " if (window && !has) Main.activateWindow(window, global.display.get_current_time_roundtrip());"
            " return Boolean(has); })()"), 20, "the focus")

    def close_dashboard(self, _agent) -> None:
        windows = f"global.get_window_actors().map(a => a.meta_window).filter(w => w.title === '{DASHBOARD}')"
        wait_for(lambda: self.evaluate(f"{windows}.length"), 20, "the dashboard")
        self.evaluate(f"{windows}.forEach(w => w.delete(global.display.get_current_time_roundtrip()))")
        wait_for(lambda: self.evaluate(f"{windows}.length") == 0, 20, "the end of the dashboard")

    def stay_active(self) -> None:
        self._press(self.LEFT_SHIFT)

    def close(self) -> None:
        # It may crash when it is asked to end.
        self.process.kill()
        self.process.wait()
        end(self.system_bus)
        super().close()


class AccessibleDesktop(WaylandShell):
    """A Weston that tells nothing, and programs on the X server beside it that tell over the accessibility bus which window
    is active. The last of a run: what is switched on here stays."""

    name, desktop = "accessibility", "weston"
    BUS = "org.a11y.Bus"

    def __init__(self):
        super().__init__()
        # Its own windows are on the X server, too, where they can be closed.
        self.environment |= {"DISPLAY": os.environ["DISPLAY"], "QT_QPA_PLATFORM": "xcb"}
        self.process = self.start("weston", "--backend=headless-backend.so", "--use-pixman", "--width=1280", "--height=800",
                                  "--no-config", f"--socket={self.display}")
        socket = pathlib.Path(os.environ["XDG_RUNTIME_DIR"]) / self.display
        wait_for(socket.exists, 20, "the display of Weston")
        self.service = self.start("/usr/libexec/at-spi-bus-launcher", GSETTINGS_BACKEND="memory")
        wait_for(lambda: self.caller.has(self.BUS), 20, "the service for accessibility")
        self.caller.call(self.BUS, "/org/a11y/bus", "org.freedesktop.DBus.Properties.Set",
                         GLib.Variant("(ssv)", ("org.a11y.Status", "IsEnabled", GLib.Variant("b", True))))

    def programs(self) -> dict:
        return {"weston": self.process.pid}

    def open_window(self, identifier: str, title: str) -> Window:
        return Window(identifier, title, {"NO_AT_BRIDGE": "0"})

    def focus(self, process: int) -> None:
        X11Desktop().focus(process)

    def close_dashboard(self, _agent) -> None:
        X11Desktop().close_dashboard()

    def stay_active(self) -> None:
        """Nobody tells here how long the user has been away."""

    def close(self) -> None:
        end(self.service)
        end(self.process)
        super().close()
