# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Stands before the service on the port that the agent knows, and has a third of the uploads fail."""

import enum
import http.client
import itertools
import random
import socket
import struct
import threading
import time

from account import Deliveries

UPLOAD = "/api/activity-log"
REFUSES_FOR = 7.0  # seconds; longer than from one upload to the next
SLOW = 4.0
IN_A_ROW = 4  # failures that are decided here; a refusal makes one more


class Fate(enum.Enum):
    """What becomes of an upload."""
    PASSED = "passed"
    SLOW = "passed, slowly"
    RESET = "connection reset before the service got it"
    REFUSED = "the same, and the next one is refused"
    HALF = "service gets half of it"
    ERROR = "answer 500 instead of the service's"
    BUSY = "answer 503 instead of the service's"
    LOST = "delivered, no answer"
    CUT = "delivered, answer cut"


PASSES = {Fate.PASSED, Fate.SLOW}


def fates(dice: random.Random):
    """For ever: in 23 uploads 7 fates that fail, of which one makes another upload fail: a third."""
    while True:
        bag = [fate for fate in Fate if fate not in PASSES] + 14 * [Fate.PASSED] + 2 * [Fate.SLOW]
        dice.shuffle(bag)
        while longest_row_of_failures(bag) > IN_A_ROW:
            dice.shuffle(bag)
        yield from bag


def longest_row_of_failures(bag: list) -> int:
    return max(len(list(row)) for fails, row in itertools.groupby(bag, lambda fate: fate not in PASSES) if fails)


class Front:
    """Everything but uploads passes as it is. Works on threads of its own."""

    def __init__(self, port: int, service_port: int, dice: random.Random):
        self.deliveries = Deliveries()
        self.met = {fate: 0 for fate in Fate}
        self.repeated = 0
        self._latest = b"", Fate.PASSED
        self._port, self._service_port = port, service_port
        self._fates = fates(dice)
        self._is_calm = False
        self._is_last = False
        self._guard = threading.Lock()
        self._refuses_until = 0.0
        self._closed = threading.Event()
        self._listens = threading.Event()
        self._acceptor = threading.Thread(target=self._accept, daemon=True)
        self._acceptor.start()
        if not self._listens.wait(20):
            raise OSError(f"port {port} is taken")

    def close_after_next_delivery(self) -> None:
        """No more faults; one more upload arrives and is answered, then nothing does any more."""
        with self._guard:
            self._is_calm = True
            self._is_last = True

    def close(self) -> None:
        self._closed.set()
        self._acceptor.join()

    @property
    def is_closed(self) -> bool:
        return self._closed.is_set()

    def _listen(self) -> socket.socket:
        listener = socket.create_server(("127.0.0.1", self._port))
        listener.settimeout(0.1)
        return listener

    def _accept(self):
        listener = self._listen()
        self._listens.set()
        while not self._closed.is_set():
            refuses = time.monotonic() < self._refuses_until and not self._is_calm
            if refuses and listener:
                listener.close()
                listener = None
            elif refuses:
                time.sleep(0.1)
            elif not listener:
                listener = self._listen()
            else:
                try:
                    connection, _ = listener.accept()
                except TimeoutError:
                    continue
                threading.Thread(target=self._serve, args=(connection,), daemon=True).start()
        if listener:
            listener.close()

    def _serve(self, connection: socket.socket):
        connection.settimeout(30)
        try:
            with connection:
                while not self._closed.is_set() and (request := read_request(connection)):
                    if not self._treat(connection, *request):
                        return
        except OSError:
            pass  # the agent has ended, or closed what it needs no more

    def _treat(self, connection, method: str, path: str, headers: dict, body: bytes) -> bool:
        """False when nothing more is to come over this connection."""
        if path != UPLOAD:
            connection.sendall(answer(*self._ask(method, path, headers, body)))
            return True
        with self._guard:  # an upload at a time, as the agent sends them
            if self._closed.is_set():
                return reset(connection)
            fate = self._fate_of(body)
            return self._deliver(connection, fate, method, headers, body)

    def _fate_of(self, body: bytes) -> Fate:
        """One fate an upload: the agent's toolkit tries again by itself when a connection that it kept is reset."""
        if self._is_calm:
            return Fate.PASSED
        if body != self._latest[0]:
            self._latest = body, next(self._fates)
            self.met[self._latest[1]] += 1
        else:
            self.repeated += 1
        return self._latest[1]

    def _deliver(self, connection, fate: Fate, method: str, headers: dict, body: bytes) -> bool:
        if fate is Fate.ERROR:
            connection.sendall(answer(500, b'{"message":"out of order"}'))
            return True
        if fate is Fate.BUSY:
            connection.sendall(answer(503, b'{"message":"come back later"}', "Retry-After: 1\r\n"))
            return True
        if fate in {Fate.RESET, Fate.REFUSED}:
            if fate is Fate.REFUSED:
                self._refuses_until = time.monotonic() + REFUSES_FOR
            return reset(connection)
        if fate is Fate.HALF:
            self._send_half(headers, body)
            return reset(connection)
        status, text = self._ask(method, UPLOAD, headers, body)
        whole = answer(status, text)
        if status == 201:
            self.deliveries.add(body, is_acknowledged=fate in PASSES)
        if fate is Fate.LOST:
            return reset(connection)
        if fate is Fate.CUT:
            connection.sendall(whole[:-5])
            connection.shutdown(socket.SHUT_RDWR)
            return False
        if fate is Fate.SLOW:
            time.sleep(SLOW)
        if status == 201 and self._is_last:
            self._closed.set()
        connection.sendall(whole)
        return True

    def _ask(self, method: str, path: str, headers: dict, body: bytes):
        service = http.client.HTTPConnection("127.0.0.1", self._service_port, timeout=60)
        try:
            # Without compression, so that an agent to which the end is missing can see it by the length.
            own = {"host", "connection", "content-length", "accept-encoding"}
            service.request(method, path, body, {name: value for name, value in headers.items() if name not in own})
            reply = service.getresponse()
            return reply.status, reply.read()
        finally:
            service.close()

    def _send_half(self, headers: dict, body: bytes):
        with socket.create_connection(("127.0.0.1", self._service_port), timeout=60) as service:
            head = "".join(f"{name}: {value}\r\n" for name, value in headers.items())
            service.sendall(f"POST {UPLOAD} HTTP/1.1\r\n{head}\r\n".encode("latin-1") + body[:len(body) // 2])
            service.shutdown(socket.SHUT_WR)
            while service.recv(65536):
                pass


def read_request(connection: socket.socket):
    """(method, path, headers in lower case, body); None at the end of the connection."""
    data = b""
    while b"\r\n\r\n" not in data:
        more = connection.recv(65536)
        if not more:
            return None
        data += more
    head, _, body = data.partition(b"\r\n\r\n")
    first, *lines = head.decode("latin-1").split("\r\n")
    method, path, _ = first.split(" ")
    headers = {name.lower(): value.strip() for name, _, value in (line.partition(":") for line in lines)}
    while len(body) < int(headers.get("content-length", 0)):
        more = connection.recv(65536)
        if not more:
            return None
        body += more
    return method, path, headers, body


def answer(status: int, body: bytes, more: str = "") -> bytes:
    head = f"HTTP/1.1 {status} {http.client.responses[status]}\r\nContent-Type: application/json\r\n"
    return f"{head}{more}Content-Length: {len(body)}\r\n\r\n".encode() + body


def reset(connection: socket.socket) -> bool:
    """Has the agent see a connection that was reset."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()
    return False
