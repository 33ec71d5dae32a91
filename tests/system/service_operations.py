#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""What docs/operator.md promises, with a real PostgreSQL, the nginx configuration of that page, TLS and
two instances of the service.

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
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from service_bench import (Bench, answers, connect, free_port, missing_programs, post, rows, sign_in,
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
            self.assertRegex("".join(self.bench.text(f"service{n}.log") for n in (0, 1)),
                             "velomira-service: (database|cannot open the database): ")
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


def main() -> int:
    if len(sys.argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    missing = missing_programs()
    if missing:
        print("not installed: " + ", ".join(missing))
        return SKIPPED
    ServiceOperations.service = str(pathlib.Path(sys.argv[1]).resolve())
    ServiceOperations.guide = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
    return 0


if __name__ == "__main__":
    sys.exit(main())
