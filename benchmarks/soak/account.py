# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The account of a soak: every second that the agent said it recorded, looked for where it may be.

All amounts are collections.Counter: seconds by (application, title, address), an address being None where there is none.
"""

import collections
import json
import pathlib
import sqlite3

TICK = "Tick: "


def said(lines) -> collections.Counter:
    """The seconds of the `Tick:` lines among `lines`, which must hold no " | " in application, title or address."""
    seconds = collections.Counter()
    for line in lines:
        if line.startswith(TICK):
            application, title, address = line.removeprefix(TICK).split(" | ")
            seconds[application, title, None if address == "--" else address] += 1
    return seconds


def stored(database: pathlib.Path) -> collections.Counter:
    """What the service's database holds."""
    connection = sqlite3.connect(f"file:{database}?mode=ro", uri=True)
    try:
        rows = connection.execute("select app_name, window_title, url, sum(duration_seconds) from runs "
                                  "group by app_name, window_title, url")
        return collections.Counter({(application, title, url): seconds for application, title, url, seconds in rows})
    finally:
        connection.close()


def kept(file: pathlib.Path) -> collections.Counter:
    """What the agent has not uploaded yet."""
    seconds = collections.Counter()
    for record in json.loads(file.read_text(encoding="utf-8")):
        seconds[record["appName"], record.get("windowTitle"), record.get("url")] += record["duration"]
    return seconds


class Deliveries:
    """What acknowledged uploads hold that the service takes for something it has already.

    A row is known to the service by second, application, title and address. Two runs of the same window that begin
    within one second and are in different uploads are the same row to it, which keeps the greater duration
    (docs/architecture.md, "An upload"). The seconds of the shorter one are counted here, from the bodies that arrived,
    and never guessed.
    """

    def __init__(self):
        self.replaced = collections.Counter()
        self.acknowledged = 0
        self._rows = {}  # of acknowledged uploads: what the service has of them

    def add(self, body: bytes, is_acknowledged: bool) -> None:
        """The service has stored `body`; the agent knows that, or believes that it failed and sends its rows again."""
        if not is_acknowledged:
            return
        upload = json.loads(body)
        rows = collections.Counter()
        for row in upload["activities"]:
            what = row["app_name"], row.get("window_title"), row.get("url")
            rows[upload["device_id"], row["start_time"], what] += row["duration_seconds"]
        for row, seconds in rows.items():
            earlier = self._rows.get(row, 0)
            self.replaced[row[2]] += min(earlier, seconds)
            self._rows[row] = max(earlier, seconds)
        self.acknowledged += 1


def differences(recorded, in_service, in_file, replaced) -> dict:
    """By window, how many seconds more were recorded than are found: above 0 lost, below doubled. Empty if all is well."""
    total = collections.Counter(recorded)
    for found in (in_service, in_file, replaced):
        total.subtract(found)
    return {window: seconds for window, seconds in total.items() if seconds}
