#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The scripts that judge a run, on small made-up runs: they must also say no."""

import collections
import json
import itertools
import os
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / folder) for folder in ("benchmarks/soak", "benchmarks", "tests/system/power_cut")]

import account  # noqa: E402
import block_disk  # noqa: E402
import front  # noqa: E402
import history  # noqa: E402
import report  # noqa: E402

RECORD = {"id": "00000000-0000-4000-A000-000000000000", "appName": "Editor", "windowTitle": "Notes",
          "timestamp": 10.5, "duration": 1.0}
REFERENCE = 978307200


class Tools(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_tool(self, script, *arguments, ci=False):
        """Exit code and everything printed."""
        environment = {key: value for key, value in os.environ.items() if key != "CI"}
        done = subprocess.run([sys.executable, ROOT / script, *map(str, arguments)], text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env={**environment, **({"CI": "1"} if ci else {})})
        return done.returncode, done.stdout

    def file(self, name, text):
        path = self.folder / name
        path.write_text(text if isinstance(text, str) else json.dumps(text), encoding="utf-8")
        return path


class Summary(Tools):
    def summarise(self, text, *arguments):
        return self.run_tool("scripts/summarise.py", self.file("activity_logs.json", text), *arguments)

    def test_secondsAreAddedPerApplicationAndTitle(self):
        other = {**RECORD, "appName": "Viewer", "windowTitle": "Lake"}
        status, output = self.summarise([RECORD, other, RECORD])
        self.assertEqual(status, 0)
        for expected in ("3 s in 3 records", "2 s  Editor", "2 s  Notes", "1 s  Viewer", "1 s  Lake"):
            self.assertIn(expected, output)

    def test_coverageCountsOnlyWhatWasRecordedInTheTime(self):
        before = {**RECORD, "timestamp": 1.0}
        _, output = self.summarise([before, RECORD], "--from", REFERENCE + 10, "--to", REFERENCE + 12)
        self.assertIn("1 s of 2 s wall time (50%)", output)

    def test_anEmptyListFails(self):
        status, output = self.summarise([])
        self.assertEqual(status, 1)
        self.assertIn("nothing was recorded", output)

    def test_aMissingFileFails(self):
        status, output = self.run_tool("scripts/summarise.py", self.folder / "none.json")
        self.assertEqual(status, 1)
        self.assertIn("no such file", output)

    def test_aDamagedFileFails(self):
        for text in ('[{"id":', "{}", "[1]", json.dumps([{**RECORD, "timestamp": "today"}])):
            with self.subTest(text):
                self.assertEqual(self.summarise(text)[0], 1)


class CompareUpload(Tools):
    SAID = "Tick: A | b | --\n" * 5 + "Velomira Sync Success: Synced 2 activity records.\n" + "Tick: A | b | --\n"
    BEFORE = "user 1: 10 rows, 100 seconds, 1 devices, 1 tokens\n"
    AFTER = "user 1: 11 rows, 104 seconds, 1 devices, 1 tokens\nuser 2: 1 rows, 1 seconds, 1 devices, 1 tokens\n"

    def compare(self, said=SAID, kept=1, after=AFTER):
        output = self.folder / "output.txt"
        output.write_text(said, encoding="utf-8")
        return self.run_tool("scripts/compare_upload.py", output, self.file("activity_logs.json", [RECORD] * kept),
                             self.BEFORE, after)

    def test_equalSumsAreContent(self):
        status, output = self.compare()
        self.assertEqual(status, 0, output)
        self.assertIn("2 rows sent in 1 uploads, 2 rows stored", output)
        self.assertIn("6 recorded = 5 stored + 1 kept here", output)

    def test_aMissingSecondFails(self):
        status, output = self.compare(kept=0)
        self.assertEqual((status, "1 seconds are missing" in output), (1, True))

    def test_aMissingRowFails(self):
        status, output = self.compare(after="user 1: 11 rows, 105 seconds, 1 devices, 1 tokens\n")
        self.assertEqual((status, "not stored the rows" in output), (1, True))

    def test_noUploadFails(self):
        status, output = self.compare(said="Tick: A | b | --\n", after=self.BEFORE)
        self.assertEqual((status, "nothing was uploaded" in output), (1, True))


class Report(Tools):
    ROW = {"figure": "load", "budget": "1 s", "limit": ["<=", 1.0], "unit": "s", "from": "bench_store load real_time"}

    def report(self, row, *benchmarks, options=()):
        budgets = self.file("budgets", {"budgets": [row]})
        self.file("bench_store.json", {"benchmarks": list(benchmarks)})
        return self.run_tool("benchmarks/report.py", budgets, self.folder, *options)

    def page(self, *benchmarks):
        page = self.file("page.md", "Before\n<!-- figures -->\nof yesterday\n<!-- end of figures -->\nafter\n")
        self.report(self.ROW, *benchmarks, options=["--into", page])
        return page.read_text(encoding="utf-8")

    def test_aTimeWithinTheBudgetIsOk(self):
        status, output = self.report(self.ROW, {"name": "load", "real_time": 900.0, "time_unit": "ms"})
        self.assertEqual((status, "0.9 s" in output), (0, True))

    def test_aMissedBudgetFails(self):
        status, output = self.report(self.ROW, {"name": "load", "real_time": 1100.0, "time_unit": "ms"})
        self.assertEqual((status, "MISSED" in output), (1, True))

    def test_theTableForThePage(self):
        slow = {"name": "load", "real_time": 1100.0, "time_unit": "ms"}
        page = self.page(slow)
        self.assertIn("| figure | budget | measured |  |\n| --- | --- | --- | --- |\n| load | <= 1 s | 1.1 s | MISSED |", page)
        self.assertTrue(page.startswith("Before\n") and page.endswith("\nafter\n"))
        self.assertNotIn("of yesterday", page)

    def test_aPageWithoutAPlaceForFiguresIsLeftAlone(self):
        page = self.file("page.md", "Nothing.")
        status, output = self.report(self.ROW, options=["--into", page])
        self.assertEqual((status, "not one place" in output, page.read_text(encoding="utf-8")), (1, True, "Nothing."))

    def test_aFigureThatWasNotMeasuredFails(self):
        status, output = self.report(self.ROW)
        self.assertEqual((status, "NOT MEASURED" in output), (1, True))

    def test_aBenchmarkThatFailedIsNotMeasured(self):
        broken = {"name": "load", "real_time": 0.0, "time_unit": "ms", "error_occurred": True}
        self.assertEqual(self.report(self.ROW, broken)[0], 1)

    def test_aRatioComparesTwoTimesInDifferentUnits(self):
        row = {"figure": "ratio", "budget": "2 times", "limit": ["<=", 2.0],
               "from": "bench_store load real_time", "over": "bench_store parse real_time"}
        status, output = self.report(row, {"name": "load", "real_time": 900.0, "time_unit": "ms"},
                                     {"name": "parse", "real_time": 0.5, "time_unit": "s"})
        self.assertEqual((status, "1.8" in output), (0, True))

    def test_aRowOfTheSoakIsComparedAfterASoakOnly(self):
        slow = {"name": "load", "real_time": 1100.0, "time_unit": "ms"}
        row = {**self.ROW, "part": "soak"}
        self.assertNotIn("MISSED", self.report(row, slow)[1])
        self.assertIn("MISSED", self.report(row, slow, options=["--parts", "soak"])[1])
        self.assertNotIn("MISSED", self.report(self.ROW, slow, options=["--parts", "soak"])[1])

    def test_aRowOfAPartIsComparedWhenThatWasMeasured(self):
        row = {**self.ROW, "part": "idle"}
        for parts, verdict in (("idle", "NOT MEASURED"), ("disk", "0 of 0 budgets")):
            with self.subTest(parts):
                status, output = self.report(row, options=["--parts", parts])
                self.assertEqual((status, verdict in output), (1, True), output)

    def test_theFiguresOfAProgramMayBeInSeveralFiles(self):
        self.file("bench_store.other.json", {"benchmarks": [{"name": "load", "real_time": 0.5, "time_unit": "s"}]})
        self.assertEqual(self.report(self.ROW)[0], 0)

    def test_aRatchetAllowsAThirdMoreThanWasAccepted(self):
        row = {"figure": "fold", "ratchet": 2.0, "from": "bench_store fold median_ms", "over": "bench_store floor median_ms"}
        for measured, verdict in ((5.1, "ok"), (5.3, "MISSED")):
            with self.subTest(measured):
                output = self.report(row, {"name": "fold", "median_ms": measured}, {"name": "floor", "median_ms": 2.0})[1]
                self.assertIn(verdict, output)
                self.assertIn("<= 1.3 x 2, as accepted", output)

    def test_aFigureIsShownWithItsRange(self):
        row = {**self.ROW, "from": "bench_store idle cpu"}
        output = self.report(row, {"name": "idle", "cpu": 0.5, "cpu_min": 0.25, "cpu_max": 0.75})[1]
        self.assertIn("0.5 s (0.25 to 0.75)", output)

    def test_thePageSaysWhoSpendsItAndWhere(self):
        self.file("process_figures.idle.json", {"benchmarks": [
            {"name": "x11/idle", "thread.main.wakeups_per_s": 2.0, "thread.main.wakeups_per_s_max": 2.0,
             "beside.Xvfb.wakeups_per_s": 1.0, "beside.Xvfb.wakeups_per_s_max": 1.0,
             "thread.idle.wakeups_per_s": 0.0, "thread.idle.wakeups_per_s_max": 0.0},
            {"name": "disk", "machine": "ext4, no journal", "device": "ext4, journal"}]})
        output = self.page()
        self.assertIn("| disk of the running agent | ext4, journal |", output)
        self.assertIn("| wakeups_per_s | main | *beside:* Xvfb |\n| --- | --- | --- |\n| x11/idle | 2 | 1 |", output)

    def test_everyBudgetOfTheProductIsWellFormed(self):
        for row in json.loads((ROOT / "benchmarks/budgets.json").read_text(encoding="utf-8"))["budgets"]:
            with self.subTest(row["figure"]):
                self.assertIn(row.get("part", "functions"), report.PARTS)
                self.assertEqual(("ratchet" in row, "limit" in row, "budget" in row) in ((True, False, False), (False, True, True)),
                                 True)
                comparison, limit, _ = report.limit_of(row)
                self.assertIn(comparison, {"<=", ">="})
                self.assertIsInstance(limit, (int, float))
                for source in (row["from"], row.get("over", row["from"])):
                    self.assertEqual(len(source.split()), 3)


class SoakAccount(Tools):
    """The account of a soak: agent, service and file made up."""

    WINDOW = ("Editor", "Notes", None)

    def differences(self, ticks, rows, records, bodies=()):
        database = self.folder / "service.sqlite"
        connection = sqlite3.connect(database)
        connection.execute("create table runs (app_name, window_title, url, duration_seconds)")
        connection.executemany("insert into runs values ('Editor', 'Notes', null, ?)", [(row,) for row in rows])
        connection.commit()
        connection.close()
        deliveries = account.Deliveries()
        for start, seconds, is_acknowledged in bodies:
            row = {"app_name": "Editor", "window_title": "Notes", "duration_seconds": seconds, "start_time": start}
            deliveries.add(json.dumps({"device_id": "d", "activities": [row]}).encode(), is_acknowledged)
        lines = ["Velomira Sync: Using auth token", "Idle: 130s", *(ticks * ["Tick: Editor | Notes | --"])]
        return account.differences(account.said(lines), account.stored(database),
                                   account.kept(self.file("activity_logs.json", records * [RECORD])), deliveries.replaced)

    def test_secondsInServiceAndFileTogetherAreAll(self):
        self.assertEqual(self.differences(ticks=6, rows=[3, 1], records=2), {})

    def test_aLostSecondIsFound(self):
        self.assertEqual(self.differences(ticks=6, rows=[3, 1], records=1), {self.WINDOW: 1})

    def test_aDoubledSecondIsFound(self):
        self.assertEqual(self.differences(ticks=6, rows=[3, 2], records=2), {self.WINDOW: -1})

    def test_anotherAddressIsAnotherWindow(self):
        recorded = account.said(["Tick: Editor | Notes | http://a/"])
        self.assertEqual(len(account.differences(recorded, collections.Counter({self.WINDOW: 1}), {}, {})), 2)

    def test_aRowThatReplacesAnAcknowledgedOneIsCounted(self):
        bodies = [("10:00:00", 1, True), ("10:00:00", 4, True)]
        self.assertEqual(self.differences(ticks=5, rows=[4], records=0, bodies=bodies), {})

    def test_aShorterRowThatAnAcknowledgedOneKeepsOutIsCounted(self):
        bodies = [("10:00:00", 4, True), ("10:00:00", 1, True)]
        self.assertEqual(self.differences(ticks=5, rows=[4], records=0, bodies=bodies), {})

    def test_aRowThatReplacesOneWhoseAnswerWasLostIsNot(self):
        bodies = [("10:00:00", 1, False), ("10:00:00", 4, True)]
        self.assertEqual(self.differences(ticks=4, rows=[4], records=0, bodies=bodies), {})

    def test_anAcknowledgedRowThatComesAgainIsFound(self):
        bodies = [("10:00:00", 4, True), ("10:00:00", 4, True)]
        self.assertEqual(self.differences(ticks=4, rows=[4], records=0, bodies=bodies), {self.WINDOW: -4})


class SoakFates(unittest.TestCase):
    def test_aThirdOfTheUploadsFailsInEveryWay(self):
        met = list(itertools.islice(front.fates(random.Random(1)), 230))
        failed = [fate for fate in met if fate not in front.PASSES]
        refused = met.count(front.Fate.REFUSED)  # after each of which one fails that is not among them
        self.assertEqual((len(failed) + refused) * 3, len(met) + refused)
        self.assertEqual(set(failed) | front.PASSES, set(front.Fate))

    def test_theSameSeedDecidesTheSame(self):
        once, again = (list(itertools.islice(front.fates(random.Random(7)), 100)) for _ in range(2))
        self.assertEqual(once, again)


class PowerCutHistory(unittest.TestCase):
    """A second each: a and b come in, the second like the first, a is removed, c comes in."""
    LINES = [{"time": 1e9, "loaded": []},
             {"time": 2e9, "added": ["a"], "news": True},
             {"time": 3e9, "added": ["b"], "news": False},
             {"time": 4e9, "removed": ["a"]},
             {"time": 5e9, "added": ["c"], "news": True}]

    def judge(self, loaded, cut, more=()):
        verdict = history.History([*self.LINES, *more]).judge(loaded, cut * 1e9)
        return verdict.problem or (verdict.news, verdict.same)

    def test_theNewestListMissesNothing(self):
        self.assertEqual(self.judge(["b", "c"], 10), (0, 0))

    def test_whatIsMissingIsAsOldAsItIs(self):
        self.assertEqual(self.judge(["b"], 10), (5, 0))
        self.assertEqual(self.judge(["a", "b"], 10), (6, 0))
        self.assertEqual(self.judge(["a"], 3.5), (0, 0.5))
        self.assertEqual(self.judge([], 10), (8, 7))

    def test_whatCameAfterTheCutIsNotMissing(self):
        self.assertEqual(self.judge(["a", "b"], 3.5), (0, 0))

    def test_aListThatWasNeverHeldIsAProblem(self):
        for loaded in (["a", "b", "c"], ["c"], ["b", "a"], ["x"], ["a", "c"]):
            with self.subTest(loaded):
                self.assertIn("never held", self.judge(loaded, 10))

    def test_aListOfTheFutureIsAProblem(self):
        self.assertIn("never held", self.judge(["b", "c"], 4.5))

    def test_whatAKilledProcessLostIsNotMissedAgain(self):
        started = {"time": 6e9, "loaded": ["b"]}
        self.assertEqual(self.judge(["b"], 20, [started]), (0, 0))
        self.assertIn("never held", self.judge(["b", "c"], 20, [started]))
        self.assertEqual(self.judge(["b", "d"], 20, [started, {"time": 7e9, "added": ["d"], "news": True}]), (0, 0))

    def test_aStartIsJudged(self):
        starts = history.History([*self.LINES, {"time": 6e9, "loaded": ["a", "b"]}, {"time": 7e9, "loaded": ["x"]}]).starts
        self.assertEqual([(one.news, bool(one.problem)) for one in starts], [(0, False), (1, False), (0, True)])


class PowerCutImages(unittest.TestCase):
    SIZE = 8 * block_disk.BLOCK

    def setUp(self):
        one, two, three = (bytes([number]) * block_disk.BLOCK for number in (1, 2, 3))
        self.entries = [block_disk.Entry(10, 0, one), block_disk.Entry(20, 0, b""),
                        block_disk.Entry(30, block_disk.BLOCK, two), block_disk.Entry(40, 2 * block_disk.BLOCK, three)]

    def images(self, wanted):
        base = block_disk.Blocks({}, self.SIZE)
        return [(cut.time, tuple(cut.blocks.read(at * block_disk.BLOCK, 1)[0] for at in range(3)))
                for cut in block_disk.cuts(base, self.entries, 50, wanted, random.Random(1))]

    def test_everyWriteIsABoundaryThatLastsUntilTheNext(self):
        self.assertEqual(self.images(4), [(10, (0, 0, 0)), (30, (1, 0, 0)), (40, (1, 2, 0)), (50, (1, 2, 3))])

    def test_whatWasNotFlushedMayBeThereOrNot(self):
        self.entries.append(block_disk.Entry(45, 0, b""))
        whole = self.images(4)
        variants = [image for image in self.images(100) if image not in whole]
        self.assertEqual({time for time, _ in variants}, {45})
        self.assertEqual({image for _, image in variants}, {(1, 2, 0), (1, 0, 3)})

    def test_whatDoesNotFitInOnePlaceGoesToAnother(self):
        self.assertEqual(block_disk.fill(7, [2, 9, 2]), [2, 3, 2])
        self.assertEqual(block_disk.fill(3, [2, 9, 2]), [1, 1, 1])
        self.assertEqual(block_disk.fill(20, [2, 9, 2]), [2, 9, 2])
        self.assertEqual(block_disk.fill(20, []), [])

    def test_fewImagesAreSpreadOverTheTime(self):
        self.assertEqual(self.images(2), [(30, (1, 0, 0)), (50, (1, 2, 3))])


class SkippedTests(Tools):
    def judge(self, case, ci):
        return self.run_tool("scripts/skipped_tests.py", self.file("report.xml", f"<testsuite>{case}</testsuite>"), ci=ci)

    def test_whatRanIsNotListed(self):
        self.assertEqual(self.judge('<testcase name="a" status="run"><system-out/></testcase>', ci=True), (0, ""))

    def test_aSkippedTestIsListedAndFailsWithCi(self):
        case = '<testcase name="a" status="notrun"/>'
        self.assertEqual(self.judge(case, ci=True)[0], 1)
        status, output = self.judge(case, ci=False)
        self.assertEqual((status, "a: notrun" in output), (0, True))

    def test_aFunctionThatSkippedItselfFailsWithCi(self):
        case = ('<testcase name="a" status="run"><system-out>SKIP   : TestA::peer() no compositor\n'
                '   Loc: [a.cpp(1)]</system-out></testcase>')
        self.assertEqual(self.judge(case, ci=True)[0], 1)
        self.assertIn("no compositor", self.judge(case, ci=False)[1])


if __name__ == "__main__":
    unittest.main()
