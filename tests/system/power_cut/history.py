# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What a store was told, and whether a list that was found later can be what it was then. Pure: no disk, no clock.

Every list the store has ever held is a stretch of the records in the order in which they came, as records leave at the
front only. A state is the two ends of that stretch and when it came about.
"""

import dataclasses


@dataclasses.dataclass(frozen=True)
class State:
    time: int  # nanoseconds; just before the store was told
    first: int
    end: int
    news: bool  # what made this state of the one before is missed soon


@dataclasses.dataclass
class Verdict:
    """How old what is missing was when the power went, in seconds; 0 where nothing is missing."""
    news: float = 0.0
    same: float = 0.0
    problem: str = ""


class Life:
    """From one start of the writer to the next: the records and the states up to its end."""

    def __init__(self, begin: int, records: list, states: list):
        self.begin = begin
        self.records = records
        self.states = states

    def find(self, loaded: list, until: int) -> int:
        """The index of the last state by `until` that was this list; -1 when there was none."""
        first = None
        if loaded:
            try:
                first = self.records.index(loaded[0])
            except ValueError:
                return -1
            if self.records[first:first + len(loaded)] != loaded:
                return -1
        for index in range(len(self.states) - 1, -1, -1):
            state = self.states[index]
            fits = state.end - state.first == len(loaded) and first in (None, state.first)
            if state.time <= until and fits:
                return index
        return -1

    def judge(self, loaded: list, cut: int) -> Verdict:
        index = self.find(loaded, cut)
        if index < 0:
            return Verdict(problem=f"{len(loaded)} records, which the store never held")
        verdict = Verdict()
        for state in self.states[index + 1:]:
            age = (cut - state.time) / 1e9
            if age > 0 and state.news:
                verdict.news = max(verdict.news, age)
            elif age > 0:
                verdict.same = max(verdict.same, age)
        return verdict


class History:
    """Of the lines that the writer printed, as dictionaries, over all its starts."""

    def __init__(self, lines: list):
        self.lives = [Life(0, [], [State(0, 0, 0, False)])]
        self.starts = []  # the verdict on what each start found, had the power gone at the end before
        last = 0
        for line in lines:
            life = self.lives[-1]
            time = line["time"]
            if "loaded" in line:
                self.starts.append(life.judge(line["loaded"], last))
                # What the end of the process before has cost is not missed again.
                kept = max(0, life.find(line["loaded"], last))
                states = life.states[:kept + 1]
                self.lives.append(Life(time, life.records[:states[-1].end], states))
            elif "added" in line:
                for record in line["added"]:
                    life.records.append(record)
                    life.states.append(State(time, life.states[-1].first, len(life.records), line["news"]))
            elif "removed" in line:
                first = life.states[-1].first + len(line["removed"])
                life.states.append(State(time, first, life.states[-1].end, True))
            last = time

    def judge(self, loaded: list, cut: int) -> Verdict:
        """On a list that a start found on the disk that was cut off at `cut`."""
        life = [one for one in self.lives if one.begin <= cut][-1]
        return life.judge(loaded, cut)
