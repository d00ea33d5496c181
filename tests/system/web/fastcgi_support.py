"""A small FastCGI client, and a server process for it."""

import os
import socket
import struct
import subprocess
import time

from web_support import AS_SYSTEM, PROGRAM, CgiTransport, parse_answer

BEGIN, END, PARAMS, STDIN, STDOUT = 1, 3, 4, 5, 6


def record(kind, content=b""):
    return struct.pack(">BBHHBx", 1, kind, 1, len(content), 0) + content


def pairs(variables):
    def length(data):
        return bytes([len(data)]) if len(data) < 128 else struct.pack(">I", len(data) | 1 << 31)
    coded = ((name.encode(), value) for name, value in variables.items())
    return b"".join(length(name) + length(value) + name + value for name, value in coded)


class Connection:
    """One request, whose answer is read when the test wants it."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(60)
        self.socket.connect(str(path))
        self.data = bytearray()
        self.output = bytearray()
        self.ended = False

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, variables, body=b"", begin=b""):
        """Sends a request.  The variables of `begin` are coded already."""
        self.socket.sendall(record(BEGIN, struct.pack(">HB5x", 1, 0)))
        coded = begin + pairs(variables)
        for start in range(0, len(coded), 60000):
            self.socket.sendall(record(PARAMS, coded[start:start + 60000]))
        self.socket.sendall(record(PARAMS))
        for start in range(0, len(body), 60000):
            self.socket.sendall(record(STDIN, body[start:start + 60000]))

    def finish(self):
        """Ends the request, and reads its answer to the end."""
        self.socket.sendall(record(STDIN))
        while self.read_some():
            pass
        return parse_answer(bytes(self.output), False)

    def read_some(self, size=1 << 20):
        """Reads once.  False at the end of the connection."""
        try:
            got = self.socket.recv(size)
        except ConnectionResetError:  # cut off, with a part of the request unread
            got = b""
        self.data += got
        begin = 0
        while len(self.data) - begin >= 8:
            _, kind, _, length, padding = struct.unpack_from(">BBHHBx", self.data, begin)
            if len(self.data) - begin < 8 + length + padding:
                break
            if kind == STDOUT:
                self.output += memoryview(self.data)[begin + 8:begin + 8 + length]
            elif kind == END:
                self.ended = True
            begin += 8 + length + padding
        del self.data[:begin]
        return bool(got)


class FastCgiTransport(CgiTransport):
    """Runs the program as a FastCGI server on a socket of the file system."""

    def __init__(self, folder, **account):
        super().__init__(**account)
        self.path = folder / "socket"
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(self.path))
        self.listener.listen(128)
        self.process = subprocess.Popen([PROGRAM], stdin=self.listener,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        env={"TZ": "UTC"}, cwd="/",
                                        **(account or AS_SYSTEM))

    def stop(self):
        self.process.terminate()
        return self.process.wait(60)

    def connect(self):
        return Connection(self.path)

    def send(self, method, target, headers, body, address, **more):
        with self.connect() as connection:
            connection.send(self.environment(method, target, headers, address, **more), body)
            answer = connection.finish()
            answer.ended = connection.ended
            return answer

    def workers(self):
        return children(self.process.pid)


def children(process):
    path = f"/proc/{process}/task/{process}/children"
    with open(path, encoding="ascii") as file:
        return [int(child) for child in file.read().split()]


def is_sanitized():
    """Whether the program was built with the sanitizers."""
    return b"__asan_init" in PROGRAM.read_bytes()


def memory(process):
    """The most memory that the process has had, in kB."""
    with open(f"/proc/{process}/status", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmHWM:"))


def written_memory(process):
    """What is in the memory that the process may write."""
    found = b""
    with open(f"/proc/{process}/maps", encoding="ascii") as maps, \
            open(f"/proc/{process}/mem", "rb", 0) as memory_file:
        for line in maps:
            area, rights, *_ = line.split()
            if rights.startswith("rw"):
                begin, end = (int(text, 16) for text in area.split("-"))
                memory_file.seek(begin)
                found += memory_file.read(end - begin)
    return found


def is_running(process):
    try:
        with open(f"/proc/{process}/stat", encoding="ascii") as file:
            return file.read().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


def wait_until(condition):
    """Waits until something has happened, at most 30 seconds."""
    deadline = time.monotonic() + 30
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError("the condition did not become true")
        time.sleep(0.01)
