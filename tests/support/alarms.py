# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The conditions of alarms on figures in the text format of Prometheus, in as much of its language as our pages use:
rate(), increase(), sum(), max(), min() and time(), arithmetic, and one comparison.

    before, now = parse(text), parse(later_text)
    fires('rate(a_total{b=~"x|y"}[5m]) > 0', before, now, 1_790_000_000)
"""

import operator
import re

TOKEN = re.compile(r"\s*(?:([0-9.]+)|([a-z_]+)(\{[^}]*\})?(\[\d+[smh]\])?|([=!<>]=|[-+*/()<>]))")
SECONDS = {"s": 1, "m": 60, "h": 3600}
COMPARISONS = {"==": operator.eq, "!=": operator.ne, ">": operator.gt, "<": operator.lt, ">=": operator.ge, "<=": operator.le}
ARITHMETIC = {"+": operator.add, "-": operator.sub, "*": operator.mul,
              "/": lambda a, b: a / b if b else float("nan")}


def series_of(text: str) -> tuple:
    """'a{b="c"}' as a name and labels."""
    name, _, labels = text.partition("{")
    return name, frozenset(re.findall(r'(\w+)="([^"]*)"', labels))


def parse(text: str) -> dict:
    """What a listener for figures says, by series."""
    lines = (line.rpartition(" ") for line in text.splitlines() if line and not line.startswith("#"))
    return {series_of(series): float(value) for series, _, value in lines}


class _Reader:
    """Values are numbers, or dictionaries from labels to numbers."""

    def __init__(self, expression: str, before: dict, now: dict, time: float):
        self.left = expression.strip()
        self.before, self.now, self.time = before, now, time
        self.token = None
        self.advance()

    def advance(self):
        if not self.left:
            self.token = None
            return
        match = TOKEN.match(self.left)
        if not match:
            raise ValueError(f"not understood: {self.left}")
        self.left = self.left[match.end():].strip()
        self.token = match

    def sign(self) -> str | None:
        return self.token[5] if self.token else None

    def take(self, sign: str):
        if self.sign() != sign:
            raise ValueError(f"{sign} is missing before: {self.left}")
        self.advance()

    def comparison(self):
        left = self.chain(("+", "-"), lambda: self.chain(("*", "/"), self.value))
        if self.sign() not in COMPARISONS:
            return left
        compare = COMPARISONS[self.sign()]
        self.advance()
        right = self.chain(("+", "-"), lambda: self.chain(("*", "/"), self.value))
        if not isinstance(left, dict) or isinstance(right, dict):
            raise ValueError("figures are compared with a number")
        return {labels: value for labels, value in left.items() if compare(value, right)}

    def chain(self, signs, operand):
        left = operand()
        while self.sign() in signs:
            work = ARITHMETIC[self.sign()]
            self.advance()
            left = combine(work, left, operand())
        return left

    def value(self):
        token = self.token
        if token is None:
            raise ValueError("something is missing at the end")
        if self.sign() == "(":
            self.advance()
            inner = self.comparison()
            self.take(")")
            return inner
        self.advance()
        if token[1]:
            return float(token[1])
        if self.sign() == "(" and not token[3]:
            return self.function(token[2])
        return self.select(self.now, token[2], token[3])

    def function(self, name: str):
        self.take("(")
        if name == "time":
            self.take(")")
            return self.time
        if name in ("rate", "increase"):
            token = self.token
            if not token or not token[4]:
                raise ValueError(f"{name} is of a range")
            self.advance()
            self.take(")")
            seconds = int(token[4][1:-2]) * SECONDS[token[4][-2]]
            first, last = (self.select(samples, token[2], token[3]) for samples in (self.before, self.now))
            return {labels: (last[labels] - first[labels]) / (seconds if name == "rate" else 1)
                    for labels in last if labels in first}
        inner = self.comparison()
        self.take(")")
        if name not in ("sum", "max", "min"):
            raise ValueError(f"{name} is not known")
        return {frozenset(): {"sum": sum, "max": max, "min": min}[name](inner.values())} if inner else {}

    @staticmethod
    def select(samples: dict, name: str, labels: str | None) -> dict:
        wanted = re.findall(r'(\w+)(=~|!~|!=|=)"([^"]*)"', labels or "")

        def fits(own: dict) -> bool:
            for label, how, text in wanted:
                same = own.get(label, "") == text if how in ("=", "!=") else bool(re.fullmatch(text, own.get(label, "")))
                if same == how.startswith("!"):
                    return False
            return True
        return {own: value for (series, own), value in samples.items() if series == name and fits(dict(own))}


def combine(work, left, right):
    """Figures of the same labels with each other, or each with the number."""
    if isinstance(left, dict) and isinstance(right, dict):
        return {labels: work(left[labels], right[labels]) for labels in left if labels in right}
    if isinstance(left, dict):
        return {labels: work(value, right) for labels, value in left.items()}
    if isinstance(right, dict):
        return {labels: work(left, value) for labels, value in right.items()}
    return work(left, right)


def fires(expression: str, before: dict, now: dict, time: float) -> bool:
    """Whether the condition holds; `before` are the figures as long ago as its ranges reach."""
    reader = _Reader(expression, before, now, time)
    held = reader.comparison()
    if reader.token is not None or not isinstance(held, dict):
        raise ValueError(f"not a condition: {expression}")
    return bool(held)
