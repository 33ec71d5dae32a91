#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What ./bench measures with, on programs and files whose figures are known."""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import types
import unittest
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parents[2]
DUMMY = ROOT / "tests/tools/dummy_monitor.py"
sys.path.insert(0, str(ROOT / "benchmarks"))

import disk  # noqa: E402
import measuring  # noqa: E402
import peers  # noqa: E402
from desktops import wait_for  # noqa: E402
from processes import MAIN, Spent, Watched  # noqa: E402

SLEEPER = """
import sys, threading, time
def work():
    for _ in range(20):
        time.sleep(0.005)
    end = time.thread_time() + 0.1
    while time.thread_time() < end:
        pass
    print("worked", flush=True)
    sys.stdin.read()
thread = threading.Thread(target=work)
thread.start()
thread.join()
"""


class InAFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path


class Threads(unittest.TestCase):
    def test_timeAndWakeupsAreThoseOfEachThread(self):
        with subprocess.Popen([sys.executable, "-c", SLEEPER], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
            try:
                self.assertEqual(process.stdout.readline(), "worked\n")
                watched = Watched(process.pid)
                seen = watched.look()
                worker = next(spent for name, spent in seen.items() if name != MAIN)
                self.assertGreaterEqual(worker.wakeups, 20)
                self.assertGreaterEqual(worker.cpu, 0.1)
                self.assertLess(seen[MAIN].wakeups, 20)
                self.assertGreaterEqual(watched.cpu(), sum(spent.cpu for spent in seen.values()) * 0.99)
            finally:
                process.kill()

    def test_aThreadThatHasEndedStillCounts(self):
        with subprocess.Popen([sys.executable, "-c", SLEEPER + "\ntime.sleep(100)"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as process:
            try:
                process.stdout.readline()
                watched = Watched(process.pid)
                before = watched.spent().wakeups
                process.stdin.close()
                wait_for(lambda: watched.threads() == 1, 10, "the end of the thread")
                self.assertGreaterEqual(watched.spent().wakeups, before)
            finally:
                process.kill()


class Windows(unittest.TestCase):
    def moment(self, when, cpu, wakeups, **disk_counts):
        return types.SimpleNamespace(when=when, all=Spent(cpu, wakeups), threads={MAIN: Spent(cpu, wakeups)}, written=0,
                                     beside={"Xvfb": Spent(2 * cpu, 3 * wakeups)},
                                     disk=disk.Counts(**{"written_bytes": 0, "flushes": 0, "commits": 0, **disk_counts}))

    def test_theFiguresOfOneWindow(self):
        start, end = self.moment(0, 0, 0), self.moment(10, 0.02, 40, written_bytes=20480, flushes=20, commits=8)
        figures = measuring.between(start, end, ticks=10)
        expected = {"cpu_s_per_1000_ticks": 2.0, "wakeups_per_s": 4.0, "thread.main.wakeups_per_s": 4.0,
                    "beside.Xvfb.cpu_s_per_1000_ticks": 4.0, "beside.Xvfb.wakeups_per_s": 12.0, "device_kib_per_s": 2.0,
                    "flushes_per_1000_s": 2000.0, "commits_per_1000_s": 800.0, "flushes_fua_per_1000_s": 1200.0,
                    "coverage": 1.0}
        for name, value in expected.items():
            self.assertAlmostEqual(figures[name], value, msg=name)

    def test_nothingRecordedIsNoFigure(self):
        with self.assertRaises(SystemExit):
            measuring.between(self.moment(0, 0, 0), self.moment(10, 1, 1), ticks=0)

    def test_theMedianOfThreeAndTheirRange(self):
        figures = measuring.combined([{"a": 3.0}, {"a": 1.0, "late": 6.0}, {"a": 2.0}])
        self.assertEqual(figures, {"a": 2.0, "a_min": 1.0, "a_max": 3.0, "late": 0.0, "late_min": 0.0, "late_max": 6.0})


class Disk(InAFolder):
    MOUNTS = "22 1 254:0 / / rw,relatime shared:1 - ext4 /dev/root rw\n30 22 7:3 / {0} rw,noatime - ext4 /dev/loop3 rw\n"

    def test_whatTheKernelCounts(self):
        stat = "      55        1     2146        3       31        0      328        0        0        0        3" \
               "        0        0        0        0       21        0\n"
        counts = disk.read_counts(stat, "10 transactions (10 requested), each up to 1024 blocks\naverage:\n")
        self.assertEqual(counts, disk.Counts(written_bytes=328 * 512, flushes=21, commits=10))

    def test_aFileSystemIsNamedWithItsJournal(self):
        proc = self.folder / "proc"
        self.file("proc/self/mountinfo", self.MOUNTS.format("/somewhere/disk"))
        name = pathlib.Path("/sys/dev/block/7:3").resolve().name
        for options, journal in (("rw\ndata=ordered\n", "journal, data=ordered"), ("rw\nbarrier\n", "no journal")):
            with self.subTest(options):
                # The kernel's folder is called by the device, or by its number where this machine has no such device.
                for folder in {name, "7:3"}:
                    self.file(f"proc/fs/ext4/{folder}/options", options)
                mount = disk.mounted_at(pathlib.Path("/somewhere/disk/home"), proc)
                self.assertEqual(mount, ("/dev/loop3", "ext4", "rw,noatime", journal))
                self.assertEqual(disk.mounted_at(pathlib.Path("/elsewhere"), proc).source, "/dev/root")

    def test_withoutLoopDevicesItSaysWhatIsMissing(self):
        with mock.patch.dict(os.environ, {"PATH": str(self.folder)}):
            with self.assertRaises(SystemExit) as ended:
                disk.JournaledDisk.mount(self.folder / "disk")
        self.assertIn("mkfs.ext4 does not make one here", ended.exception.code)
        self.assertIn("--privileged", ended.exception.code)

    def test_countersThatDoNotCountAreNotBelieved(self):
        idle = disk.JournaledDisk("none")
        with mock.patch.object(idle, "counts", return_value=disk.Counts(0, 0, 0)), self.assertRaises(SystemExit) as ended:
            idle.check(self.folder)
        self.assertIn("cannot be trusted", ended.exception.code)


class Peers(InAFolder):
    def setUp(self):
        super().setUp()
        surroundings = mock.patch.dict(os.environ, {"HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder / "run")})
        surroundings.start()
        self.addCleanup(surroundings.stop)

    def contract(self, text):
        return self.file("peers.ini", text)

    def dummy(self, name="dummy", per_second=20, manner="record", settle=0):
        return f"[{name}]\nstart = {DUMMY} ~/{name} {per_second} {manner}\nprocesses = dummy_monitor.py\n" \
               f"records = {name}\nsettle = {settle}\n"

    def refused(self, text):
        with self.assertRaises(SystemExit) as ended:
            peers.read_contract(self.contract(text))
        return ended.exception.code

    def test_whatAContractSays(self):
        text = "[one]\nstart = true --all 'the rest'\nprocesses = true helper\nrecords = ~/.local/one\n[two]\nstart = true\n" \
               "processes = true\nrecords = two.db\nsettle = 2.5\n"
        one, two = peers.read_contract(self.contract(text))
        self.assertEqual(one, peers.Peer("one", ["true", "--all", "the rest"], ["true", "helper"], "~/.local/one", 10.0))
        self.assertEqual(two.settle, 2.5)

    def test_aContractThatIsNoneIsRefused(self):
        good = "[one]\nstart = true\nprocesses = true\nrecords = one\n"
        for text, reason in (("", "names nobody"), ("start = true\n", "no section"), (good.replace("records = one\n", ""), "\"records\""),
                             (good + "command = true\n", "\"command\""), (good.replace("= true", "= "), "empty"),
                             (good + "settle = soon\n", "soon"), (good.replace("= true", "= nothing-of-the-kind"), "not on this machine")):
            with self.subTest(reason):
                self.assertIn(reason, self.refused(text))
        with self.assertRaises(SystemExit):
            peers.read_contract(self.folder / "none.ini")

    def start(self, text):
        running = [peers.Running(peer) for peer in peers.read_contract(self.contract(text))]
        for each in running:
            self.addCleanup(each.close)
        return running

    def measure(self, text, manner="record"):
        """The whole of it, with another dummy in place of the agent and of its desktop."""
        agent_file = self.folder / "agent"
        self.enterContext(mock.patch.object(peers, "SWAP_SECONDS", 0.25))
        with subprocess.Popen([DUMMY, agent_file, "10", manner], env={**os.environ, "XDG_RUNTIME_DIR": "elsewhere"}) as process:
            wait_for(agent_file.exists, 10, "the agent's file")
            agent = Watched(process.pid)
            agent.file = agent_file
            window = types.SimpleNamespace(pid=0)
            scene = mock.MagicMock()
            scene.return_value.__enter__.return_value = types.SimpleNamespace(agent=agent, front=window, behind=window, end=int)
            try:
                rows = peers.measure(types.SimpleNamespace(seconds=0.5), peers.read_contract(self.contract(text)), scene, mock.Mock())
            finally:
                process.terminate()
        return {row["name"]: row for row in rows}

    def test_aPeerIsMeasuredBesideOurs(self):
        rows = self.measure(self.dummy(per_second=80))
        self.assertEqual(set(rows), {f"peers/{who}/{what}" for who in ("ours", "dummy") for what in ("idle", "changing")})
        theirs, ours = rows["peers/dummy/idle"], rows["peers/ours/idle"]
        self.assertGreater(theirs["wakeups_per_s"], 2 * ours["wakeups_per_s"])
        self.assertGreaterEqual(ours["wakeups_per_s"], 3)
        for row in rows.values():
            self.assertLessEqual(row["cpu_s_per_1000_s_min"], row["cpu_s_per_1000_s"])
            self.assertGreater(row["cpu_s_per_1000_s"], 0)
            self.assertGreater(row["pss_mb"], 1)

    def test_aPeerThatRecordsNothingIsNotMeasured(self):
        with self.assertRaises(SystemExit) as ended:
            self.measure(self.dummy(manner="forget"))
        self.assertIn("dummy recorded nothing", ended.exception.code)

    def test_norAreWeIfWeRecordNothing(self):
        with self.assertRaises(SystemExit) as ended:
            self.measure(self.dummy(), manner="forget")
        self.assertIn("ours recorded nothing", ended.exception.code)

    def test_aPeerThatEndsIsNotMeasured(self):
        # It ends before it is seen, or while it settles.
        with mock.patch.object(peers, "START_SECONDS", 1), self.assertRaises(SystemExit):
            self.start(self.dummy(manner="vanish", settle=1))

    def test_whatWasStartedIsEnded(self):
        peer = self.start(self.dummy())[0]
        peer.close()
        self.assertIsNotNone(peer.process.poll())


if __name__ == "__main__":
    unittest.main()
