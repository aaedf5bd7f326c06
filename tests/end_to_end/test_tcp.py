"""record --tcp: the raw bytes for other programs, as they come."""
import json
import os
import re
import signal
import socket
import subprocess
import time
import unittest

from hosting import LIMIT, ON_WINE, HostTest, kill_hosts, main, wait_for

KEPT = 16 << 20  # bytes that the recording keeps for slow clients
LATE = 5  # seconds; what a program may take on a busy machine to end


class Client:
    """A program that reads the bytes from a port of 127.0.0.1."""

    def __init__(self, port, buffer=None):
        self.socket = socket.socket()
        if buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
        self.socket.settimeout(LIMIT)
        self.socket.connect(("127.0.0.1", port))

    def read(self, count):
        data = b""
        while len(data) < count and (piece := self.socket.recv(min(65536, count - len(data)))):
            data += piece
        return data

    def read_all(self):
        """What comes until the end, and whether the connection broke instead of ending."""
        data = bytearray()  # which grows without being copied, or the client is a slow one
        try:
            while piece := self.socket.recv(65536):
                data += piece
        except ConnectionResetError:
            return bytes(data), True
        return bytes(data), False

    def close(self):
        self.socket.close()


class Served(HostTest):
    def setUp(self):
        super().setUp()
        self.number, self.signal = self.source("--board", self.file("board.json"), "--pattern", "counter",
                                               "--probe-buffer", str(64 << 20), *self.rate())

    def rate(self):
        return ()

    def begin(self, *more, tcp="0", output="o.bin"):
        """A recording that serves; its port is told before it begins."""
        words = ("record", "--port", str(self.number), "--clock", "1152000", "--prescaler", "9", "--fail-on", "never",
                 "--tcp", tcp, "--output", output, *more)
        self.said = open(self.file("said"), "wb")
        self.addCleanup(self.said.close)
        running = subprocess.Popen(self.command(*words), env=self.environment(), cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=self.said)
        self.addCleanup(kill_hosts, running, self.folder)
        told = wait_for(lambda: running.poll() is not None or
                        re.search(rb"tracehost: the bytes, as they come, at 127\.0\.0\.1:(\d+)\r?\n", self.words()),
                        "the port")
        if told is True:
            raise AssertionError(f"it ended with status {running.returncode}: {self.words()}")
        self.tcp_port = int(told[1])
        return running

    def words(self):
        return self.read(self.file("said"))

    def client(self, **keywords):
        client = Client(self.tcp_port, **keywords)
        self.addCleanup(client.close)
        return client

    def end(self, running, status=0):
        output, _ = running.communicate(timeout=LIMIT)
        self.assertEqual(running.returncode, status, self.words())
        return output.decode()


class Tcp(Served):
    def test_clients_get_every_byte_as_it_is_saved(self):
        running = self.begin("--bytes", "50000")
        clients = [self.client() for _ in range(3)]
        self.assertEqual([client.read(1000) for client in clients][0], self.read(self.capture())[:1000])
        self.assertIsNone(running.poll())
        got = [client.read_all() for client in clients[1:]]
        output = self.end(running)
        saved = self.read(self.file("o.bin"))
        self.assertEqual(len(saved), 50000)
        for client, (data, broke) in zip(clients[1:], got):
            self.assertFalse(broke)
            self.assertEqual(saved[:1000] + data, saved)
        self.assertIn(f"  tcp           127.0.0.1:{self.tcp_port}, 3 client(s)\n", output.replace("\r", ""))

    def test_client_gets_what_comes_after_it_connected(self):
        running = self.begin()
        first = self.client()
        first.read(5000)
        late = self.client()
        data = late.read(2000)
        whole = self.read(self.capture())
        self.assertIn(data, whole)
        self.assertGreaterEqual(whole.index(data), 5000)
        self.assertIsNone(running.poll())

    def test_recording_does_not_need_clients_and_outlives_them(self):
        running = self.begin("--bytes", "60000", "--json")
        for _ in range(5):
            client = self.client()
            client.read(100)
            client.close()
        shown = json.loads(self.end(running))
        self.assertEqual(shown["tcp"], {"port": self.tcp_port, "clients": 5, "cut_off": 0, "turned_away": 0})
        self.assertEqual(len(self.read(self.file("o.bin"))), 60000)

    def test_port_that_is_taken_is_refused_before_anything_is_recorded(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            port = other.getsockname()[1]
            result = self.run_host("record", "--port", str(self.number), "--clock", "1152000", "--prescaler", "9", "--tcp",
                                   str(port), "--bytes", "100", "--output", "o.bin")
        self.assertEqual(result.returncode, 2)
        self.assertRegex(result.stderr, rf"^tracehost: --tcp: port {port} of 127\.0\.0\.1 cannot be taken: \w.*\n$")
        self.assertEqual(self.journal(), [])

    def test_ports_that_are_none_are_refused(self):
        for port in ("65536", "-1", "1.5", "http", "nan", ""):
            result = self.run_host("record", "--demo", "--tcp", port)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn("--tcp", result.stderr)

    def test_nobody_else_can_take_the_port_and_other_addresses_are_not_served(self):
        running = self.begin()
        with socket.socket() as other, self.assertRaises(OSError):
            other.bind(("127.0.0.1", self.tcp_port))
            other.listen()
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", self.tcp_port), timeout=5)
        self.assertIsNone(running.poll())

    def test_too_many_clients_are_turned_away(self):
        running = self.begin()
        clients = [self.client() for _ in range(64)]
        for client in clients:
            client.read(10)
        data, broke = self.client().read_all()
        self.assertEqual((data, broke), (b"", True))
        clients[0].read(10)
        if ON_WINE:
            return
        running.send_signal(signal.SIGINT)
        self.assertRegex(self.end(running), r"64 client\(s\), 1 turned away: 64 at once are served\n")


@unittest.skipIf(ON_WINE, "a rate that its ports do not take")
class Fast(Served):
    """Five times what a line of 12 Mbaud brings: what is kept for slow clients is used up within seconds."""

    def rate(self):
        return "--rate", "6000000"

    def test_client_that_stalls_is_cut_off_and_neither_recording_nor_others_notice(self):
        size = 2 * KEPT
        running = self.begin("--bytes", str(size), "--json")
        stalled = self.client(buffer=4096)
        quick = self.client()
        data, broke = quick.read_all()
        shown = json.loads(self.end(running))
        saved = self.read(self.file("o.bin"))
        self.assertFalse(broke)
        self.assertEqual(len(saved), size)
        self.assertEqual(data, saved)
        self.assertEqual((shown["status"], shown["end"], shown["tcp"]["clients"], shown["tcp"]["cut_off"]),
                         (0, "bytes", 2, 1))
        data, broke = stalled.read_all()
        self.assertTrue(broke)
        self.assertEqual(data, saved[:len(data)])
        self.assertLess(len(data), size)

    def ends_with_a_client_that_waits(self, **keywords):
        """A recording that is saved, and a client of it that has not read anything."""
        size = KEPT // 2
        running = self.begin("--bytes", str(size), "--json")
        client = self.client(**keywords)
        path = self.file("o.bin")
        wait_for(lambda: os.path.exists(path) and os.path.getsize(path) == size, "the saved recording")
        return running, client

    def test_client_that_stalls_at_the_end_holds_it_up_two_seconds_at_most(self):
        running, client = self.ends_with_a_client_that_waits(buffer=4096)
        begun = time.monotonic()
        shown = json.loads(self.end(running))
        waited = time.monotonic() - begun
        print(f"held up for {waited:.2f} s")
        self.assertGreater(waited, 1)
        self.assertLess(waited, 2 + LATE)
        self.assertEqual((shown["status"], shown["tcp"]["cut_off"]), (0, 1))
        data, broke = client.read_all()
        self.assertTrue(broke)
        self.assertEqual(data, self.read(self.file("o.bin"))[:len(data)])

    def test_client_that_reads_on_in_time_gets_all(self):
        running, client = self.ends_with_a_client_that_waits()
        data, broke = client.read_all()
        shown = json.loads(self.end(running))
        self.assertFalse(broke)
        self.assertEqual(shown["tcp"]["cut_off"], 0)
        self.assertEqual(data, self.read(self.file("o.bin")))


if __name__ == "__main__":
    main()
