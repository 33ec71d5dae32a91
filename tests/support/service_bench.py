# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""PostgreSQL, nginx and instances of velomira-service on this machine, for Python programs that try
the service as an operator runs it. Everything is in one temporary folder, listens on loopback only and
ends with the program, however that ends.
"""

import http.client
import json
import os
import pathlib
import pwd
import re
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import time

PATIENCE = 60


def wait_for(condition, what: str, seconds: float = PATIENCE):
    """The first true answer of `condition`."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise RuntimeError(f"{what} did not come within {seconds} s")
        time.sleep(0.02)


def free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def postgres_folder() -> pathlib.Path | None:
    """The programs of the newest PostgreSQL that is installed."""
    found = [p.parent for p in pathlib.Path("/usr/lib/postgresql").glob("*/bin/postgres")]
    return max(found, key=lambda folder: int(folder.parent.name), default=None)


def program(name: str) -> str | None:
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")


def missing_programs() -> list:
    missing = [name for name in ("nginx", "openssl", "setpriv", "psql", "pg_dump", "pg_restore") if not program(name)]
    return missing + ([] if postgres_folder() else ["postgresql"])


class Bench:
    """The folder and the processes. One thread."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="velomira-service-")
        self.folder = pathlib.Path(self._folder.name)
        self._started = []
        self.user = pwd.getpwuid(os.geteuid()).pw_name
        # PostgreSQL does not run as root.
        own = self.user != "root"
        self._server_user = pwd.getpwuid(os.geteuid()) if own else pwd.getpwnam("postgres")
        self.as_server = [] if own else [f"--reuid={self._server_user.pw_uid}", f"--regid={self._server_user.pw_gid}",
                                          "--clear-groups"]
        self.postgres = None

    def close(self):
        for process in reversed(self._started):
            self.end(process)
        self._folder.cleanup()

    def start(self, command: list, log: str, as_server=False, **options) -> subprocess.Popen:
        """Starts `command`, which ends with this process; what it says goes to the file `log`."""
        with (self.folder / log).open("ab") as output:
            process = subprocess.Popen(
                ["setpriv", "--pdeathsig=KILL", *(self.as_server if as_server else []), *map(str, command)],
                stdin=subprocess.DEVNULL, stdout=output, stderr=output, cwd=self.folder, **options)
        self._started.append(process)
        return process

    def end(self, process: subprocess.Popen, how: int = signal.SIGTERM) -> int:
        """Ends it unless it has ended, and returns its exit code."""
        if process.poll() is None:
            process.send_signal(how)
            try:
                process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        return process.returncode

    def run(self, command: list, as_server=False, **options) -> str:
        done = subprocess.run(
            ["setpriv", "--pdeathsig=KILL", *(self.as_server if as_server else []), *map(str, command)],
            capture_output=True, text=True, check=False, cwd=self.folder, **options)
        if done.returncode:
            raise RuntimeError(f"{command[0]} failed: {done.stdout}{done.stderr}")
        return done.stdout

    def text(self, log: str) -> str:
        return (self.folder / log).read_text(encoding="utf-8", errors="replace")

    # PostgreSQL

    def start_postgres(self, options=()):
        """A server that is reached over its socket only and knows users by their names on the system."""
        if not (self.folder / "data").exists():
            os.chmod(self.folder, 0o755)
            self.socket = self.folder / "socket"
            for folder in (self.folder / "data", self.socket):
                folder.mkdir()
                os.chown(folder, self._server_user.pw_uid, self._server_user.pw_gid)
            self.run([postgres_folder() / "initdb", "--pgdata", self.folder / "data", "--auth=peer", "--encoding=UTF8",
                      "--locale=C.UTF-8", f"--username={self._server_user.pw_name}", "--no-sync"], as_server=True)
        ready = self.folder / "data/postmaster.pid"
        ready.unlink(missing_ok=True)
        self.postgres = self.start(
            [postgres_folder() / "postgres", "-D", self.folder / "data", "-k", self.socket, "-c", "listen_addresses=",
             *[word for option in options for word in ("-c", option)]], "postgres.log", as_server=True)
        wait_for(lambda: self.postgres.poll() is not None or
                 (ready.exists() and "ready" in ready.read_text(encoding="utf-8")), "PostgreSQL")
        if self.postgres.poll() is not None:
            raise RuntimeError("PostgreSQL did not start: " + self.text("postgres.log"))

    def stop_postgres(self):
        self.end(self.postgres, signal.SIGINT)  # without waiting for those who are connected

    def administer(self, *command) -> str:
        """A program of PostgreSQL, as its superuser."""
        return self.run([command[0], "--host", self.socket, *command[1:]], as_server=True)

    def database(self, name: str) -> str:
        """What velomira-service is told of the database; who it is, the socket tells."""
        return f"postgresql:///{name}?host={self.socket}"

    # The service

    def service(self, executable, *arguments, text: str = "") -> str:
        """A command of the service's; its output."""
        return self.run([executable, *arguments], input=text)

    def start_service(self, executable, database, log: str, *arguments, port: int = 0, **options):
        """The process and its port; 0 takes any that is free."""
        said = self.folder / log
        before = len(self.text(log)) if said.exists() else 0
        process = self.start([executable, "--database", database, "--port", port, *arguments], log, **options)

        def announced():
            return re.search(r"listening on http://127\.0\.0\.1:(\d+)\n", self.text(log)[before:])
        wait_for(lambda: process.poll() is not None or announced(), "the service")
        if process.poll() is not None:
            raise RuntimeError("the service did not start: " + self.text(log))
        return process, int(announced()[1])

    # nginx

    def make_certificate(self):
        """An authority of ours and what it says of 127.0.0.1."""
        new_key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"]
        self.run(["openssl", "req", "-x509", *new_key, "-keyout", "ca.key", "-out", "ca.pem", "-subj", "/CN=Authority"])
        self.run(["openssl", "req", "-x509", *new_key, "-keyout", "server.key", "-out", "server.pem",
                  "-subj", "/CN=Server", "-CA", "ca.pem", "-CAkey", "ca.key", "-addext",
                  "subjectAltName=IP:127.0.0.1", "-addext", "basicConstraints=critical,CA:FALSE"])

    def start_nginx(self, site: str):
        """nginx with `site` inside its http block."""
        temporary = "".join(f"{kind}_temp_path {self.folder}/nginx-{kind};\n"
                            for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        (self.folder / "nginx.conf").write_text(
            f"daemon off;\nmaster_process off;\npid {self.folder}/nginx.pid;\nerror_log stderr;\n"
            f"events {{}}\nhttp {{\n{temporary}access_log off;\n{site}\n}}\n", encoding="utf-8")
        command = [program("nginx"), "-p", self.folder, "-c", self.folder / "nginx.conf", "-e", "stderr"]
        self.run([*command, "-t"])
        nginx = self.start(command, "nginx.log")
        port = int(re.search(r"listen 127\.0\.0\.1:(\d+)", site)[1])
        wait_for(lambda: nginx.poll() is not None or answers(port), "nginx")
        if nginx.poll() is not None:
            raise RuntimeError("nginx did not start: " + self.text("nginx.log"))
        return nginx


def answers(port: int) -> bool:
    try:
        socket.create_connection(("127.0.0.1", port), 1).close()
        return True
    except OSError:
        return False


def connect(port: int, authority: pathlib.Path | None = None, source: str | None = None):
    """A connection that is kept, with TLS when there is an authority to believe."""
    options = {"timeout": 300, "source_address": (source, 0) if source else None}
    if authority is None:
        return http.client.HTTPConnection("127.0.0.1", port, **options)
    context = ssl.create_default_context(cafile=authority)
    return http.client.HTTPSConnection("127.0.0.1", port, context=context, **options)


def post(connection, path: str, body, headers=None):
    """Status and answer; `body` is sent as it is when it is bytes, else as JSON."""
    content = body if isinstance(body, bytes) else json.dumps(body).encode()
    connection.request("POST", path, content, {"Content-Type": "application/json", **(headers or {})})
    answer = connection.getresponse()
    return answer.status, answer.read()


def sign_in(connection, email: str, password: str) -> str:
    """The token."""
    status, answer = post(connection, "/api/token",
                          {"email": email, "password": password, "device_name": "Desktop", "device_id": "device"})
    if status != 200:
        raise RuntimeError(f"signing in failed with {status}: {answer!r}")
    return json.loads(answer)["token"]


def rows(count: int, first: int = 0) -> list:
    """So many different rows of the size that is usual."""
    return [{"app_name": f"Application {n % 40}",
             "window_title": f"Some document or page number {n % 5000} – a title of usual length",
             "url": f"https://www.example.org/section/{n % 300}/page-{n % 5000}" if n % 3 == 0 else None,
             "duration_seconds": 1 + n % 90,
             "start_time": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(1_790_000_000 + 30 * n))}
            for n in range(first, first + count)]


def upload(connection, token: str, activities: list, device: str = "device", padding: int = 0):
    """Status and answer of an upload; blanks are added to make it `padding` bytes long."""
    body = json.dumps({"device_id": device, "sync_timestamp": "2026-11-21T09:30:00Z", "interval_minutes": 5,
                       "activities": activities}).encode()
    return post(connection, "/api/activity-log", body.ljust(padding), {"Authorization": "Bearer " + token})
