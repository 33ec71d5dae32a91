#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What docs/operator.md promises, with a real PostgreSQL, the nginx configuration of that page, TLS and
two instances of the service; and what the pages beside it, formats.md and security.md, name of the service.

Usage: service_operations.py SERVICE OPERATOR_GUIDE [TEST...]
"""

import contextlib
import json
import os
import pathlib
import re
import shlex
import socket
import sqlite3
import ssl
import sys
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import alarms
from service_bench import (Bench, answers, connect, free_port, missing_programs, post, program, rows, sign_in,
                           upload, wait_for)

SKIPPED = 77
MIB = 1 << 20
LARGEST_MIB = 64  # for the test, of the service and of the proxy; the guide has more
EMAIL = "operator@example.org"
PASSWORD = "correct horse battery"


def site_from(guide: str, ports: list, public: int, folder: pathlib.Path) -> str:
    """The nginx configuration of the guide, for this machine. Everything that is replaced must be there once."""
    found = re.findall(r"```nginx\n(.*?)```", guide, re.DOTALL)
    if len(found) != 1:
        raise AssertionError(f"the guide has {len(found)} configurations of nginx")
    site = found[0]
    for there, here in (("127.0.0.1:8787", f"127.0.0.1:{ports[0]}"),
                        ("127.0.0.1:8788", f"127.0.0.1:{ports[1]}"),
                        ("listen 443 ssl;", f"listen 127.0.0.1:{public} ssl;"),
                        ("listen [::]:443 ssl;", ""),
                        ("client_max_body_size 512m;", f"client_max_body_size {LARGEST_MIB}m;"),
                        ("/etc/ssl/certs/usage.example.org.pem", f"{folder}/server.pem"),
                        ("/etc/ssl/private/usage.example.org.key", f"{folder}/server.key")):
        if site.count(there) != 1:
            raise AssertionError(f"the configuration has \"{there}\" {site.count(there)} times")
        site = site.replace(there, here)
    return site


class ServiceOperations(unittest.TestCase):
    """Two instances share one database; nginx stands in front of both."""

    service = ""
    guide = ""

    @classmethod
    def setUpClass(cls):
        stack = contextlib.ExitStack()
        cls.addClassCleanup(stack.close)
        cls.bench = Bench()
        stack.callback(cls.bench.close)
        cls.bench.start_postgres()
        if cls.bench.user == "root":
            cls.bench.administer("createuser", cls.bench.user)  # others are its superuser here
        cls.bench.administer("createdb", f"--owner={cls.bench.user}", "velomira")
        cls.database = cls.bench.database("velomira")
        cls.bench.service(cls.service, "--database", cls.database, "--add-user", EMAIL, "Operator",
                          text=PASSWORD + "\n")
        cls.ports = [0, 0]
        cls.instances = [None, None]
        for number in (0, 1):
            cls.start_instance(number)
        cls.public = free_port()
        cls.bench.make_certificate()
        cls.authority = cls.bench.folder / "ca.pem"
        cls.bench.start_nginx(site_from(cls.guide, cls.ports, cls.public, cls.bench.folder))
        cls.next_row = 0

    @classmethod
    def start_instance(cls, number: int):
        """The instance of that number, on the port that it had before."""
        cls.instances[number], cls.ports[number] = cls.bench.start_service(
            cls.service, cls.database, f"service{number}.log", "--trust-proxy",
            "--largest-upload", str(LARGEST_MIB), port=cls.ports[number])

    def setUp(self):
        self.connections = contextlib.ExitStack()
        self.addCleanup(self.connections.close)

    def open(self, port=None, authority=None, source=None):
        connection = connect(port, authority, source)
        self.connections.callback(connection.close)
        return connection

    def through_nginx(self, source=None):
        return self.open(self.public, self.authority, source)

    def new_rows(self, count: int) -> list:
        cls = type(self)
        cls.next_row += count
        return rows(count, cls.next_row - count)

    def stored(self, database=None) -> int:
        """The rows of the only user."""
        line = self.bench.service(self.service, "--database", database or self.database, "--summary")
        return int(re.fullmatch(r"user 1: (\d+) rows, .*\n", line)[1])

    def test_aSessionOfOneInstanceIsGoodAtTheOther(self):
        token = sign_in(self.open(self.ports[0]), EMAIL, PASSWORD)
        before = self.stored()
        status, answer = upload(self.open(self.ports[1]), token, self.new_rows(10))
        self.assertEqual((status, json.loads(answer)["stored"]), (201, 10))
        self.assertEqual(self.stored(), before + 10)

    def test_bothInstancesAreUsedBehindTheProxy(self):
        token = sign_in(self.through_nginx(), EMAIL, PASSWORD)
        before = self.stored()

        def served() -> list:
            return [self.bench.text(f"service{n}.log").count(" 201 ") for n in (0, 1)]
        first = served()
        for _ in range(8):
            self.assertEqual(upload(self.through_nginx(), token, self.new_rows(5))[0], 201)
        # A line is written after the answer, so those of earlier tests may still come.
        wait_for(lambda: sum(served()) >= sum(first) + 8, "the lines of the log")
        self.assertTrue(all(now > before for now, before in zip(served(), first)), f"{first} became {served()}")
        self.assertEqual(self.stored(), before + 40)

    def test_whoDoesNotKnowTheAuthorityIsNotServed(self):
        plain = self.connections.enter_context(socket.create_connection(("127.0.0.1", self.public), 60))
        with self.assertRaises(ssl.SSLCertVerificationError):
            ssl.create_default_context().wrap_socket(plain, server_hostname="127.0.0.1")

    def test_theLogHasTheClientsAddressWhateverTheClientSays(self):
        connection = self.through_nginx(source="127.0.0.77")
        status, _ = post(connection, "/api/activity-log", b"{}",
                         {"Authorization": "Bearer none", "X-Forwarded-For": "192.0.2.9"})
        self.assertEqual(status, 401)

        def log() -> str:
            return "".join(self.bench.text(f"service{n}.log") for n in (0, 1))
        wait_for(lambda: " 127.0.0.77 POST /api/activity-log 401 " in log(), "the line of the log")
        self.assertNotIn("192.0.2.9", log())

    def test_aConnectionIsKeptForTheNextUpload(self):
        connection = self.through_nginx()
        token = sign_in(connection, EMAIL, PASSWORD)
        kept = connection.sock
        self.assertIsNotNone(kept)
        self.assertEqual(upload(connection, token, self.new_rows(1))[0], 201)
        self.assertIs(connection.sock, kept)

    def test_theLargestBodyPassesAndALargerOneDoesNot(self):
        token = sign_in(self.through_nginx(), EMAIL, PASSWORD)
        before = self.stored()
        self.assertEqual(upload(self.through_nginx(), token, self.new_rows(3), padding=LARGEST_MIB * MIB)[0], 201)
        self.assertEqual(self.stored(), before + 3)
        # The proxy answers before it has read the body, so the connection may break while it is sent.
        try:
            status = upload(self.through_nginx(), token, self.new_rows(3), padding=LARGEST_MIB * MIB + 1)[0]
        except (BrokenPipeError, ConnectionResetError, ssl.SSLEOFError):
            status = 413
        self.assertEqual(status, 413)
        self.assertEqual(self.stored(), before + 3)

    def test_oneInstanceAfterTheOtherCanBeReplaced(self):
        token = sign_in(self.through_nginx(), EMAIL, PASSWORD)
        before = self.stored()
        for number in (0, 1):
            self.assertEqual(self.bench.end(self.instances[number]), 0)
            try:
                answered = [upload(self.through_nginx(), token, self.new_rows(1))[0] for _ in range(4)]
            finally:
                self.start_instance(number)
            self.assertEqual(answered, [201] * 4)
        self.assertEqual(self.stored(), before + 8)

    def test_failuresAreCountedForAllInstancesTogether(self):
        address = "nobody@example.org"

        def attempt(port):
            connection = self.open(port)
            return post(connection, "/api/token", {"email": address, "password": "wrong", "device_name": "Desktop",
                                                   "device_id": "device"})[0]
        self.assertEqual([attempt(self.ports[i % 2]) for i in range(10)], [401] * 10)
        self.assertEqual([attempt(port) for port in self.ports], [429, 429])

    def test_tokensAreRevokedForAllInstances(self):
        token = sign_in(self.open(self.ports[0]), EMAIL, PASSWORD)
        self.assertRegex(self.bench.service(self.service, "--database", self.database, "--revoke-tokens", EMAIL),
                         r"^revoked [1-9]\d* tokens\n$")
        for port in self.ports:
            self.assertEqual(upload(self.open(port), token, [])[0], 401)

    def test_anotherUserOfTheMachineIsRefusedByTheSocket(self):
        with self.assertRaisesRegex(RuntimeError, "Peer authentication failed"):
            self.bench.service(self.service, "--summary", "--database",
                               f"postgresql://somebody@/velomira?host={self.bench.socket}")

    def test_theHealthQuestionTellsWhenTheDatabaseIsGone(self):
        question = re.search(r"`(curl .*)https://HOST(/\S*)` says 401", self.guide)

        def health(port=None):
            address = f"http://127.0.0.1:{port}" if port else f"https://127.0.0.1:{self.public}"
            return int(self.bench.run([*shlex.split(question[1]), "--noproxy", "*", "--cacert", self.authority,
                                       address + question[2]]))
        self.assertEqual(health(), 401)
        self.addCleanup(self.replace_instances)  # other tests are to find no connection that has been cut
        self.bench.stop_postgres()
        try:
            self.assertEqual(health(), 503)
            log = "".join(self.bench.text(f"service{n}.log") for n in (0, 1))
            self.assertRegex(log, r"velomira-service: (request \S+ failed: )?(database|cannot open the database): ")
            for line in log.splitlines():  # whoever says it
                self.assertRegex(line, r"^(velomira-service: \S|[0-9-]{10}T[0-9:]{8}Z )")
        finally:
            self.bench.start_postgres()
        for port in self.ports:
            # A connection that the restart has cut fails one request, and all others are made anew.
            answered = [health(port) for _ in range(10)]
            self.assertLessEqual(answered.count(503), 1)
            self.assertEqual(set(answered) - {503}, {401})

    def replace_instances(self):
        for number in (0, 1):
            self.bench.end(self.instances[number])
            self.start_instance(number)

    def test_aBackupMadeWhileItServesIsWholeAndCanBeServed(self):
        token = sign_in(self.through_nginx(), EMAIL, PASSWORD)
        self.assertEqual(upload(self.through_nginx(), token, self.new_rows(20_000))[0], 201)
        at_least = self.stored()
        dump = self.bench.folder / "velomira.dump"
        command = re.search(r"^sudo -u velomira-service (.*pg_dump .*)$", self.guide, re.MULTILINE)[1]
        with self.uploading(token):
            self.bench.run(shlex.split(command), umask=0o022, env={**os.environ, "PGHOST": str(self.bench.socket)})
        self.assertEqual(os.stat(dump).st_mode & 0o777, 0o600, "others can read what people did")
        self.bench.administer("createdb", f"--owner={self.bench.user}", "restored")
        self.bench.run(["pg_restore", "--host", self.bench.socket, "--no-owner", "--exit-on-error", "--dbname=restored",
                        dump])
        restored = self.bench.database("restored")
        count = self.stored(restored)
        self.assertTrue(at_least <= count <= self.stored(), f"{at_least} <= {count} <= {self.stored()}")
        self.assert_serves(restored, token, count)

    def test_anSqliteFileIsCopiedWhileItServes(self):
        database = self.bench.folder / "service.sqlite"
        self.bench.service(self.service, "--database", database, "--add-user", EMAIL, "Operator", text=PASSWORD + "\n")
        instance, port = self.bench.start_service(self.service, database, "sqlite.log")
        try:
            token = sign_in(self.open(port), EMAIL, PASSWORD)
            self.assertEqual(upload(self.open(port), token, self.new_rows(20_000))[0], 201)
            at_least = self.stored(database)
            with self.uploading(token, port):
                with contextlib.closing(sqlite3.connect(database)) as source:
                    source.execute("vacuum into ?", [str(self.bench.folder / "vacuum.sqlite")])
                    with contextlib.closing(sqlite3.connect(self.bench.folder / "backup.sqlite")) as copy:
                        source.backup(copy)
            at_most = self.stored(database)
        finally:
            self.assertEqual(self.bench.end(instance), 0)
        for name in ("vacuum.sqlite", "backup.sqlite"):
            copy = self.bench.folder / name
            count = self.stored(copy)
            self.assertTrue(at_least <= count <= at_most, f"{name}: {at_least} <= {count} <= {at_most}")
            self.assert_serves(copy, token, count)
            self.assertEqual(os.stat(copy).st_mode & 0o777, 0o600)

    def test_aUserCanBeRemovedWithEverything(self):
        address = "leaving@example.org"
        file = self.bench.folder / "leaving.sqlite"
        for database in (self.database, file):
            self.bench.service(self.service, "--database", database, "--add-user", address, "Leaving",
                               text=PASSWORD + "\n")
            instance, port = self.bench.start_service(self.service, database, "leaving.log")
            try:
                token = sign_in(self.open(port), address, PASSWORD)
                self.assertEqual(upload(self.open(port), token, rows(5))[0], 201)
                self.assertEqual(self.bench.service(self.service, "--database", database, "--remove-user", address),
                                 "removed the user and 5 rows\n")
                self.assertEqual(upload(self.open(port), token, rows(5))[0], 401)
            finally:
                self.assertEqual(self.bench.end(instance), 0)
        for table in ("runs", "days", "sessions"):
            left = f"select count(*) from {table} where user_id <> 1"
            self.assertEqual(self.bench.administer("psql", "-At", "--dbname=velomira", f"--command={left}"), "0\n")
            with contextlib.closing(sqlite3.connect(file)) as database:
                self.assertEqual(database.execute(left.replace("<> 1", "> 0")).fetchone()[0], 0)
        self.assertEqual(self.bench.service(self.service, "--database", file, "--summary"), "")
        self.assertEqual(self.bench.service(self.service, "--database", self.database, "--summary").count("user "), 1)

    def test_aNewPasswordHoldsAtAllInstances(self):
        address = "you@example.org"
        self.bench.service(self.service, "--database", self.database, "--add-user", address, "You",
                           text=PASSWORD + "\n")
        try:
            token = sign_in(self.open(self.ports[0]), address, PASSWORD)
            self.assertEqual(self.bench.service(self.service, "--database", self.database, "--set-password", address,
                                                text="another password\n"),
                             "changed the password and revoked 1 tokens\n")
            for port in self.ports:
                self.assertEqual(upload(self.open(port), token, [])[0], 401)
                with self.assertRaisesRegex(RuntimeError, "failed with 401"):
                    sign_in(self.open(port), address, PASSWORD)
                sign_in(self.open(port), address, "another password")
        finally:
            self.bench.service(self.service, "--database", self.database, "--remove-user", address)

    @contextlib.contextmanager
    def uploading(self, token: str, port=None):
        """Uploads go on meanwhile: at least one before, and until the end."""
        over = threading.Event()
        begun = threading.Event()
        answered = []

        def work():
            while not over.is_set():
                with contextlib.closing(connect(port or self.public, None if port else self.authority)) as connection:
                    answered.append(upload(connection, token, self.new_rows(50))[0])
                begun.set()
        thread = threading.Thread(target=work)
        thread.start()
        try:
            self.assertTrue(begun.wait(60))
            yield
        finally:
            over.set()
            thread.join()
        self.assertEqual(set(answered), {201})

    def assert_serves(self, database, token: str, count: int):
        """An instance on `database` knows the session and stores what comes."""
        instance, port = self.bench.start_service(self.service, database, "copy.log")
        try:
            self.assertEqual(upload(self.open(port), token, self.new_rows(2))[0], 201)
            self.assertEqual(self.stored(database), count + 2)
        finally:
            self.assertEqual(self.bench.end(instance), 0)
        self.assertFalse(answers(port))


class CommandsOfTheGuide(unittest.TestCase):
    """Every command of the page, in its order, on a machine that only differs in where things are."""

    service = ""
    guide = ""
    pages = {}  # those beside it

    # What is installed or built cannot be had here.
    ELSEWHERE = ("sudo apt install ", "cmake --preset release ")
    # What each says. {0} is the number of the user's rows.
    ACCOUNTS = {
        "--add-user EMAIL NAME": r"added user \d+\n",
        "--set-password EMAIL": r"changed the password and revoked 2 tokens\n",
        "--revoke-tokens EMAIL": r"revoked 0 tokens\n",
        "--remove-user EMAIL": r"removed the user and {0} rows\n",
        "--list-users": r"\d+\tyou@example\.org\tYou\t\S+Z\tuser\n",
        "--list-devices EMAIL": r"1\tDesktop\t\S+Z\t\S+Z\tevery 5 min\tclock -?\d+ s\t(reporting|silent)\n",
        "--add-token EMAIL": r"[A-Za-z0-9_-]{{43}}\n",
        "--add-token EMAIL --scope read": r"[A-Za-z0-9_-]{{43}}\n",
        "--export-user EMAIL": r"(\{{\"start\":\".*\}}\n){{{0}}}",
        "--prune": r"deleted \d+ rows, \d+ days and \d+ months\n",
        "--prune --dry-run": r"would delete \d+ rows, \d+ days and \d+ months\n",
        "--summary": r"user \d+: {0} rows, \d+ seconds, 1 devices, \d tokens\n",
    }

    # Each alarm of the page with figures at which it must not fire, and some at which it must. "+1": so much more than
    # at the beginning of the time that it looks at; "ago 5": the time 5 s ago.
    ALARMS = {
        "velomira_database_up == 0": (
            {"velomira_database_up": "1"},
            {"velomira_database_up": "0"}),
        "velomira_report_database_up == 0": (
            {"velomira_report_database_up": "1"},
            {"velomira_report_database_up": "0"}),
        "velomira_job_failures > 2": (
            {'velomira_job_failures{name="pack"}': "2"},
            {'velomira_job_failures{name="pack"}': "3"}),
        "rate(velomira_database_failures_total[5m]) > 0": (
            {'velomira_database_failures_total{lane="writing"}': "+0"},
            {'velomira_database_failures_total{lane="writing"}': "+1"}),
        'sum(rate(velomira_http_requests_total{status=~"5.."}[5m])) / sum(rate(velomira_http_requests_total[5m])) > 0.01': (
            {'velomira_http_requests_total{route="/api/token",method="POST",status="200"}': "+990",
             'velomira_http_requests_total{route="/api/token",method="POST",status="503"}': "+10"},
            {'velomira_http_requests_total{route="/api/token",method="POST",status="200"}': "+989",
             'velomira_http_requests_total{route="/api/token",method="POST",status="503"}': "+11"}),
        'increase(velomira_sign_ins_total{result=~"wrong_password|held_off"}[15m]) > 100': (
            {'velomira_sign_ins_total{result="wrong_password"}': "+100",
             'velomira_sign_ins_total{result="succeeded"}': "+1000"},
            {'velomira_sign_ins_total{result="held_off"}': "+101"}),
        "velomira_database_waiting > 50": (
            {'velomira_database_waiting{lane="writing"}': "50"},
            {'velomira_database_waiting{lane="writing"}': "51"}),
        'time() - velomira_job_finished_timestamp_seconds{name="pack"} > 7200': (
            {'velomira_job_finished_timestamp_seconds{name="pack"}': "ago 7200"},
            {'velomira_job_finished_timestamp_seconds{name="pack"}': "ago 7201"}),
    }

    @classmethod
    def setUpClass(cls):
        stack = contextlib.ExitStack()
        cls.addClassCleanup(stack.close)
        cls.bench = Bench()
        stack.callback(cls.bench.close)
        cls.bench.start_postgres()
        cls.programs = cls.bench.folder / "bin"
        cls.programs.mkdir()
        (cls.programs / "velomira-service").symlink_to(cls.service)
        # Whoever runs the test is the service's user; the rest is the real thing.
        as_server = shlex.join(["setpriv", *map(str, cls.bench.as_server)]) if cls.bench.as_server else ""
        sudo = cls.programs / "sudo"
        sudo.write_text('#!/bin/sh\nuser=$2\nshift 2\n'
                        f'if [ "$user" = postgres ]; then exec {as_server} "$@"; fi\nexec "$@"\n', encoding="utf-8")
        sudo.chmod(0o755)
        cls.environment = {**os.environ, "PATH": f"{cls.programs}:{os.environ['PATH']}",
                           "PGHOST": str(cls.bench.socket)}
        cls.create_user = re.search(r"^sudo .*createuser .*$", cls.guide, re.MULTILINE)[0]
        if cls.bench.user == "root":
            cls.run_line(cls.create_user)  # others are its superuser here

    @classmethod
    def here(cls, command: str) -> str:
        for there, place in (("/run/postgresql", cls.bench.socket), ("/var/lib/velomira-service", cls.bench.folder),
                             ("/etc/velomira-service", cls.bench.folder), ("--port 8787", "--port 0"),
                             ("--owner=velomira-service", f"--owner={cls.bench.user}"),
                             ("createuser velomira-service", f"createuser {cls.bench.user}")):
            command = command.replace(there, str(place))
        return command

    @classmethod
    def run_line(cls, command: str) -> str:
        return cls.bench.run(["sh", "-c", cls.here(command)], env=cls.environment)

    def serve(self, command: str):
        """The process, which listens, and its port."""
        words = shlex.split(self.here(command))
        self.assertEqual((words[0], words[1], words[3:]), ("velomira-service", "--database", ["--port", "0"]))
        return self.bench.start_service(self.service, words[2], "guide.log")

    def test_everyCommandInABlock(self):
        blocks = re.findall(r"^```(\w*)\n(.*?)^```$", self.guide, re.DOTALL | re.MULTILINE)
        (self.bench.folder / "settings").write_text("port = 8787\ndatabase = service.sqlite\n", encoding="utf-8")
        run = []
        self.tried = set()
        for line in "".join(block for language, block in blocks if not language).splitlines():
            if line.startswith(self.ELSEWHERE) or line == self.create_user:
                continue
            if re.fullmatch(r"velomira-service --database \S+ --port \d+", line):
                instance, port = self.serve(line)
                self.assertTrue(answers(port))
                self.assertEqual(self.bench.end(instance), 0)
            elif re.match(r"(sudo|velomira-service|\(umask 077;) ", line):
                if "sqlite3 " in line:  # both make the same file
                    (self.bench.folder / "backup.sqlite").unlink(missing_ok=True)
                self.run_line(line)
            else:
                self.assert_is_of_a_file(line)
                continue
            run.append(line)
        self.assertEqual(self.tried, set(self.ALARMS))
        for program in ("createdb", "pg_dump", "pg_restore", "vacuum into", ".backup", "--check-config", "--port"):
            self.assertTrue(any(program in line for line in run), program)
        self.assertEqual(os.stat(self.bench.folder / "velomira.dump").st_mode & 0o777, 0o600)

    def assert_is_of_a_file(self, line: str):
        """A line of the unit's settings, or a condition for an alarm, which fires when it must and only then."""
        if match := re.fullmatch(r"(VELOMIRA_SERVICE_([A-Z_]+))=(.*)", line):
            others = {"VELOMIRA_SERVICE_DATABASE": "d", "VELOMIRA_SERVICE_PORT": "1"}
            said = self.bench.run([self.service, "--check-config"], env={**os.environ, **others, match[1]: match[3]})
            self.assertIn(f"{match[2].lower().replace('_', '-')} = ", said)
            self.assertIn(f"({match[1]})", said)
            return
        self.assertIn(line, self.ALARMS)
        self.tried.add(line)
        told = alarms.parse(self.figures())
        known = {name for name, _ in told}
        for name in re.findall(r"velomira_\w+", line):
            self.assertIn(name, known, line)
        quiet, loud = self.ALARMS[line]
        self.assertFalse(self.fires(line, told, quiet), line)
        self.assertTrue(self.fires(line, told, loud), line)

    @staticmethod
    def fires(condition: str, told: dict, changes: dict) -> bool:
        """Whether the alarm fires when what the service tells changes in that way."""
        at = time.time()
        before, now = dict(told), dict(told)
        for name, change in changes.items():
            series = alarms.series_of(name)
            if change.startswith("+"):
                before.setdefault(series, 0.0)
                now[series] = before[series] + float(change)
            else:
                now[series] = at - float(change[4:]) if change.startswith("ago ") else float(change)
        return alarms.fires(condition, before, now, at)

    def figures(self) -> str:
        """What an instance tells of itself."""
        if not hasattr(type(self), "told"):
            database = self.bench.folder / "figures.sqlite"
            self.bench.service(self.service, "--database", database, "--add-user", EMAIL, "You", text=PASSWORD + "\n")
            instance, port = self.bench.start_service(self.service, database, "figures.log", "--metrics", "127.0.0.1:0")
            try:
                self.sign_in(port, EMAIL)
                at = int(re.search(r"figures at http://127\.0\.0\.1:(\d+)/metrics", self.bench.text("figures.log"))[1])

                def get(path: str, port: int) -> str:
                    return self.bench.run(["curl", "--silent", "--fail", "--noproxy", "*",
                                           f"http://127.0.0.1:{port}{path}"])
                done = '\nvelomira_job_finished_timestamp_seconds{name="pack"}'
                type(self).told = wait_for(lambda: done in get("/metrics", at) and get("/metrics", at), "the jobs")
                for path in re.findall(r"`GET (/\w+z)` says 200", self.guide):
                    self.assertIn("status", get(path, port))
            finally:
                self.assertEqual(self.bench.end(instance), 0)
        return self.told

    def test_whatTheOtherPagesSayOfTheService(self):
        """Every option, command and form of a line that the pages on formats and security name."""
        told = self.bench.service(self.service, "--help")
        known = set(re.findall(r"^  (--[a-z-]+)", told, re.MULTILINE))
        formats = self.pages["formats"].split("\n## Service\n")[1]
        named = {}  # with what stands behind it
        for page in (formats, self.pages["security"]):
            named |= dict(re.findall(r"`(--[a-z-]+)(?: ([^`]*))?`", page))
        # What the application has itself.
        self.assertEqual(set(named) - known, {"--sign-in"})
        values = {"--largest-upload": "64", "--log": "json", "--public-url": "https://usage.example.org", "--quota": "100"}
        flags, commands = {"--trust-proxy"}, {"--summary", "--add-user", "--set-password"}
        self.assertEqual(set(named) & known, set(values) | flags | commands)
        self.assertEqual(named["--log"], values["--log"])
        database = self.bench.folder / "pages.sqlite"
        settings = [word for option, value in values.items() for word in (option, value)] + sorted(flags)
        self.bench.service(self.service, "--check-config", "--database", database, "--port", "0", *settings)
        with self.assertRaisesRegex(RuntimeError, "at least 10 characters"):
            self.bench.service(self.service, "--database", database, "--add-user", EMAIL, "You", text="123456789\n")
        for command in (["--add-user", EMAIL, "You"], ["--set-password", EMAIL]):
            self.bench.service(self.service, "--database", database, *command, text=PASSWORD + "\n")
        for log in ("text", "json"):
            instance, port = self.bench.start_service(self.service, database, f"pages.{log}.log", "--log", log)
            try:
                with contextlib.closing(connect(port)) as connection:
                    self.assertEqual(upload(connection, sign_in(connection, EMAIL, PASSWORD), rows(3))[0], 201)
            finally:
                self.assertEqual(self.bench.end(instance), 0)
        said = re.search(r"`--summary` prints a line for each user: `([^`]*)`", formats)[1]
        self.assertRegex(self.bench.service(self.service, "--database", database, "--summary"),
                         "^" + re.sub(r"\d+", r"\\d+", said) + "\n$")
        self.assert_lines_are_as_the_page_says(formats)

    def assert_lines_are_as_the_page_says(self, formats: str):
        """The last line of both logs, which is that of the upload."""
        form = re.search(r"`(TIME CLIENT [^`]*)`", formats)[1]
        words = {"TIME": r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", "CLIENT": r"127\.0\.0\.1", "METHOD": "POST",
                 "PATH": "/api/activity-log", "STATUS": "201", "BYTES": r"\d+", "MILLISECONDS": r"\d+", "NUMBER": "1",
                 "REQUEST": r"[0-9a-f]+-[0-9a-f]+"}
        self.assertEqual(set(re.findall("[A-Z]+", form)), set(words))
        self.assertRegex(self.bench.text("pages.text.log").splitlines()[-1],
                         "^" + re.sub("[A-Z]+", lambda word: words[word[0]], form) + "$")
        members = re.search(r"With `--log json` each line is an object: (.*?); of trouble", formats, re.DOTALL)[1]
        line = json.loads(self.bench.text("pages.json.log").splitlines()[-1])
        self.assertEqual(list(line), re.findall(r"`(\w+)`", members.replace("(`info`)", "")))
        self.assertEqual((line["level"], line["status"]), ("info", 201))

    def test_everyFigureIsThere(self):
        table = self.guide.split("### Figures")[1].split("The figures of requests and lanes")[0]
        named = set()
        for row in re.findall(r"^\| (`.*?) \|", table, re.MULTILINE):
            names = re.findall(r"`(\w+)`", row)
            first = next(name for name in names if not name.startswith("_"))
            named |= {first.rsplit("_", 1)[0] + name if name.startswith("_") else name for name in names}
        told = set(re.findall(r"^# TYPE (\w+) ", self.figures(), re.MULTILINE))
        self.assertEqual(named, told)

    def test_everyCommandOnAccounts(self):
        table = self.guide.split("## Accounts")[1].split("\n## ")[0]
        commands = []
        for command in re.findall(r"^\| `(--[^`]+)` \|", table, re.MULTILINE):
            commands += dict.fromkeys((re.sub(r" \[.*?\]", "", command), re.sub(r"[\[\]]", "", command)))
        self.assertEqual(sorted(commands), sorted(self.ACCOUNTS))
        told = self.bench.service(self.service, "--help").split("\nCommands;")[1]
        self.assertEqual({command.split()[0] for command in commands} | {"--check-config", "--help"},
                         set(re.findall(r"^  (--[a-z-]+)", told, re.MULTILINE)))
        # The user is there first and gone last.
        commands.sort(key=lambda command: (command != "--add-user EMAIL NAME", command == "--remove-user EMAIL"))
        self.bench.administer("createdb", f"--owner={self.bench.user}", "accounts")
        for database in (self.bench.database("accounts"), self.bench.folder / "accounts.sqlite"):
            self.run_accounts(database, commands)

    @staticmethod
    def sign_in(port: int, email: str) -> str:
        with contextlib.closing(connect(port)) as connection:
            return sign_in(connection, email, PASSWORD)

    def run_accounts(self, database, commands: list):
        stored = 7
        for command in commands:
            arguments = [{"EMAIL": "you@example.org", "NAME": "You"}.get(word, word) for word in command.split()]
            keep = ["--keep-runs", "30000"] if command.startswith("--prune") else []
            asks = "--add-user" in command or "--set-password" in command
            said = self.bench.service(self.service, "--database", database, *keep, *arguments,
                                      text=PASSWORD + "\n" if asks else "")
            self.assertRegex(said, "^" + self.ACCOUNTS[command].format(stored) + "$", command)
            if "--add-user" in command:
                instance, port = self.bench.start_service(self.service, database, "accounts.log")
                try:
                    tokens = [self.sign_in(port, "you@example.org") for _ in range(2)]
                    with contextlib.closing(connect(port)) as connection:
                        self.assertEqual(upload(connection, tokens[0], rows(stored))[0], 201)
                finally:
                    self.assertEqual(self.bench.end(instance), 0)

    def test_everyQuestionInSql(self):
        self.bench.administer("createdb", f"--owner={self.bench.user}", "questions")
        database = self.bench.database("questions")
        instance, _ = self.bench.start_service(self.service, database, "questions.log")

        def ask(question: str) -> str:
            return self.bench.administer("psql", "-At", "--dbname=questions", f"--command={question}")
        try:
            questions = re.findall(r"`(select [^`]+)`", self.guide)
            self.assertEqual(len(questions), 2)
            for question in questions:
                wait_for(lambda q=question: ask(q).strip(), question)
            for job in re.findall(r"`(\w+)`", re.search(r"^\| Jobs \| `select [^`]+`: (.*?)\. ", self.guide,
                                                       re.MULTILINE)[1].replace("`prune`, ", "")):
                wait_for(lambda j=job: j + "|" in ask(questions[1]), f"the job {job}")
        finally:
            self.assertEqual(self.bench.end(instance), 0)


def main() -> int:
    if len(sys.argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    missing = missing_programs() + [name for name in ("sqlite3", "curl") if not program(name)]
    if missing:
        print("not installed: " + ", ".join(missing))
        return SKIPPED
    guide = pathlib.Path(sys.argv[2])
    for case in (ServiceOperations, CommandsOfTheGuide):
        case.service = str(pathlib.Path(sys.argv[1]).resolve())
        case.guide = guide.read_text(encoding="utf-8")
    CommandsOfTheGuide.pages = {name: (guide.parent / f"{name}.md").read_text(encoding="utf-8")
                                for name in ("formats", "security")}
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
    return 0


if __name__ == "__main__":
    sys.exit(main())
