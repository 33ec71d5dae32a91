# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""How long starts of the agent take, as seen on the bus and on the screen."""

import os
import pathlib
import shutil
import statistics
import subprocess
import threading
import time

from Xlib import X, display
from Xlib.ext import damage

from desktops import X11Desktop, wait_for
from processes import Agent

STARTS, FULL_STARTS = 11, 5
FIRST_WINDOW_AFTER = 0.5  # seconds; the dashboard is not due before
SMALLEST = 200  # pixels, either way: the toolkit makes small windows for itself


class Events:
    """The moments at which another program writes a line that holds `text`."""

    def __init__(self, command: list, text: str):
        self.moments = []
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.listener = threading.Thread(target=self._listen, args=(text,), daemon=True)
        self.listener.start()

    def _listen(self, text: str):
        for line in self.process.stdout:
            if text in line:
                self.moments.append(time.monotonic())

    def first_after(self, moment: float):
        return next((when for when in list(self.moments) if when > moment), None)

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.listener.join()


class Pictures:
    """The moments at which a program has drawn the first picture of a new window: the X server reports damage to at least half
    of it. A window that is only there has none."""

    def __init__(self):
        self.moments = []
        self._stop = threading.Event()
        self._display = display.Display()
        self._display.damage_query_version()
        self._display.screen().root.change_attributes(event_mask=X.SubstructureNotifyMask)
        self._display.sync()
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()

    def _listen(self):
        watched = {}  # window: its damage
        created, damaged = X.CreateNotify, self._display.extension_event.DamageNotify
        while not self._stop.is_set():
            while self._display.pending_events():
                event = self._display.next_event()
                if event.type == created and min(event.width, event.height) >= SMALLEST and not event.override:
                    watched[event.window.id] = event.window.damage_create(damage.DamageReportRawRectangles)
                    self._display.flush()
                elif event.type == damaged and event.drawable.id in watched:
                    if 2 * event.area.width * event.area.height >= event.drawable_geometry.width * event.drawable_geometry.height:
                        self.moments.append(time.monotonic())
                        self._display.damage_destroy(watched.pop(event.drawable.id))
            time.sleep(0.001)

    def first_after(self, moment: float):
        return next((when for when in list(self.moments) if when > moment), None)

    def close(self):
        self._stop.set()
        self._thread.join()
        self._display.close()


def starts(program: pathlib.Path, write_records, many: int) -> list:
    """The medians over several starts, each of which ends again: with an empty store, and with one of `many` records."""
    rows = [row_of("start", program, STARTS, lambda data: data.mkdir())]
    if many:
        rows.append(row_of(f"start/{many}", program, FULL_STARTS, lambda data: write_records(
            data / "Velomira Usage Monitor/activity_logs.json", many)))
    return rows


def row_of(name: str, program: pathlib.Path, count: int, prepare) -> dict:
    data = pathlib.Path(os.environ["HOME"]) / "data-starts"
    prepare(data)
    items = Events(["dbus-monitor", "--session", "type='signal',member='StatusNotifierItemRegistered'"],
                   "member=StatusNotifierItemRegistered")
    window = X11Desktop().open_window("bench-front", "In front")
    pictures = Pictures()
    tray, drawn, second = [], [], []
    try:
        for _ in range(count):
            agent = Agent(program, data, X11Desktop.environment)
            try:
                tray.append(wait_for(lambda: items.first_after(agent.started), 20, "the icon") - agent.started)
                drawn.append(wait_for(lambda: pictures.first_after(agent.started), 20, "the window") - agent.started)
                before = time.monotonic()
                subprocess.run([program], check=True, timeout=20)
                second.append(time.monotonic() - before)
                agent.end()
            finally:
                agent.kill()
    finally:
        for part in (items, window, pictures):
            part.close()
    shutil.rmtree(data)
    figures = {"name": name}
    for key, values in (("tray_item_ms", tray), ("window_ms", [each - FIRST_WINDOW_AFTER for each in drawn]),
                        ("second_start_ms", second)):
        figures |= {key: statistics.median(values) * 1000, f"{key}_min": min(values) * 1000, f"{key}_max": max(values) * 1000}
    return figures
