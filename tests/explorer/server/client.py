"""A client of the explorer's server that is not the page: HTTP and WebSocket by the standard library,
questions and answers by docs/explorer-protocol.md."""

import base64
import http.client
import json
import os
import pathlib
import re
import select
import signal
import socket
import struct
import subprocess
import time

PROGRAM = os.environ["MARROWFIN_EXPLORER"]
ELEMENT_TYPES = {1: ("B", 1), 2: ("H", 2), 3: ("I", 4), 4: ("Q", 8), 5: ("i", 4), 6: ("f", 4), 7: ("d", 8)}


class Server:
    """A server of some traces, until the block ends."""

    def __init__(self, *traces, arguments=(), environment=None, program=PROGRAM, folder=None):
        words = [str(program), "--no-browser", *arguments]
        if "--port" not in arguments:
            words += ["--port", "0"]
        words += map(str, traces)
        self.process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env={**os.environ, **(environment or {})}, cwd=folder)
        self.link = self.process.stdout.readline().decode().strip()
        match = re.fullmatch(r"http://(.+):(\d+)/\?token=([0-9A-Za-z]+)", self.link)
        assert match, (self.link, self.process.stderr.read() if self.link == "" else "")
        self.host, self.port, self.token = match[1], int(match[2]), match[3]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self, number=signal.SIGTERM):
        """Ends it; returns its status and what it said."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        out, err = self.process.communicate(timeout=30)
        return self.process.returncode, out, err

    def headers(self, **more):
        return {"Authorization": "Bearer " + self.token, **more}

    def request(self, method, target, body=None, headers=None, address="127.0.0.1"):
        """A request with exactly these headers; those of the token where there are none."""
        connection = http.client.HTTPConnection(address, self.port, timeout=30)
        connection.putrequest(method, target, skip_host=True, skip_accept_encoding=True)
        fields = {"Host": f"127.0.0.1:{self.port}", **(self.headers() if headers is None else headers)}
        if body is not None:
            fields.setdefault("Content-Length", str(len(body)))
        for name, value in fields.items():
            if value is not None:
                connection.putheader(name, value)
        connection.endheaders(body)
        reply = connection.getresponse()
        reply.bytes = reply.read()
        connection.close()
        return reply

    def raw(self, data, seconds=30):
        """What comes back for bytes, until the server closes."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=seconds) as connection:
            connection.sendall(data)
            got = b""
            while True:
                try:
                    part = connection.recv(65536)
                except ConnectionResetError:
                    return got
                if not part:
                    return got
                got += part

    def status(self):
        return json.loads(self.request("GET", "/api/status").bytes)

    def until_ready(self):
        end = time.monotonic() + 60
        while True:
            status = self.status()
            if all(trace["state"] == "ready" for trace in status["traces"]):
                return status
            assert time.monotonic() < end, status
            time.sleep(0.01)

    def question(self, ask, trace=0, **members):
        fingerprint = self.status()["traces"][trace]["fingerprint"]
        return {"protocol": 1, "trace": fingerprint, "ask": ask, **members}

    def ask(self, ask, trace=0, **members):
        body = json.dumps(self.question(ask, trace, **members)).encode()
        reply = self.request("POST", "/api/ask", body, self.headers(**{"Content-Type": "application/json"}))
        assert reply.status == 200, reply.bytes
        return Answer(reply.bytes)

    def memory(self):
        """What the process takes of memory, in bytes, without what it shares with files."""
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return int(re.search(r"RssAnon:\s+(\d+) kB", text)[1]) * 1024


class Answer:
    """An answer, read by the document."""

    def __init__(self, data):
        magic, protocol, head_size, count = struct.unpack_from("<4sIII", data)
        assert magic == b"MFEA" and protocol == 1
        entries = [struct.unpack_from("<IIQ", data, 16 + 16 * i) for i in range(count)]
        at = 16 + 16 * count
        self.head = json.loads(data[at:at + head_size])
        at += head_size
        assert len(self.head["columns"]) == count
        self.columns = {}
        for name, (kind, zero, elements) in zip(self.head["columns"], entries):
            at = (at + 7) // 8 * 8
            code, size = ELEMENT_TYPES[kind]
            assert zero == 0 and at + elements * size <= len(data)
            self.columns[name] = list(struct.unpack_from(f"<{elements}{code}", data, at))
            at += elements * size

    @property
    def code(self):
        return self.head.get("error", {}).get("code", "")


class Socket:
    """A WebSocket, without masks that anybody could not foresee."""

    def __init__(self, server, headers=None, **more):
        self.socket = socket.create_connection(("127.0.0.1", server.port), timeout=30)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)  # whatever is sent goes at once
        fields = {"Host": f"127.0.0.1:{server.port}", "Connection": "keep-alive, Upgrade", "Upgrade": "websocket",
                  "Sec-WebSocket-Version": "13",
                  "Sec-WebSocket-Key": base64.b64encode(os.urandom(16)).decode(),
                  **(server.headers() if headers is None else headers), **more}
        lines = ["GET /api/socket HTTP/1.1"] + [f"{name}: {value}" for name, value in fields.items()]
        self.socket.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())
        self.buffer = b""
        while b"\r\n\r\n" not in self.buffer:
            part = self.socket.recv(4096)
            assert part, self.buffer
            self.buffer += part
        head, self.buffer = self.buffer.split(b"\r\n\r\n", 1)
        self.status = int(head.split()[1])
        self.head = head.decode()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, payload, opcode=2):
        front = bytes([0x80 | opcode])
        size = len(payload)
        if size < 126:
            front += bytes([0x80 | size])
        elif size < 65536:
            front += bytes([0x80 | 126]) + struct.pack(">H", size)
        else:
            front += bytes([0x80 | 127]) + struct.pack(">Q", size)
        self.socket.sendall(front + b"\0\0\0\0" + payload)

    def ask(self, number, question):
        text = json.dumps(question).encode() if question else b""
        self.send(struct.pack("<II", number, 0) + text)

    def _take(self, size):
        while len(self.buffer) < size:
            part = self.socket.recv(1 << 20)
            if not part:
                raise EOFError
            self.buffer += part
        taken, self.buffer = self.buffer[:size], self.buffer[size:]
        return taken

    def receive(self):
        """(opcode, payload) of the next message."""
        first, second = self._take(2)
        size = second & 127
        if size == 126:
            size = struct.unpack(">H", self._take(2))[0]
        elif size == 127:
            size = struct.unpack(">Q", self._take(8))[0]
        return first & 15, self._take(size)

    def answer(self):
        """(number, answer) of the next answer; news are passed over."""
        while True:
            opcode, payload = self.receive()
            if opcode == 8:
                raise EOFError
            if opcode == 2:
                number, zero = struct.unpack_from("<II", payload)
                assert zero == 0
                return number, Answer(payload[8:])

    def news(self):
        """The next news; answers are passed over."""
        while True:
            opcode, payload = self.receive()
            if opcode == 8:
                raise EOFError
            if opcode == 1:
                return json.loads(payload)

    def is_quiet(self, seconds):
        return not self.buffer and not select.select([self.socket], [], [], seconds)[0]


def record(kind, cycle, thread, *places):
    """The bytes of a record."""
    number = {"switch": 2, "fire": 3, "send": 4}[kind]
    payload = struct.pack(f">{len(places)}I", *places)
    return struct.pack(">IQII", number, cycle, thread, len(payload)) + payload


def fires(count, first=1):
    return b"".join(record("fire", first + i, i % 3, i % 4, i // 4 % 4) for i in range(count))
