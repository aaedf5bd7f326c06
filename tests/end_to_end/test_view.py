"""tracehost view and record --view: a recording in the browser, for whoever has its address and nobody else."""
import contextlib
import json
import os
import re
import signal
import socket
import struct
import threading
import time
import unittest

from hosting import LIMIT, ON_WINE, main, wait_for
from recorder import Recorder
from viewing import Answer, ViewTest

SYNC = bytes(5) + b"\x80"
OVERFLOW = b"\x70"
IN_TIME = 1  # seconds


def said(text, port=0):
    """A text as a stimulus port says it, a byte a packet."""
    return b"".join(bytes((port << 3 | 1, letter)) for letter in text.encode())


LINES = SYNC + said("".join(f"line {i}\n" for i in range(200)))


def tdf(*captures):
    """A TDF file with a section for each."""
    sections = b"".join(struct.pack("<III", 24 + len(capture), 1, 12) + b"BinTraceData" + capture for capture in captures)
    return b"KTDF\x01\0\0\0\x10\0\0\0\0\0\0\0" + sections


class Viewed(ViewTest):
    def put(self, name, content):
        with open(self.file(name), "wb") as file:
            file.write(content)
        os.utime(self.file(name), (1e9, 1e9))  # nobody writes it any more
        return name

    def view(self, content=LINES, *more, name="o.bin"):
        self.running, site = self.start("view", self.put(name, content), "--no-browser", *more)
        return site


class Served(Viewed):
    def test_packets_are_told_one_by_one(self):
        site = self.view()
        self.complete(site)
        offset, seen = 0, []
        for _ in range(3):
            body = site.get("/api/events", **{"from": 0, "to": len(LINES), "limit": 2, "kinds": "stimulus", "offset": offset}).body
            size = int.from_bytes(body[4:8], "little")
            header = json.loads(body[8:8 + size])
            places = header["tracks"][0]["arrays"]["offset"]
            begin = (8 + size + 7) // 8 * 8 + places["at"]
            seen += struct.unpack(f"<{places['count']}d", body[begin:begin + 8 * places["count"]])
            offset = header["next"]
        self.assertEqual(seen, [6, 8, 10, 12, 14, 16])

    def test_ports_are_shown_as_the_page_wants(self):
        site = self.view(LINES + said("x", 3))
        shown = lambda: {track["id"]: track.get("type", track["kind"]) for track in self.complete(site)["tracks"] if "port" in track}
        self.assertEqual(shown(), {"port:0": "text", "port:3": "text"})
        self.assertTrue(site.overview()["changeable"])
        self.assertEqual(site.post("/api/ports", types="0:u8,3:i8").json(), {})
        wait_for(lambda: shown() == {"port:0": "u8", "port:3": "i8"}, "numbers")
        self.assertEqual(site.get("/api/text", port=0, line=0, count=1).json(), {"error": "port 0 has numbers, no text"})
        self.assertEqual(site.post("/api/ports", types="0:text").json(), {})
        wait_for(lambda: shown() == {"port:0": "text", "port:3": "i8"}, "text")
        self.assertEqual(site.get("/api/text", port=0, line=0, count=1).json()["lines"], 200)

    def test_page_and_answers(self):
        site = self.view()
        page = site.get("/")
        self.assertEqual((page.status, page.headers["Content-Type"]), (200, "text/html; charset=utf-8"))
        self.assertTrue(page.body.startswith(b"<!DOCTYPE html>"))
        self.assertTrue(page.headers["Content-Security-Policy"].endswith("; frame-ancestors 'none'"))
        overview = self.complete(site)
        self.assertEqual((overview["name"], overview["live"], overview["bytes"], overview["indexed"]),
                         ("o.bin", False, len(LINES), len(LINES)))
        rows = site.get("/api/text", port=0, line=198, count=10).json()
        self.assertEqual((rows["lines"], [row["text"] for row in rows["rows"]]), (200, ["line 198", "line 199"]))
        found = site.get("/api/find", port=0, text="LINE+77", line=0).json()
        self.assertEqual(found, {"line": 77})
        window = site.get("/api/window", **{"from": 0, "to": len(LINES), "pixels": 10})
        self.assertEqual((window.status, window.body[:4]), (200, b"KTW1"))
        head = site.request(f"/api/overview?token={site.token}", method="HEAD")
        self.assertEqual((head.status, head.body), (200, b""))

    def test_addresses_are_told_apart_by_their_tokens(self):
        one = self.view()
        other = self.view(name="p.bin")
        self.assertNotEqual(one.token, other.token)
        self.assertEqual(other.request(f"/?token={one.token}").status, 403)

    def test_sections(self):
        site = self.view(tdf(LINES, SYNC + said("second\n")), "--section", "2", name="o.tdf")
        self.assertEqual(self.complete(site)["name"], "o.tdf, section 2")
        self.assertEqual(site.get("/api/text", port=0, line=0, count=9).json()["rows"][0]["text"], "second")

    def test_file_that_is_damaged_is_shown_as_far_as_it_goes(self):
        site = self.view(tdf(LINES)[:1000], name="o.tdf")
        self.assertEqual(self.complete(site)["bytes"], 1000 - 16 - 24)
        self.assertIn('tracehost: "o.tdf" is damaged at offset 16: ', self.words())

    def test_file_that_grows_is_followed(self):
        content = SYNC + said("first\n")
        name = self.put("o.bin", content)
        os.utime(self.file(name))
        _, site = self.start("view", name, "--no-browser")
        self.assertTrue(site.overview()["live"])
        for i in range(3):
            with open(self.file(name), "ab") as file:
                file.write(said(f"more {i}\n"))
            wait_for(lambda: [row["text"] for row in site.get("/api/text", port=0, line=1, count=9).json()["rows"]] ==
                     [f"more {j}" for j in range(i + 1)], "the new line")

    def test_file_that_was_complete_and_grows_all_the_same_is_shown_anew(self):
        site = self.view(SYNC + said("first\n"))
        self.assertFalse(self.complete(site)["live"])
        with open(self.file("o.bin"), "ab") as file:
            file.write(said("second\n"))
        wait_for(lambda: site.get("/api/text", port=0, line=0, count=9).json()["lines"] == 2, "the new line")
        self.assertTrue(site.overview()["live"])

    def test_file_that_becomes_another_is_shown_anew(self):
        site = self.view()
        self.complete(site)
        with open(self.file("o.bin"), "wb") as file:
            file.write(SYNC + said("another\n"))
        wait_for(lambda: 'tracehost: "o.bin" has become shorter: it is another recording now\n' in self.words(), "the words")
        wait_for(lambda: site.get("/api/text", port=0, line=0, count=9).json()["lines"] == 1, "the other recording")

    def test_wrong_usage(self):
        self.put("o.bin", LINES)
        self.put("several.tdf", tdf(LINES, LINES))
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            taken = str(other.getsockname()[1])
            for words, text in ((("missing.bin",), '"missing.bin" cannot be read: '),
                                (("-",), '"-" is no file on a disk: a view reads it again and again\n'),
                                (("several.tdf",), 'a view shows one recording: "several.tdf" has several, --section says which\n'),
                                (("o.bin", "--section", "1"), '--section: "o.bin" is no TDF file, it has no sections\n'),
                                (("o.bin", "--elf", "o.bin"), '--elf "o.bin": '),
                                (("o.bin", "--listen", "65536"), "--listen "),
                                (("o.bin", "--listen", taken), f"--listen: port {taken} of 127.0.0.1 cannot be taken: ")):
                with self.subTest(words):
                    result = self.run_host("view", *words, "--no-browser")
                    self.assertEqual((result.returncode, result.stdout), (2, ""))
                    self.assertTrue(result.stderr.startswith("tracehost: " + text), result.stderr)
        result = self.run_host("record", "--no-browser")
        self.assertEqual((result.returncode, result.stderr.replace("\r", "")), (2, "tracehost: --no-browser belongs to --view\n"))

    @unittest.skipIf(ON_WINE, "signals of this system")
    def test_ends_when_it_is_told_to(self):
        for request in (signal.SIGINT, signal.SIGTERM):
            site = self.view()
            connections = [site.connect() for _ in range(3)]
            connections[0].sendall(f"GET /api/stream?token={site.token} HTTP/1.1\r\nHost: 127.0.0.1:{site.port}\r\n\r\n".encode())
            self.assertIn(b"text/event-stream", connections[0].recv(4096))
            self.running.send_signal(request)
            self.assertEqual(self.running.wait(LIMIT), 0)
            with self.assertRaises(ConnectionRefusedError):
                site.connect()
            for connection in connections:
                connection.close()

    @unittest.skipIf(ON_WINE, "programs of this system")
    def test_browser_is_asked_to_open_the_address_and_its_failure_is_told(self):
        self.put("o.bin", LINES)
        for body, status in (('echo "$@" >"$OPENED"; exit 3', 3), ('echo "$@" >"$OPENED"', 0)):
            self.write("xdg-open", "#!/bin/sh\n" + body + "\n")
            os.chmod(self.file("xdg-open"), 0o755)
            os.environ["OPENED"] = self.file("opened")
            path = os.environ["PATH"]
            os.environ["PATH"] = self.folder + ":" + path
            try:
                running, site = self.start("view", "o.bin")
            finally:
                os.environ["PATH"] = path
            wait_for(lambda: os.path.exists(self.file("opened")) and self.read(self.file("opened")), "the browser")
            asked = re.fullmatch(rf"http://127\.0\.0\.1:{site.port}(/open\?ticket=[0-9a-f]{{32}})\n",
                                 self.read(self.file("opened")).decode())
            self.assertTrue(asked, self.read(self.file("opened")))
            self.assertNotIn(site.token, asked[1])
            led = site.request(asked[1])
            self.assertEqual((led.status, led.headers["Location"]), (303, "/?token=" + site.token))
            self.assertEqual(site.request(led.headers["Location"]).status, 200)
            self.assertEqual(site.request(asked[1]).status, 403, "once")
            os.unlink(self.file("opened"))
            told = "tracehost: no browser was opened (xdg-open ended with status 3): open the address yourself\n"
            if status:
                wait_for(lambda: told in self.words(), "the failure")
            running.send_signal(signal.SIGINT)
            self.assertEqual(running.wait(LIMIT), 0)
            self.assertEqual(told in self.words(), status != 0)

    @unittest.skipIf(ON_WINE, "programs of this system")
    def test_without_a_program_that_opens_browsers_the_address_is_there_all_the_same(self):
        self.put("o.bin", LINES)
        path = os.environ["PATH"]
        os.environ["PATH"] = self.folder
        try:
            _, site = self.start("view", "o.bin")
        finally:
            os.environ["PATH"] = path
        wait_for(lambda: "tracehost: no browser was opened (xdg-open: No such file or directory): open the address yourself\n"
                 in self.words(), "the failure")
        self.complete(site)


class Refused(Viewed):
    def setUp(self):
        super().setUp()
        self.site = self.view()
        self.complete(self.site)

    def is_refused(self, answer, status, why=None):
        self.assertEqual(answer.status, status, answer.data[:200])
        self.assertEqual(answer.headers["Content-Type"], "application/json")
        self.assertEqual(answer.headers["Content-Security-Policy"], "default-src 'none'; frame-ancestors 'none'")
        self.assertEqual(list(answer.json()), ["error"])
        if why:
            self.assertEqual(answer.json()["error"], why)

    def lives(self):
        self.assertEqual(self.site.get("/api/overview").status, 200)

    def test_without_the_token(self):
        for target in ("/", "/api/overview", "/api/stream", "/api/overview?token=", f"/?token={self.site.token[:-1]}",
                       f"/?token={self.site.token}0", f"/?token={self.site.token.upper()}x", "/favicon.ico"):
            self.is_refused(self.site.request(target), 403,
                            "the token is missing or wrong: open the address that tracehost printed")

    def test_other_hosts_and_origins(self):
        target = f"/api/overview?token={self.site.token}"
        for host in ("evil.example", f"evil.example:{self.site.port}", "127.0.0.1", "127.0.0.1:1", f"[::1]:{self.site.port}"):
            self.is_refused(self.site.request(target, host=host), 403, "this is not the host that was asked for")
        self.is_refused(self.site.say(f"GET {target} HTTP/1.1\r\nConnection: close\r\n\r\n".encode()), 403)
        for origin in ("null", "http://evil.example", f"https://127.0.0.1:{self.site.port}"):
            self.is_refused(self.site.request(target, headers=f"Origin: {origin}\r\n"), 403, "pages of other places get nothing here")
        for host in (f"127.0.0.1:{self.site.port}", f"localhost:{self.site.port}"):
            self.assertEqual(self.site.request(target, host=host, headers=f"Origin: http://{host}\r\n").status, 200)

    def test_other_methods(self):
        for method in ("PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PATCH", "PROPFIND", "get"):
            answer = self.site.request(f"/?token={self.site.token}", method=method)
            self.is_refused(answer, 405, "there are GET, HEAD and POST alone")
            self.assertEqual(answer.headers["Allow"], "GET, HEAD, POST")
        posted = self.site.request(f"/?token={self.site.token}", method="POST")
        self.is_refused(posted, 405, "this is asked with GET, HEAD alone")
        self.assertEqual(posted.headers["Allow"], "GET, HEAD")
        body = self.site.request(f"/?token={self.site.token}", headers="Content-Length: 5\r\n")
        self.is_refused(body, 400, "a request has no body here")

    def test_what_is_too_long(self):
        self.is_refused(self.site.request("/" + "x" * 9000), 414)
        self.is_refused(self.site.say(b"GET /" + b"x" * 10_000_000), 414)
        self.is_refused(self.site.request("/", headers="X: " + "x" * 20000 + "\r\n"), 431)
        self.is_refused(self.site.request("/", headers="X: x\r\n" * 65), 431)
        self.is_refused(self.site.get("/api/find", port=0, line=0, text="x" * 201), 400)
        self.lives()

    def test_parameters_that_are_none(self):
        right = {"from": "0", "to": "10", "pixels": "10"}
        for name, values in (("from", ("nan", "inf", "-inf", "1e999", "0x10", "", "1,5", "%00", "9" * 400)),
                             ("to", ("0", "-1", "nan", "1e999", "text")),
                             ("pixels", ("0", "-1", "4097", "1.5", "1e3", "18446744073709551616", "nan", "")),
                             ("tracks", ("", ",", "x" * 65))):
            for value in values:
                with self.subTest(f"{name}={value}"):
                    self.is_refused(self.site.get("/api/window", **{**right, name: value}), 400)
        self.is_refused(self.site.get("/api/window", **{"from": 0, "to": 1}), 400, '"pixels" is missing')
        self.is_refused(self.site.get("/api/overview", unknown=1), 400, "there is no such parameter here")
        self.is_refused(self.site.request(f"/api/ledger?token={self.site.token}&from=0&from=1&count=1"), 400, '"from" is there twice')
        self.is_refused(self.site.get("/api/text", port=256, line=0, count=1), 400)
        self.is_refused(self.site.get("/api/text", port=0, line=0, count=1001), 400)
        self.is_refused(self.site.get("/api/profile", **{"from": 0, "to": 1, "by": "lines"}), 400)
        self.is_refused(self.site.get("/api/events", **{"from": 0, "to": 1, "limit": 20001}), 400)
        self.is_refused(self.site.get("/api/events", **{"from": 0, "to": 1, "kinds": "nothing"}), 400, "there is no such kind of packets")
        self.is_refused(self.site.post("/api/ports", types="0:f64"), 400, "ports are text, u8, i8, u16, i16, u32, i32 or f32")
        self.is_refused(self.site.post("/api/ports", types="256:u8"), 400)

    def test_nothing_is_changed_by_who_may_not(self):
        for target in ("/api/stop", "/api/ports?types=0:u8"):
            self.is_refused(self.site.request(target, method="POST"), 403)
        own = f"/api/ports?token={self.site.token}&types=0:u8"
        self.is_refused(self.site.request(own, method="POST", headers="Origin: http://evil.example\r\n"), 403)
        self.is_refused(self.site.request(own, method="POST", host="evil.example"), 403)
        self.is_refused(self.site.request(own, method="GET"), 405, "this is asked with POST alone")
        self.is_refused(self.site.post("/api/stop"), 409, "nothing is being recorded")
        self.assertEqual([track["kind"] for track in self.site.overview()["tracks"] if track["id"] == "port:0"], ["text"])

    def test_tricks_with_paths(self):
        for path in ("//", "/index.html", "/api", "/api/", "/api/overview/", "//api/overview", "/api/../api/overview", "/./",
                     "/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc/passwd", "/%61pi/overview", "/api/overview%00", "/API/OVERVIEW",
                     "/api\\overview", "/api/overview;x=1"):
            self.is_refused(self.site.get(path), 404, "there is nothing here")
        for target in ("http://127.0.0.1/", "*", "api/overview", "/api/overview#x", "/?a?b"):
            self.is_refused(self.site.request(target), 400)

    def test_rubbish(self):
        for data in (b"\r\n\r\n", b"\0" * 100 + b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"\x16\x03\x01\x02\x00\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost\r\n\r\n", b"GET / HTTP/1.1\r\n folded: x\r\n\r\n", b"PRI * HTTP/2.0\r\n\r\n"):
            answer = self.site.say(data)
            self.assertIn(answer.status, (400, 405), data)
        self.lives()

    def test_too_many_connections(self):
        waiting = [self.site.connect() for _ in range(16)]
        wait_for(lambda: self.site.get("/api/overview").status == 503, "the seventeenth")
        self.is_refused(self.site.get("/api/overview"), 503, "too many connections: close a page")
        for _ in range(12):  # of which some are not even told
            with contextlib.suppress(ConnectionResetError):
                waiting.append(self.site.connect())
        for connection in waiting:
            connection.close()
        wait_for(lambda: self.site.get("/api/overview").status == 200, "room")

    def test_too_many_streams(self):
        asked = f"GET /api/stream?token={self.site.token} HTTP/1.1\r\nHost: 127.0.0.1:{self.site.port}\r\n\r\n".encode()
        streams = []
        for _ in range(4):
            streams.append(self.site.connect())
            streams[-1].sendall(asked)
            self.assertEqual(Answer(streams[-1].recv(65536)).status, 200)
        fifth = self.site.request(f"/api/stream?token={self.site.token}")
        self.is_refused(fifth, 503, "too many pages are open: close one")
        self.lives()
        for stream in streams:
            stream.close()
        def streams_again():
            with self.site.connect() as connection:
                connection.sendall(asked)
                return Answer(connection.recv(65536)).status == 200
        wait_for(streams_again, "a place for a stream")

    def test_slow_clients_are_sent_away(self):
        """One that stops in its request, one that says a byte now and then, and two that say nothing: of those the one that
        connects 3 seconds later is gone before the request's 10 seconds are over, the one that connects 7.5 seconds later
        outlives them."""
        ends = {}  # in their order
        connections = {}

        def read_to_end(name, begin):
            data = b""
            try:
                while piece := connections[name].recv(4096):
                    data += piece
            except ConnectionError:
                pass
            ends[name] = (time.monotonic() - begin, Answer(data).status)

        def dribble():
            try:
                while True:
                    connections["dribbling"].sendall(b"x")
                    time.sleep(0.5)
            except OSError:
                pass

        readers = []
        started = time.monotonic()
        for name, seconds in (("stopped", 0), ("dribbling", 0), ("silent", 3), ("silent later", 7.5)):
            time.sleep(max(0, started + seconds - time.monotonic()))
            connections[name] = self.site.connect()
            readers.append(threading.Thread(target=read_to_end, args=(name, time.monotonic())))
            readers[-1].start()
            if name == "stopped":
                connections[name].sendall(b"GET / HTTP/1.1\r\n")
            elif name == "dribbling":
                threading.Thread(target=dribble, daemon=True).start()
        for reader in readers:
            reader.join(LIMIT)
        self.assertEqual({name: status for name, (_, status) in ends.items()},
                         {"stopped": 408, "dribbling": 408, "silent": None, "silent later": None})
        order = list(ends)
        self.assertEqual((order[0], order[-1]), ("silent", "silent later"), ends)
        self.assertGreater(min(ends["stopped"][0], ends["dribbling"][0]), 9)
        self.assertGreater(min(ends["silent"][0], ends["silent later"][0]), 4)
        for connection in connections.values():
            connection.close()
        self.lives()

    def test_clients_that_vanish(self):
        asked = f"GET /?token={self.site.token} HTTP/1.1\r\nHost: 127.0.0.1:{self.site.port}\r\n\r\n".encode()
        for _ in range(100):
            try:
                with self.site.connect() as connection:
                    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    connection.sendall(asked)
            except ConnectionError:
                pass  # it was one too many
        wait_for(lambda: self.site.get("/api/overview").status == 200, "an answer")

    def test_other_addresses_of_this_machine(self):
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", self.site.port), timeout=5)


class Live(ViewTest):
    """A recording of a stream with an overflow in its middle, 2 seconds after its beginning."""

    def setUp(self):
        super().setUp()
        self.before = 23_000
        text = said("".join(f"line {i}\n" for i in range(10_000)))
        stream = SYNC + text[:self.before - len(SYNC)] + OVERFLOW + text[self.before:self.before + 20_000]
        with open(self.file("stream"), "wb") as file:
            file.write(stream)
        self.stream = stream
        self.number, self.signal = self.source("--board", self.file("board.json"), "--stream", self.file("stream"))

    def record(self, *more, **keywords):
        return self.start("record", "--port", str(self.number), "--clock", "1152000", "--prescaler", "9", "--view",
                          "--no-browser", "--quiet", "--output", "o.bin", *more, **keywords)

    def captured(self):
        return os.path.getsize(self.capture()) if os.path.exists(self.capture()) else 0

    def losses(self, site):
        return [entry["kind"] for entry in site.get("/api/ledger", **{"from": 0, "count": 10}).json()["entries"]]

    def test_loss_is_shown_within_a_second(self):
        running, site = self.record("--tcp", "0", "--bytes", str(len(self.stream)))
        self.assertEqual((site.overview()["live"], site.overview()["bytes"]), (True, 0))
        wait_for(lambda: self.captured() > self.before - 5000, "the stream")
        self.assertEqual(self.losses(site), [])
        wait_for(lambda: self.captured() > self.before, "the overflow")
        moment = time.monotonic()
        wait_for(lambda: self.losses(site) == ["itm-overflow"], "its entry")
        delay = time.monotonic() - moment
        print(f"shown after {delay:.2f} s")
        self.assertLess(delay, IN_TIME)
        self.assertEqual(running.wait(LIMIT), 0, self.words())
        self.assertEqual(self.read(self.file("o.bin"))[:len(self.stream)], self.stream)

    def test_events_tell_that_it_goes_on_and_who_looks_holds_nothing_up(self):
        running, site = self.record("--bytes", str(len(self.stream)))
        sleeper = site.connect()  # asks for all that there is and takes nothing
        sleeper.sendall(f"GET /?token={site.token} HTTP/1.1\r\nHost: 127.0.0.1:{site.port}\r\n\r\n".encode() * 50)
        with site.connect() as connection:
            connection.sendall(f"GET /api/stream?token={site.token} HTTP/1.1\r\nHost: 127.0.0.1:{site.port}\r\n\r\n".encode())
            told = b""
            while piece := connection.recv(65536):
                told += piece
        events = [json.loads(line[6:]) for line in told.split(b"\n") if line.startswith(b"data: ")]
        self.assertGreater(len(events), 10)
        self.assertEqual([event["bytes"] for event in events], sorted(event["bytes"] for event in events))
        self.assertEqual(running.wait(LIMIT), 0, self.words())
        sleeper.close()
        self.assertEqual(self.read(self.file("o.bin"))[:len(self.stream)], self.stream)

    @unittest.skipIf(ON_WINE, "terminals of this system")
    def test_on_a_terminal_the_page_goes_on_behind_the_recording(self):
        near, far = os.openpty()
        self.addCleanup(os.close, near)
        self.addCleanup(os.close, far)
        running, site = self.record("--bytes", "3000", stdin=far)
        wait_for(lambda: "tracehost: the page is there until Ctrl-C: " + site.address in self.words(), "the end of the recording")
        os.unlink(self.capture())  # what is shown stands in the saved file now
        wait_for(lambda: not site.overview()["live"], "the end")
        rows = site.get("/api/text", port=0, line=100, count=1).json()["rows"]
        self.assertEqual(rows[0]["text"], "line 100")
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(LIMIT), 0, self.words())

    def test_page_ends_the_recording_in_good_order(self):
        running, site = self.record()
        wait_for(lambda: site.overview()["bytes"] > 2000, "the stream")
        self.assertTrue(site.overview()["stoppable"])
        self.assertEqual(site.post("/api/stop").json(), {})
        self.assertEqual(running.wait(LIMIT), 0, self.words())
        saved = self.read(self.file("o.bin"))
        self.assertGreater(len(saved), 2000)
        whole = len(saved) - 8  # the last sample may be filled up
        self.assertEqual(saved[:whole], self.stream[:whole])

    @unittest.skipIf(ON_WINE, "terminals of this system")
    def test_page_goes_on_behind_a_recording_that_it_has_ended(self):
        near, far = os.openpty()
        self.addCleanup(os.close, near)
        self.addCleanup(os.close, far)
        running, site = self.record(stdin=far)
        wait_for(lambda: site.overview()["bytes"] > 2000, "the stream")
        self.assertEqual(site.post("/api/stop").status, 200)
        wait_for(lambda: "tracehost: the page is there until Ctrl-C: " + site.address in self.words(), "the end of the recording")
        wait_for(lambda: not site.overview()["stoppable"], "the end")
        self.assertEqual(site.post("/api/stop").json(), {"error": "nothing is being recorded"})
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(LIMIT), 0, self.words())

    def test_ports_are_shown_otherwise_while_it_is_recorded(self):
        running, site = self.record("--bytes", str(len(self.stream)))
        wait_for(lambda: site.overview()["bytes"] > 2000, "the stream")
        kinds = lambda: [track.get("type", track["kind"]) for track in site.overview()["tracks"] if track["id"] == "port:0"]
        self.assertEqual(kinds(), ["text"])
        self.assertEqual(site.post("/api/ports", types="0:u8").json(), {})
        wait_for(lambda: kinds() == ["u8"], "numbers")
        self.assertEqual(running.wait(LIMIT), 0, self.words())

    @unittest.skipIf(ON_WINE, "signals of this system")
    def test_request_to_end_ends_recording_and_page(self):
        running, site = self.record()
        wait_for(lambda: site.overview()["bytes"] > 2000, "the stream")
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(LIMIT), 0, self.words())
        self.assertGreater(os.path.getsize(self.file("o.bin")), 2000)


@unittest.skipIf(ON_WINE, "programs of this system")
class Browser(ViewTest):
    """When a recording opens the browser: a program that stands for it keeps what it is asked to open."""

    def setUp(self):
        super().setUp()
        self.write("xdg-open", f'#!/bin/sh\necho "$@" >>"{self.file("opened")}"\n')
        os.chmod(self.file("xdg-open"), 0o755)
        path = os.environ["PATH"]
        self.addCleanup(os.environ.__setitem__, "PATH", path)
        os.environ["PATH"] = self.folder + ":" + path
        self.number, self.signal = self.source("--board", self.file("board.json"), "--pattern", "counter")

    def words(self):
        return ("record", "--port", str(self.number), "--clock", "1152000", "--prescaler", "9", "--fail-on", "never", "--quiet",
                "--view", "--bytes", "2000")

    def test_recording_that_runs_opens_it(self):
        result = self.run_host(*self.words(), "--output", "o.bin")
        self.assertEqual(result.returncode, 0, result.stderr)
        address = result.stderr.split("as it is made: ")[1].split("?token")[0]
        self.assertRegex(self.read(self.file("opened")).decode(), rf"\A{address}open\?ticket=[0-9a-f]{{32}}\n\Z")

    def test_recording_that_is_refused_opens_none_and_touches_no_target(self):
        self.write("there.bin", "precious")
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            taken = other.getsockname()[1]
            for more, text in ((("--tcp", str(taken), "--output", "o.bin"),
                                f"tracehost: --tcp: port {taken} of 127.0.0.1 cannot be taken: Address already in use\n"),
                               (("--output", "there.bin"), 'tracehost: "there.bin" exists'),
                               (("--output", "no/o.bin"), 'tracehost: "no/o.bin" ')):
                with self.subTest(more):
                    result = self.run_host(*self.words(), *more)
                    self.assertEqual((result.returncode, result.stdout), (2, ""), result.stderr)
                    self.assertIn(text, result.stderr)
                    self.assertEqual(self.journal(), [])
                    self.assertFalse(os.path.exists(self.file("opened")), result.stderr)
        self.assertFalse(os.path.exists(self.file("o.bin")))
        self.assertEqual(self.read(self.file("there.bin")), b"precious")

    def test_port_that_cannot_be_opened_opens_none(self):
        result = self.run_host("record", "--port", "77", "--clock", "1152000", "--prescaler", "9", "--view", "--output", "o.bin")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertFalse(os.path.exists(self.file("opened")), result.stderr)


@unittest.skipIf(ON_WINE, "the far end of a terminal does not vanish there")
class Reconnected(ViewTest, Recorder):
    """A recording whose port goes away and comes back, under an open page."""

    FIRST = SYNC + said("first\nand more..\n")  # whole samples of 8 bytes, as all captures are saved
    SECOND = SYNC + said("second\nand more.\n")

    def line(self, site):
        """The first one."""
        answer = site.get("/api/text", port=0, line=0, count=1)
        rows = answer.json()["rows"] if answer.status == 200 else []
        return rows[0]["text"] if rows else None

    def events(self, connection):
        """What an open page has been told until now."""
        connection.settimeout(0.2)
        with contextlib.suppress(TimeoutError):
            while piece := connection.recv(65536):
                self.told += piece
        return [json.loads(line[6:]) for line in self.told.split(b"\n") if line.startswith(b"data: ") and line.endswith(b"}")]

    def test_page_goes_on_and_shows_the_loss(self):
        number, *ends = self.plug_in()
        running, site = self.start("record", "--port", str(number), "--clock", "1152000", "--prescaler", "9", "--fail-on", "never",
                                   "--view", "--no-browser", "--reconnect", "--quiet", "--output", "o.bin")
        page = site.connect()
        self.addCleanup(page.close)
        page.sendall(f"GET /api/stream?token={site.token} HTTP/1.1\r\nHost: 127.0.0.1:{site.port}\r\n\r\n".encode())
        self.told = b""
        wait_for(lambda: os.path.exists(self.capture()), "the capture file")
        os.write(ends[0], self.FIRST)
        wait_for(lambda: self.line(site) == "first", "the first line")
        self.assertEqual((site.overview()["name"], site.overview()["live"]), ("o.bin", True))

        os.unlink(self.links[number])
        self.unplug(*ends)
        ledger = wait_for(lambda: site.get("/api/ledger", **{"from": 0, "count": 10}).json()["entries"], "the loss")
        self.assertEqual([(entry["kind"], entry["class"], entry["offset"]) for entry in ledger], [("port-lost", "host", len(self.FIRST))])
        self.assertIsNone(running.poll())
        self.assertEqual(self.line(site), "first", "what came is still shown")
        before = wait_for(lambda: (told := self.events(page)) and not told[-1]["live"] and told[-1], "the end of the part")

        _, *ends = self.plug_in()
        wait_for(lambda: os.path.getsize(self.capture()) == 0, "the second capture")
        os.write(ends[0], self.SECOND)
        wait_for(lambda: self.line(site) == "second", "the second line")
        overview = site.overview()
        self.assertEqual((overview["name"], overview["live"], overview["lost"]["line"]), ("o-2.bin, part 2", True, 0))
        after = wait_for(lambda: (told := self.events(page)) and told[-1]["live"] and told[-1], "the next part")
        self.assertGreater(after["revision"], before["revision"])
        revisions = [event["revision"] for event in self.events(page)]
        self.assertEqual(revisions, sorted(revisions))
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(LIMIT), 3, self.words())
        self.assertIn("tracehost: trace was lost while the port was away 1 time(s)", self.words())
        self.assertEqual((self.read(self.file("o.bin")), self.read(self.file("o-2.bin"))),
                         (self.FIRST, self.SECOND))


if __name__ == "__main__":
    main()
