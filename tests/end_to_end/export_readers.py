"""Small readers of the formats that `tracehost export` writes, from their public definitions alone. Each gives what stands
there and refuses what the format does not allow."""
import io
import json
import re
import struct
import zipfile

PHASES = {1: "B", 2: "E", 3: "i", 4: "C"}


def chrome(text):
    """Events as (phase, process, track, nanoseconds, name, arguments), and the processes' names and labels."""
    tracks, labels, events = {}, {}, []
    for event in json.loads(text):
        process = event["pid"]
        if event["ph"] == "M":
            value = next(iter(event["args"].values()))
            if event["name"] == "thread_name":
                tracks[process, event["tid"]] = value
            elif event["name"].startswith("process_"):
                labels[process, event["name"][len("process_"):]] = value
            continue
        arguments = dict(event.get("args", {}))
        track = event["name"] if event["ph"] == "C" else tracks[process, event["tid"]]
        if event["ph"] == "i":
            assert event["s"] == ("p" if event.get("cat") == "loss" else "t"), event
        events.append((event["ph"], process, track, round(event["ts"] * 1000), event.get("name", ""), arguments))
    return events, labels


def fields(data):
    """Fields of a message in the wire format of Protocol Buffers: (number, value)."""
    place = 0

    def varint():
        nonlocal place
        number = shift = 0
        while True:
            byte = data[place]
            place += 1
            number |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                return number

    while place < len(data):
        tag = varint()
        if tag & 7 == 0:
            yield tag >> 3, varint()
        elif tag & 7 == 1:
            yield tag >> 3, struct.unpack_from("<d", data, place)[0]
            place += 8
        else:
            assert tag & 7 == 2, tag
            length = varint()
            assert place + length <= len(data)
            yield tag >> 3, data[place:place + length]
            place += length


def perfetto(data):
    """The same as chrome()."""
    tracks, events, labels = {}, [], {}
    for index, (number, packet) in enumerate(fields(data)):
        assert number == 1
        packet = dict(fields(packet))
        assert packet[10] == 1  # the only sequence of packets
        assert packet.get(13) == (1 if index == 0 else None)
        if 60 in packet:
            descriptor = dict(fields(packet[60]))
            uuid = descriptor[1]
            assert uuid not in tracks, "a track is described once"
            if 3 in descriptor:
                process = dict(fields(descriptor[3]))
                tracks[uuid] = (process[1], "", False)
                labels[process[1], "name"] = process[6].decode()
            else:
                tracks[uuid] = (tracks[descriptor[5]][0], descriptor[2].decode(), 8 in descriptor)
            continue
        event, arguments = {}, {}
        for field, value in fields(packet[11]):
            if field != 4:
                event[field] = value
                continue
            annotation = dict(fields(value))
            arguments[annotation[10].decode()] = annotation[3] if 3 in annotation else annotation[6].decode()
        process, track, is_counter = tracks[event[11]]
        phase = PHASES[event[9]]
        assert (phase == "C") == is_counter
        name = event.get(23, b"").decode()
        if phase == "C":
            arguments["value"] = event[44] if 44 in event else event[30] - (event[30] >> 63 << 64)
            name = track
        if track == "what the times are":
            labels[process, "labels"] = name
            continue
        assert (event.get(22) == b"loss") == (track == "losses")
        events.append((phase, process, track, packet[8], name, arguments))
    return events, labels


class Vcd:
    """Signals by "scope.name"; changes as lists of (nanoseconds, value): a number, None for x, or a text."""

    def __init__(self, text):
        head, body = text.split("$enddefinitions $end\n")
        assert "$timescale 1 ns $end" in head
        self.comment = re.search(r"\$comment (.*?) \$end", head).group(1)
        self.types, self.changes, names = {}, {}, {}
        scope = ""
        for words in (line.split() for line in head.splitlines()):
            if words[0] == "$scope":
                scope = words[2]
            elif words[0] == "$var":
                _, kind, bits, identifier, name, end = words
                assert end == "$end" and identifier not in names, words
                name = f"{scope}.{name}"
                assert name not in self.types, name
                names[identifier] = name
                self.types[name] = (kind, int(bits))
                self.changes[name] = []
        now = None
        for line in body.splitlines():
            if line[0] == "#":
                assert now is None or int(line[1:]) > now, line
                now = int(line[1:])
            elif line[0] != "$":
                value, identifier = line.split(" ") if line[0] in "bsr" else (line[0], line[1:])
                self.changes[names[identifier]].append((now, self.value(value, self.types[names[identifier]])))
        self.end = now

    @staticmethod
    def value(text, form):
        if text[0] == "s":
            assert form[0] == "string"
            raw = re.sub(rb"\\([0-7]{3})", lambda match: bytes([int(match.group(1), 8)]), text[1:].encode())
            return raw.decode()
        if text[0] == "r":
            assert form[0] == "real"
            return float(text[1:])
        digits = text[1:] if text[0] == "b" else text
        assert len(digits) <= form[1] and (text[0] == "b" or form[1] == 1), (text, form)
        return None if digits == "x" else int(digits, 2)


def ctf_packets(data):
    """(begin, end, events discarded until its end, bytes) of each packet of a stream."""
    place, packets = 0, []
    while place < len(data):
        magic, stream, begin, end, content, size, number, discarded = struct.unpack_from("<IIQQQQQQ", data, place)
        assert (magic, stream, number) == (0xC1FC1FC1, 0, len(packets))
        assert content == size and size % 8 == 0 and 56 <= size // 8 <= 65536
        packets.append((begin, end, discarded, size // 8))
        place += size // 8
    assert place == len(data)
    return packets


def sigrok(data):
    """Samples a second, and the bytes of the one channel, sampled in the middle of each bit."""
    with zipfile.ZipFile(io.BytesIO(data)) as archive:
        assert archive.testzip() is None
        assert archive.read("version") == b"2"
        metadata = archive.read("metadata").decode()
        parts = sorted((name for name in archive.namelist() if name.startswith("logic-1-")), key=lambda name: int(name[8:]))
        samples = b"".join(archive.read(part) for part in parts)
    assert "probe1=SWO\nunitsize=1\n" in metadata
    rate = int(re.search(r"samplerate=(\d+)\n", metadata).group(1))
    found, place = bytearray(), 0
    while True:
        place = samples.find(b"\0", place)
        if place < 0:
            return rate, bytes(found)
        bits = [samples[place + 4 * bit + 2] for bit in range(10)]
        assert bits[0] == 0 and bits[9] == 1
        found.append(sum(bit << i for i, bit in enumerate(bits[1:9])))
        place += 38
