# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The parts of service_load.py, which says what they measure."""

import base64
import contextlib
import dataclasses
import datetime
import hashlib
import http.client
import json
import os
import pathlib
import socket
import sqlite3
import statistics
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/support"))
from service_bench import Bench, connect, post, postgres_folder, rows, sign_in, wait_for

PASSWORD = "correct horse battery"
OF_ALL_MONTHS = "select sum(pg_{}_size(inhrelid)) from pg_inherits where inhparent = 'runs'::regclass"
DAY = 86_400
MB = 1 << 20
PATIENCE = 3600  # seconds that the longest work may take
TOKEN = "an old token"
COLUMNS = ("user_id", "start_day", "start_second", "digest", "duration_seconds", "device", "app_name", "window_title", "url",
           "site")
# A day since 1970, and before the times of rows().
END_OF_OLD = 20_706
OLD_MONTH = (2025, 6)
# Tables that are made and filled in one transaction need not be logged.
FILLED_BY_SQL = ("wal_level=minimal", "max_wal_senders=0", "max_wal_size=4GB")


@dataclasses.dataclass
class Figure:
    """One number, or the median of several with the least and the most of them."""
    value: float
    unit: str = ""
    least: float = None
    most: float = None

    def __post_init__(self):
        self.least = self.value if self.least is None else self.least
        self.most = self.value if self.most is None else self.most


def median(values: list, unit: str = "") -> Figure:
    return Figure(statistics.median(values), unit, min(values), max(values))


def percentile(times: list, percent: int) -> float:
    ordered = sorted(times)
    return ordered[min(len(ordered) * percent // 100, len(ordered) - 1)]


def milliseconds(times: list) -> dict:
    return {f"an upload, {name}": Figure(1000 * percentile(times, percent), "ms")
            for name, percent in (("median", 50), ("95 %", 95), ("99 %", 99))}


def versions() -> str:
    found = subprocess.run([postgres_folder() / "postgres", "--version"], capture_output=True, text=True, check=True).stdout
    return f"PostgreSQL {found.split()[2]}, SQLite {sqlite3.sqlite_version}"


class Installation(contextlib.AbstractContextManager):
    """A database, and services in front of it, in a folder of their own. One thread."""

    def __init__(self, kind: str, options, settings=()):
        self.postgres = kind == "postgresql"
        self.settings = settings
        self.options = options
        self.bench = Bench()
        self.process = self.port = None

    def __enter__(self):
        try:
            if not self.postgres:
                self.database = self.bench.folder / "service.sqlite"
                return self
            self.bench.start_postgres(self.settings)
            if self.bench.user == "root":
                self.bench.administer("createuser", self.bench.user)
            self.bench.administer("createdb", f"--owner={self.bench.user}", "velomira")
            self.database = self.bench.database("velomira")
            return self
        except BaseException:
            self.bench.close()
            raise

    def __exit__(self, *_):
        if self.process:
            self.stop()
        if self.postgres:
            self.bench.stop_postgres()  # does not wait for what may still be in hand
        self.bench.close()

    def start(self, *arguments):
        self.process, self.port = self.bench.start_service(self.options.service, self.database, "service.log", *arguments)

    def stop(self):
        self.bench.end(self.process)

    def command(self, *arguments, text: str = "") -> str:
        return self.bench.service(self.options.service, "--database", self.database, *arguments, text=text)

    def add_user(self, email: str):
        self.command("--add-user", email, "Load", text=PASSWORD + "\n")

    def token(self, email: str = "load@example.org") -> str:
        return sign_in(connect(self.port), email, PASSWORD)

    def sql(self, *statements) -> str:
        """Runs each statement in a transaction of its own; the last line of what they yield."""
        if self.postgres:
            said = self.bench.run(["psql", "--host", self.bench.socket, "-d", "velomira", "-Atq", "-v", "ON_ERROR_STOP=1",
                                   *[word for each in statements for word in ("-c", each)]])
            return said.strip().rpartition("\n")[2]
        with contextlib.closing(sqlite3.connect(self.database, timeout=60)) as database:
            for each in statements:
                said = database.execute(each).fetchone()
                database.commit()
        return str(said[0]) if said else ""

    def number(self, query: str) -> int:
        return int(self.sql(query))

    # Of the service's process

    def processor_seconds(self) -> float:
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self, which: str = "VmRSS") -> float:
        """In MB; VmHWM is the most since forget_peak()."""
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii").splitlines():
            if line.startswith(which + ":"):
                return int(line.split()[1]) * 1024 / MB
        raise RuntimeError("the service has ended")

    def forget_peak(self):
        pathlib.Path(f"/proc/{self.process.pid}/clear_refs").write_text("5", encoding="ascii")


def document(activities: list) -> bytes:
    return json.dumps({"device_id": "device", "sync_timestamp": "2026-11-21T09:30:00Z", "interval_minutes": 5,
                       "activities": activities}).encode()


def send(connection, token: str, body) -> float:
    """Seconds until the answer to an upload."""
    begun = time.monotonic()
    status, answer = post(connection, "/api/activity-log", body, {"Authorization": "Bearer " + token})
    passed = time.monotonic() - begun
    if status != 201:
        raise RuntimeError(f"an upload failed with {status}: {answer!r}")
    return passed


def at_once(jobs: list) -> float:
    """Runs them on a thread each; seconds until all have ended. What one throws comes out."""
    faults = []

    def guarded(job):
        try:
            job()
        except Exception as fault:  # pylint: disable=broad-except
            faults.append(fault)
    threads = [threading.Thread(target=guarded, args=(job,), daemon=True) for job in jobs]
    begun = time.monotonic()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if faults:
        raise faults[0]
    return time.monotonic() - begun


# few, many

def upload_from_all(place: Installation, tokens: list, bodies: list) -> tuple:
    """Every client sends all of `bodies` over a connection that it keeps: all times, and how long it took."""
    times = []

    def client(token):
        connection = connect(place.port)
        times.extend([send(connection, token, body) for body in bodies])
        connection.close()
    return times, at_once([lambda token=token: client(token) for token in tokens])


def given(activity: dict, user: int) -> tuple:
    """Its COLUMNS."""
    digest = hashlib.blake2b(repr(activity).encode(), digest_size=4).digest()
    start = datetime.datetime.strptime(activity["start_time"], "%Y-%m-%dT%H:%M:%S%z")
    return (user, *divmod(int(start.timestamp()), DAY), int.from_bytes(digest, "big", signed=True),
            activity["duration_seconds"], 1, activity["app_name"], activity["window_title"], activity["url"],
            "example.org" if activity["url"] else None)


class Floor(contextlib.AbstractContextManager):
    """The same rows without the service, a transaction for each upload, into a table equal to `runs`."""

    def __init__(self, place: Installation):
        self._place = place
        self._database = None

    def __enter__(self):
        place = self._place
        if place.postgres:
            place.sql("create table floor (like runs including defaults including indexes)")
            return self
        self._database = sqlite3.connect(place.bench.folder / "floor.sqlite", isolation_level=None)
        for statement in ("pragma journal_mode = wal", "pragma synchronous = full", "pragma cache_size = -16384",
                          place.sql("select sql from sqlite_master where name = 'runs'")):
            self._database.execute(statement)
        return self

    def __exit__(self, *_):
        if self._database:
            self._database.close()
        else:
            self._place.sql("drop table floor")

    def store(self, uploads: list) -> tuple:
        """All of them for each client. Seconds, and those of the processor, which are not known of PostgreSQL."""
        clients = range(self._place.options.clients)
        return self._insert(uploads, clients) if self._database else (self._copy(uploads, clients), 0)

    def _copy(self, uploads: list, clients) -> float:
        """COPY by a psql for each client."""
        files = [self._place.bench.folder / f"floor-{client}.sql" for client in clients]
        for client, file in zip(clients, files):
            with file.open("w", encoding="utf-8") as script:
                for activities in uploads:
                    script.write(f"copy floor ({', '.join(COLUMNS)}) from stdin;\n")
                    for activity in activities:
                        row = ("\\N" if each is None else str(each) for each in given(activity, client))
                        script.write("\t".join(row) + "\n")
                    script.write("\\.\n")
        command = ["psql", "--host", self._place.bench.socket, "-d", "velomira", "-q", "-v", "ON_ERROR_STOP=1", "-f"]
        return at_once([lambda file=file: self._place.bench.run([*command, file]) for file in files])

    def _insert(self, uploads: list, clients) -> tuple:
        """One prepared insert in this process."""
        prepared = [[given(activity, client) for activity in activities] for activities in uploads for client in clients]
        statement = f"insert into runs ({', '.join(COLUMNS)}) values ({', '.join('?' * len(COLUMNS))})"
        begun, spent = time.monotonic(), time.process_time()
        for each in prepared:
            self._database.execute("begin immediate")
            self._database.executemany(statement, each)
            self._database.execute("commit")
        return time.monotonic() - begun, time.process_time() - spent


def upload_runs(place: Installation, each: int, count: int) -> dict:
    """A warm-up of a quarter of a run, then the runs, each with its floor."""
    options = place.options
    emails = [f"load{n}@example.org" for n in range(options.clients)]
    for email in emails:
        place.add_user(email)
    place.start()
    tokens = [place.token(email) for email in emails]
    stored = 0
    all_times, rates, floors, cpu, floor_cpu = [], [], [], [], []
    with Floor(place) as floor:
        for run in range(options.runs + 1):
            many_now = count if run else max(count // 4, 1)
            uploads = [rows(each, n * each) for n in range(stored, stored + many_now)]
            stored += many_now
            total = options.clients * many_now * each
            before = place.processor_seconds()
            times, seconds = upload_from_all(place, tokens, [document(activities) for activities in uploads])
            spent = place.processor_seconds() - before
            of_floor, spent_by_floor = floor.store(uploads)
            if run:
                all_times.append(times)
                rates.append(total / seconds)
                cpu.append(spent * 1e6 / total)
                floors.append(total / of_floor)
                floor_cpu.append(spent_by_floor * 1e6 / total)
    figures = {"uploads a second": median([rate / each for rate in rates]), "rows a second": median(rates),
               **{f"an upload, {name}": median([1000 * percentile(times, percent) for times in all_times], "ms")
                  for name, percent in (("median", 50), ("95 %", 95), ("99 %", 99))},
               "floor, rows a second": median(floors),
               "part of the floor": median([100 * rate / floor for rate, floor in zip(rates, floors)], "%"),
               "processor time of the service for 1,000,000 rows": median(cpu, "s")}
    if not place.postgres:
        figures["processor time of the floor for 1,000,000 rows"] = median(floor_cpu, "s")
    return figures | {"most memory of the service, sign-ins included": Figure(place.memory("VmHWM"), "MB")}


def few(place: Installation) -> dict:
    return upload_runs(place, place.options.few, place.options.few_uploads)


def many(place: Installation) -> dict:
    return upload_runs(place, place.options.many, place.options.many_uploads) | sizes(place)


def sizes(place: Installation) -> dict:
    count = place.number("select count(*) from runs")
    place.stop()
    if not place.postgres:
        place.sql("pragma wal_checkpoint(truncate)")
        return {"bytes a row with its index": Figure(place.database.stat().st_size / count)}
    place.sql("vacuum runs")
    whole, index = (place.number(OF_ALL_MONTHS.format(each)) / count for each in ("total_relation", "indexes"))
    bench, dump = place.bench, place.bench.folder / "velomira.dump"
    begun = time.monotonic()
    bench.run(["pg_dump", "--host", bench.socket, "--format=custom", f"--file={dump}", "velomira"])
    dumped = time.monotonic()
    bench.administer("createdb", f"--owner={bench.user}", "restored")
    created = time.monotonic()
    bench.run(["pg_restore", "--host", bench.socket, "--no-owner", "--exit-on-error", "--dbname=restored", dump])
    restored = time.monotonic()
    return {"bytes a row with its index": Figure(whole), "of it index": Figure(index),
            "pg_dump of 1,000,000 rows": Figure((dumped - begun) * 1e6 / count, "s"),
            "pg_restore of 1,000,000 rows": Figure((restored - created) * 1e6 / count, "s"),
            "bytes a row of the dump": Figure(dump.stat().st_size / count)}


# idle

def open_idle(port: int, number: int) -> socket.socket:
    """A connection that has had one answer; not more from one address than the service takes."""
    connection = socket.create_connection(("127.0.0.1", port), 60, source_address=(f"127.0.1.{1 + number // 400}", 0))
    connection.sendall(b"GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
    answer = connection.recv(4096)
    if b" 200 " not in answer.splitlines()[0]:
        raise RuntimeError(f"a connection got {answer!r}")
    return connection


def is_open(connection: socket.socket) -> bool:
    connection.setblocking(False)
    try:
        return bool(connection.recv(1))
    except BlockingIOError:
        return True


def idle(place: Installation) -> dict:
    place.add_user("load@example.org")
    place.start()
    at_start = place.memory()
    token = place.token()
    connection = connect(place.port)
    uploads = 200

    def times(first):
        return [send(connection, token, document(rows(10, 10 * n))) for n in range(first, first + uploads)]
    times(0)
    before = times(uploads)
    memory = place.memory()
    idle_ones = []
    try:
        begun = time.monotonic()
        idle_ones += [open_idle(place.port, n) for n in range(place.options.idle)]
        seconds = time.monotonic() - begun
        meanwhile = times(2 * uploads)
        more = place.memory() - memory
        left = sum(map(is_open, idle_ones))
    finally:
        for each in idle_ones:
            each.close()
    if left != place.options.idle:
        raise RuntimeError(f"only {left} of {place.options.idle} connections were still there")
    return {"memory after the start": Figure(at_start, "MB"), "more with the connections": Figure(more, "MB"),
            "connections opened a second": Figure(place.options.idle / seconds),
            "an upload of 10 rows without them, median": Figure(1000 * percentile(before, 50), "ms"),
            "with them, median": Figure(1000 * percentile(meanwhile, 50), "ms"),
            "without them, 99 %": Figure(1000 * percentile(before, 99), "ms"),
            "with them, 99 %": Figure(1000 * percentile(meanwhile, 99), "ms")}


# largest, month

def largest(place: Installation) -> dict:
    count = place.options.largest
    file = place.bench.folder / "upload.json"
    head, tail = document([]).rsplit(b"]", 1)
    with file.open("wb") as body:
        body.write(head)
        for first in range(0, count, 10_000):
            body.write(b"," if first else b"")
            body.write(json.dumps(rows(min(10_000, count - first), first))[1:-1].encode())
        body.write(b"]" + tail)
    size = file.stat().st_size
    place.add_user("load@example.org")
    place.start("--largest-upload", max(512, size // MB + 1))
    token = place.token()
    send(connect(place.port), token, document(rows(10, count)))
    place.forget_peak()
    before, spent = place.memory(), place.processor_seconds()
    connection = http.client.HTTPConnection("127.0.0.1", place.port, timeout=PATIENCE, blocksize=1 << 18)
    begun = time.monotonic()
    with file.open("rb") as body:
        headers = {"Authorization": "Bearer " + token, "Content-Length": str(size), "Content-Type": "application/json"}
        connection.request("POST", "/api/activity-log", body, headers)
        sent = time.monotonic()
        answer = connection.getresponse()
        said = answer.read()
    ended = time.monotonic()
    if answer.status != 201 or json.loads(said)["stored"] != count:
        raise RuntimeError(f"the upload failed with {answer.status}: {said!r}")
    spent = place.processor_seconds() - spent
    return {"its size": Figure(size / MB, "MB"), "memory before": Figure(before, "MB"),
            "most memory meanwhile": Figure(place.memory("VmHWM"), "MB"), "sent in": Figure(sent - begun, "s"),
            "answered after": Figure(ended - begun, "s"), "processor time of the service": Figure(spent, "s")}


def month(place: Installation) -> dict:
    days, each = 22, 2000
    last = datetime.datetime.now(datetime.timezone.utc).replace(day=1) - datetime.timedelta(days=1)
    first = int(last.replace(day=1, hour=8, minute=0, second=0, microsecond=0).timestamp())
    a_day = place.options.month // days

    def activity(n):
        start = first + n // a_day * DAY + n % a_day
        return rows(1, n)[0] | {"duration_seconds": 1, "start_time": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(start))}
    place.add_user("load@example.org")
    place.start()
    token, connection = place.token(), connect(place.port)
    times = []
    for begin in range(0, place.options.month, each):
        times.append(send(connection, token,
                          document([activity(n) for n in range(begin, min(begin + each, place.options.month))])))
    place.stop()
    begun = time.monotonic()
    place.command("--summary")
    recounted = time.monotonic() - begun
    place.sql("update jobs set due = 0 where name = 'pack'")
    place.start()
    place.forget_peak()
    begun = time.monotonic()
    wait_for(lambda: place.number("select count(*) from days where pack is null") == 0, "packs", PATIENCE)
    packed = time.monotonic() - begun
    peak = place.memory("VmHWM")
    place.stop()
    begun = time.monotonic()
    place.command("--summary")
    summed = time.monotonic() - begun
    return {f"stored by uploads of {each}, rows a second": Figure(place.options.month / sum(times)), **milliseconds(times),
            "--summary that counts them": Figure(recounted, "s"), "packs of all their days": Figure(packed, "s"),
            "most memory of the service meanwhile": Figure(peak, "MB"), "--summary with packs": Figure(summed, "s")}


# migration

SCHEMA_2 = (
    "create table schema_version (version bigint not null primary key)",
    "insert into schema_version (version) values (1), (2)",
    "create table users (id bigint not null primary key, email text not null, email_key text not null unique, "
    "name text not null, phone_number text, password_hash text not null, created_at bigint not null)",
    "create table tokens (digest text not null primary key, user_id bigint not null references users (id) on delete "
    "cascade, device_id text not null, device_name text not null, created_at bigint not null)",
    "create index tokens_of_user on tokens (user_id, created_at)",
    "create table activities (user_id bigint not null references users (id) on delete cascade, digest text not null, "
    "device_id text not null, app_name text not null, window_title text, url text, start_time bigint not null, "
    "duration_seconds bigint not null, primary key (user_id, digest))",
    "create table removed_users (id bigint not null primary key)")


def series(place: Installation, count: int) -> str:
    """A source of rows with the column n, from 0 on."""
    return f"generate_series(0, {count - 1}) as given (n)" if place.postgres else \
        (f"(with recursive given (n) as (select 0 union all select n + 1 from given where n < {count - 1}) "
         "select n from given)")


TEXTS = ("'Application ' || (n % 40), 'Some document or page number ' || (n % 5000) || ' – a title of usual length', "
         "case when n % 3 = 0 then 'https://www.example.org/section/' || (n % 300) || '/page-' || (n % 5000) end")


def make_old_rows(place: Installation):
    """Everybody has as many rows, one every 30 seconds up to the day END_OF_OLD; the first user has a token."""
    count, users = place.options.old_rows, place.options.old_users
    each = -(-count // users)
    digest = hashlib.blake2b(len(TOKEN).to_bytes(8, "little") + TOKEN.encode(), digest_size=24).digest()
    name = base64.urlsafe_b64encode(digest).decode()
    random = "md5(n::text)" if place.postgres else "lower(hex(randomblob(16)))"
    begin = END_OF_OLD * DAY - 30 * each
    place.sql(*SCHEMA_2,
              "insert into users (id, email, email_key, name, password_hash, created_at) select n + 1, 'a' || n, 'a' || n, "
              f"'A', 'none', 1 from {series(place, users)}",
              "insert into tokens (digest, user_id, device_id, device_name, created_at) values "
              f"('{name}', 1, 'device', 'Desktop', 1)",
              "insert into activities (user_id, digest, device_id, app_name, window_title, url, start_time, "
              "duration_seconds) "
              f"select 1 + n / {each}, {random}, 'device', {TEXTS}, {begin} + 30 * (n % {each}), 1 + n % 90 "
              f"from {series(place, count)} order by 1, 2")


def migration(place: Installation) -> dict:
    make_old_rows(place)
    begun = time.monotonic()
    place.start()
    connection = connect(place.port)
    send(connection, TOKEN, document(rows(1)))
    answered = time.monotonic() - begun
    place.forget_peak()
    times, watched, left = [], 0, 1
    while watched < place.options.moving and left:
        times.append(send(connection, TOKEN, document(rows(10, 10 * len(times)))))
        time.sleep(0.1)
        left = place.number("select count(*) from users where old_rows > 0")
        watched = time.monotonic() - begun
    peak = place.memory("VmHWM")
    place.stop()
    moved = place.number(f"select count(*) from runs where start_day < {END_OF_OLD}")
    return {"start to the first answer": Figure(answered, "s"), **{f"meanwhile {name}": each for name, each in
                                                                   milliseconds(times).items()},
            "rows moved a second": Figure(moved / watched), "most memory of the service meanwhile": Figure(peak, "MB")}


# drop

def uploads_until(place: Installation, token: str, ended: threading.Event, times: list):
    connection = connect(place.port)
    while not ended.is_set():
        times.append(send(connection, token, document(rows(10, 10 * len(times)))))
    connection.close()


def make_old_month(place: Installation, first: int, after: int) -> int:
    """Rows from the day `first` to before `after`, whose days are sealed; the number of rows."""
    columns = ", ".join(COLUMNS)
    values = (f"1, {first} + n / {DAY} % {after - first}, n % {DAY}, {{}}, 1 + n % 90, 1, {TEXTS}, "
              "case when n % 3 = 0 then 'example.org' end")
    days = (f"insert into days (user_id, day, version, sealed) select 1, {first} + n, 1, 1 "
            f"from {series(place, after - first)}")
    if not place.postgres:
        count = place.options.drop_rows_sqlite
        place.sql(f"insert into runs ({columns}) select {values.format('n')} from {series(place, count)}", days)
        return count
    count = place.options.drop_rows
    name = f"runs_{OLD_MONTH[0]}_{OLD_MONTH[1]:02}"
    place.sql(f"begin; create table {name} (like runs including defaults); "
              f"insert into {name} ({columns}) select {values.format('n * 2654435761 % 4294967296 - 2147483648')} "
              f"from {series(place, count)}; "
              f"alter table {name} add primary key (user_id, start_day, start_second, digest), "
              f"add constraint month check (start_day >= {first} and start_day < {after}); commit",
              f"alter table runs attach partition {name} for values from ({first}) to ({after})", days,
              f"alter table {name} drop constraint month")
    place.bench.administer("psql", "-q", "-c", "checkpoint", "postgres")
    return count


def drop(place: Installation) -> dict:
    place.add_user("load@example.org")
    first, after = ((datetime.date(year, number, 1) - datetime.date(1970, 1, 1)).days
                    for year, number in (OLD_MONTH, (OLD_MONTH[0], OLD_MONTH[1] + 1)))
    count = make_old_month(place, first, after)
    size = place.number(OF_ALL_MONTHS.format("total_relation")) if place.postgres else 0
    place.start()
    token = place.token()
    alone, times, ended, seconds = [], [], threading.Event(), []
    connection = connect(place.port)
    for n in range(200):
        alone.append(send(connection, token, document(rows(10, 10 * n))))

    def prune():
        try:
            begun = time.monotonic()
            place.command("--prune", "--keep-runs", str(int(time.time()) // DAY - after - 31))
            seconds.append(time.monotonic() - begun)
        finally:
            ended.set()
    at_once([prune, lambda: uploads_until(place, token, ended, times)])
    if place.number(f"select count(*) from runs where user_id = 1 and start_day >= {first} and start_day < {after}"):
        raise RuntimeError("not everything was dropped")
    figures = {"its rows": Figure(count), "--prune, from its start to its end": Figure(seconds[0], "s"),
               "an upload of 10 rows before, 99 %": Figure(1000 * percentile(alone, 99), "ms"),
               "meanwhile, median": Figure(1000 * percentile(times, 50), "ms"),
               "meanwhile, the longest": Figure(1000 * max(times), "ms")}
    return figures | ({"its size": Figure(size / MB, "MB")} if place.postgres else
                      {"rows a second": Figure(count / seconds[0])})


# sign-ins

def sign_ins(place: Installation) -> dict:
    place.add_user("load@example.org")
    place.start()
    before = place.memory()
    each, runs = 4, []
    place.token()

    def client():
        for _ in range(each):
            place.token()
    for _ in range(place.options.runs):
        runs.append(place.options.clients * each / at_once([client] * place.options.clients))
    return {"a second": median(runs), "memory before": Figure(before, "MB"),
            "most memory": Figure(place.memory("VmHWM"), "MB"), "memory after": Figure(place.memory(), "MB")}


PARTS = {"few": few, "many": many, "idle": idle, "largest": largest, "month": month, "migration": migration, "drop": drop,
         "sign-ins": sign_ins}


def measure(part: str, database: str, options) -> dict:
    """The figures of a part, by name."""
    with Installation(database, options, FILLED_BY_SQL if part in ("migration", "drop") else ()) as place:
        return PARTS[part](place)
