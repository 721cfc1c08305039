"""X servers that are mute, slow, closing, or send garbage, and a proxy through which a server becomes so midway."""

import os
import random
import select
import signal
import socket
import struct
import threading
import time
from contextlib import contextmanager

from runs import Case

OPTION = "-CheckOpenGL"
FOLDER = "/tmp/.X11-unix"
# Servers that look for a free number start at 0.
FIRST_NUMBER = 3000


class Listener:
    """A socket where clients look for an X server, under a free display number."""

    def __init__(self, backlog=64):
        self.socket = socket.socket(socket.AF_UNIX)
        for number in range(FIRST_NUMBER, FIRST_NUMBER + 1000):
            self.path = f"{FOLDER}/X{number}"
            try:
                self.socket.bind(self.path)
                break
            except OSError:
                continue
        else:
            raise RuntimeError("There is no free display number.")
        self.display = f":{number}"
        # The tool may run as another user.
        os.chmod(self.path, 0o777)
        self.socket.listen(backlog)

    def close(self):
        self.socket.close()
        os.unlink(self.path)


class IllServer:
    """Serves each client on a thread with `serve(connection)`, and closes the connection then."""

    def __init__(self, serve, backlog=64):
        self.serve = serve
        self.listener = Listener(backlog)
        self.display = self.listener.display
        self.end = threading.Event()
        self.thread = threading.Thread(target=self._accept)
        self.thread.start()

    def _accept(self):
        threads = []
        while not self.end.is_set():
            if self.serve is not None and select.select([self.listener.socket], [], [], 0.05)[0]:
                threads.append(threading.Thread(target=self._serve, args=(self.listener.socket.accept()[0],)))
                threads[-1].start()
            else:
                self.end.wait(0.05)
        for thread in threads:
            thread.join()

    def _serve(self, connection):
        with connection:
            connection.settimeout(0.2)
            try:
                self.serve(connection, self.end)
            except OSError:
                pass  # The client has gone.

    def close(self):
        self.end.set()
        self.thread.join()
        self.listener.close()


@contextmanager
def ill_server(serve, backlog=64):
    server = IllServer(serve, backlog)
    try:
        yield server.display
    finally:
        server.close()


def be_mute(connection, end):
    while not end.is_set():
        try:
            if not connection.recv(65536):
                return
        except TimeoutError:
            pass


def close_at_once(connection, end):
    pass


def close_after_request(connection, end):
    connection.recv(65536)


def reset(connection, end):
    """Closes with unread data, which is a reset for the client."""
    select.select([connection], [], [], 5)


def answer(data, stays=True, pause=0.0):
    """Sends these bytes to the first request; after that it is mute, or closes."""

    def serve(connection, end):
        connection.recv(65536)
        for index in range(0, len(data), 1 if pause else max(len(data), 1)):
            connection.sendall(data[index:index + (1 if pause else len(data))])
            if pause and end.wait(pause):
                return
        if stays:
            be_mute(connection, end)

    return serve


def pour(seed):
    """Sends random bytes for as long as the client takes them."""

    def serve(connection, end):
        generator = random.Random(seed)
        connection.recv(65536)
        while not end.is_set():
            connection.sendall(generator.randbytes(4096))

    return serve


def get_setup(status, length, body=b"", reason_length=0):
    """The head of a server's first reply (X protocol, connection setup)."""
    return struct.pack("<BBHHH", status, reason_length, 11, 0, length) + body


def get_answers(generator):
    yield "a refusal", get_setup(0, 2, b"refused\0", 7)
    yield "a refusal without end", get_setup(0, 65535, b"refused", 255)
    yield "a wish for authentication", get_setup(2, 1, b"why\0")
    yield "a reply without a body", get_setup(1, 0)
    yield "a reply that is too short", get_setup(1, 2, bytes(8))
    yield "a reply of zeros", get_setup(1, 1000, bytes(4000))
    yield "a reply of ones", get_setup(1, 1000, b"\xff" * 4000)
    yield "a reply that never ends", get_setup(1, 65535, bytes(100))
    yield "one byte", b"\1"
    yield "an unknown status", b"\7" + bytes(100)
    yield "text", b"HTTP/1.1 400 Bad Request\r\n\r\n"
    for index in range(20):
        length = generator.choice([8, 100, 1000])
        yield f"a random reply, {index}", get_setup(1, length, generator.randbytes(4 * length))


def get_ill_servers(generator):
    yield "a mute server", be_mute, 64
    yield "a server that does not accept", None, 64
    yield "a server whose queue is full", None, 0
    yield "a server that closes at once", close_at_once, 64
    yield "a server that closes after a request", close_after_request, 64
    yield "a server that resets the connection", reset, 64
    yield "a server that sends random bytes without end", pour(generator.random()), 64
    yield "a server that sends zeros slowly", answer(bytes(10000), pause=0.01), 64
    for name, data in get_answers(generator):
        yield f"a server that answers {name} and closes", answer(data, stays=False), 64
        yield f"a server that answers {name} and is silent", answer(data), 64
        if len(data) < 5000:
            yield f"a server that answers {name} slowly", answer(data, pause=0.002), 64


class Proxy:
    """Forwards what clients and server send. From byte `place` of `direction` on something is done to it."""

    def __init__(self, server_display, direction="", place=0, fault="", seed=0, on_place=None):
        self.server_path = f"{FOLDER}/X{server_display[1:]}"
        self.direction = direction
        self.place = place
        self.fault = fault
        self.random = random.Random(seed)
        self.on_place = on_place
        self.counts = {"requests": 0, "replies": 0}
        self.is_silent = False
        self.listener = Listener()
        self.display = self.listener.display
        self.wake, self.end = os.pipe()
        self.partners = {}  # Of each socket, the one on the other side.
        self.directions = {}  # Of each socket, the direction of what comes from it.
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()

    def close(self):
        os.close(self.end)
        self.thread.join()
        os.close(self.wake)

    def _serve(self):
        is_open = True
        while is_open:
            ready = select.select([self.wake, self.listener.socket, *self.partners], [], [])[0]
            is_open = self.wake not in ready
            if is_open and self.listener.socket in ready:
                self._connect()
            for source in ready:
                if is_open and source in self.partners:
                    is_open = self._forward(source)
        for open_socket in self.partners:
            open_socket.close()
        self.listener.close()

    def _connect(self):
        client = self.listener.socket.accept()[0]
        server = socket.socket(socket.AF_UNIX)
        try:
            server.connect(self.server_path)
        except OSError:
            client.close()
            server.close()
            return
        self.partners.update({client: server, server: client})
        self.directions.update({client: "requests", server: "replies"})

    def _forward(self, source):
        """False if the proxy closes."""
        target = self.partners[source]
        direction = self.directions[source]
        try:
            data = source.recv(65536)
        except OSError:
            data = b""
        if not data:
            for gone in source, target:
                gone.close()
                del self.partners[gone], self.directions[gone]
            return True
        begin = self.counts[direction]
        self.counts[direction] += len(data)
        if self.is_silent:
            return True
        if direction == self.direction and self.place < self.counts[direction]:
            data = self._disturb(data, max(self.place - begin, 0))
        try:
            target.sendall(data)
        except OSError:
            pass  # It has gone; the next turn sees that.
        if self.fault == "slow":
            time.sleep(0.02)
        return not (self.fault == "close" and self.counts.get(self.direction, 0) > self.place)

    def _disturb(self, data, offset):
        """What is forwarded instead of `data`, of which `offset` is the place or behind it."""
        if self.on_place is not None:
            self.on_place()
            self.on_place = None
        if self.fault in ("close", "silence"):
            self.is_silent = self.fault == "silence"
            return data[:offset]
        if self.fault == "garbage":
            return data[:offset] + self.random.randbytes(len(data) - offset)
        if self.fault == "one wrong byte":
            self.direction = ""
            return data[:offset] + bytes([data[offset] ^ self.random.randrange(1, 256)]) + data[offset + 1:]
        return data


def through_proxy(direction="", place=0, fault="", seed=0):
    @contextmanager
    def around(runner):
        proxy = Proxy(runner.display, direction, place, fault, seed)
        try:
            yield proxy.display
        finally:
            proxy.close()

    return around


def through_signalled_server(start_server, place, number):
    """A server of the case's own, which gets a signal when the client has sent so many bytes."""

    @contextmanager
    def around(_):
        with start_server() as server:
            proxy = Proxy(server.display, "requests", place, on_place=lambda: server.process.send_signal(number))
            try:
                yield proxy.display
            finally:
                proxy.close()

    return around


def count_bytes(runner):
    """How many bytes client and server send without a fault."""
    counts = {}

    @contextmanager
    def around(_):
        proxy = Proxy(runner.display)
        try:
            yield proxy.display
        finally:
            counts.update(proxy.counts)
            proxy.close()

    runner.run(Case("", "", OPTION, around=around))
    return counts


# How many places of each direction a fault of the proxy is tried at.
PLACES = {"close": 200, "silence": 25, "garbage": 100, "one wrong byte": 300}


def get_cases(runner, seed, start_server):
    generator = random.Random(f"{seed} servers")
    for name, serve, backlog in get_ill_servers(generator):
        yield Case("servers", name, OPTION, fault="an ill server",
                   around=lambda _, serve=serve, backlog=backlog: ill_server(serve, backlog))
    counts = count_bytes(runner)
    yield Case("servers", "a slow proxy", OPTION, fault="slow", around=through_proxy(fault="slow"))
    for fault, places in PLACES.items():
        for direction in ["replies"] if fault in ("garbage", "one wrong byte") else ["requests", "replies"]:
            for index in range(places):
                place = index * counts[direction] // places
                yield Case("servers", f"{fault} at byte {place} of the {direction}", OPTION, fault=fault,
                           around=through_proxy(direction, place, fault, generator.random()))
    for fault, number, places in [("killed", signal.SIGKILL, 20), ("stopped", signal.SIGSTOP, 5)]:
        for index in range(places):
            place = index * counts["requests"] // places
            yield Case("servers", f"{fault} at byte {place} of the requests", OPTION, fault=fault,
                       around=through_signalled_server(start_server, place, number))
