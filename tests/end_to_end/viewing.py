"""Asks the page's server as a browser would, and as nobody should."""
import json
import re
import socket
import subprocess

from hosting import LIMIT, HostTest, kill_hosts, wait_for


class Answer:
    """An HTTP answer, taken apart."""

    def __init__(self, data):
        self.data = data
        head, _, self.body = data.partition(b"\r\n\r\n")
        lines = head.decode("latin-1").split("\r\n")
        self.status = int(lines[0].split()[1]) if data else None  # None: there is no answer
        self.headers = dict(line.split(": ", 1) for line in lines[1:])

    def json(self):
        return json.loads(self.body)


class Site:
    """A page's server, by the address that was told."""

    def __init__(self, address):
        self.port, self.token = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]{32})", address).groups()
        self.port = int(self.port)
        self.address = address

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT)

    def say(self, data):
        """All that comes to what is said, until the connection ends; nothing when it breaks at once."""
        got = b""
        try:
            with self.connect() as connection:
                try:
                    connection.sendall(data)
                except ConnectionError:
                    pass  # it was refused before all was said
                while piece := connection.recv(65536):
                    got += piece
        except ConnectionError:
            pass
        return Answer(got)

    def request(self, target, method="GET", host=None, headers=""):
        host = host or f"127.0.0.1:{self.port}"
        return self.say(f"{method} {target} HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n{headers}\r\n".encode("latin-1"))

    def get(self, what, **parameters):
        words = "".join(f"&{name}={value}" for name, value in parameters.items())
        return self.request(f"{what}?token={self.token}{words}")

    def post(self, what, **parameters):
        words = "".join(f"&{name}={value}" for name, value in parameters.items())
        return self.request(f"{what}?token={self.token}{words}", method="POST", headers="Content-Length: 0\r\n")

    def overview(self):
        answer = self.get("/api/overview")
        if answer.status != 200:
            raise AssertionError(f"no overview, but {answer.data[:500]}")
        return answer.json()


class ViewTest(HostTest):
    def start(self, *words, stdin=subprocess.DEVNULL, **keywords):
        """A tracehost that serves a page, and the page's site."""
        said = open(self.file("said"), "wb")
        self.addCleanup(said.close)
        running = subprocess.Popen(self.command(*words), env=self.environment(), cwd=self.folder, stdin=stdin,
                                   stdout=said, stderr=said, **keywords)
        self.addCleanup(kill_hosts, running, self.folder)
        told = wait_for(lambda: re.search(r"http://\S+", self.words()) or running.poll() is not None, "the page's address")
        if told is True:
            raise AssertionError(f"it ended with status {running.returncode}: {self.words()}")
        return running, Site(told[0])

    def words(self):
        return self.read(self.file("said")).decode().replace("\r\n", "\n")

    def complete(self, site):
        return wait_for(lambda: (found := site.overview())["complete"] and found, "all bytes to be looked at")
