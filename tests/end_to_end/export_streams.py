"""Trace streams whose content is known, and a firmware's ELF file, written from the formats alone."""
import os
import struct

HOSTILE = 'a "b" \\ <script>alert(1)</script>; c\td\x01 \x7f é € \\101'
HOSTILE_BYTES = HOSTILE.encode() + b" \xff\xc3"  # and what is no UTF-8
SHOWN = HOSTILE + " \ufffd\ufffd"


class Trace:
    """Packets; `now` is the sum of the timestamps, which is the time of the packets before each."""

    def __init__(self):
        self.data = bytearray()
        self.now = 0

    def add(self, data):
        place = len(self.data)
        self.data += data
        return place

    def sync(self):
        return self.add(b"\0\0\0\0\0\x80")

    def tick(self, ticks):
        self.now += ticks
        if 1 <= ticks <= 6:
            return self.add(bytes([ticks << 4]))
        data = bytearray(b"\xC0")
        while True:
            data.append(ticks & 0x7F | (0x80 if ticks > 0x7F else 0))
            ticks >>= 7
            if not ticks:
                return self.add(data)

    def exception(self, number, function):
        return self.add(bytes([0x0E, number & 0xFF, number >> 8 | function << 4]))

    def enter(self, number):
        return self.exception(number, 1)

    def exit(self, number):
        return self.exception(number, 2)

    def back(self, number):
        return self.exception(number, 3)

    def stimulus(self, port, payload):
        return self.add(bytes([port << 3 | {1: 1, 2: 2, 4: 3}[len(payload)]]) + payload)

    def text(self, port, text):
        place = len(self.data)
        for byte in text:
            self.stimulus(port, bytes([byte]))
        return place

    def pc(self, address):
        return self.add(b"\x17" + struct.pack("<I", address))

    def asleep(self):
        return self.add(b"\x15\x00")

    def prohibited(self):
        return self.add(b"\x15\xff")

    def watch(self, comparator, value, write=True):
        return self.add(bytes([(16 + 2 * comparator + write) << 3 | 7]) + struct.pack("<I", value))

    def counters(self, bits):
        return self.add(bytes([0x05, bits]))

    def overflow(self):
        return self.add(b"\x70")

    def damage(self):
        """A byte that begins no packet. What stands between it and the timestamp before it is suspect."""
        return self.add(b"\x04")


def tdf(*captures):
    """A TDF file with a section for each capture."""
    out = b"KTDF" + struct.pack("<III", 1, 16, 0)
    for data in captures:
        name = b"BinTraceData"
        data = data + bytes(-len(data) % 8)
        out += struct.pack("<III", 12 + len(name) + len(data), 1, len(name)) + name + data
    return out


def framed(data):
    """As stream 1 in TPIU frames, whose first byte says so, padded with the null stream."""
    given, out = bytearray([1 << 1 | 1]) + data, bytearray()
    while len(given) % 15:
        given.append(0)  # fewer than a frame, at the end
    for begin in range(0, len(given), 15):
        frame, low = bytearray(given[begin:begin + 15]), 0
        for place in range(0 if begin else 2, 15, 2):  # the lowest bits of data at even places are in the last byte
            low |= (frame[place] & 1) << place // 2
            frame[place] &= 0xFE
        out += frame + bytes([low])
    return b"\xff\xff\xff\x7f" + bytes(out)


def elf(functions, vectors):
    """A firmware at 0x08000000. \\param functions name (bytes) to (address, size) \\param vectors number to address"""
    base = 0x08000000
    table = bytearray(4 * 64)
    for number, address in vectors.items():
        struct.pack_into("<I", table, 4 * number, address | 1)
    names, symbols = bytearray(b"\0"), bytearray(16)
    for name, (address, size) in functions.items():
        symbols += struct.pack("<IIIBBH", len(names), address | 1, size, 0x12, 0, 2)
        names += name + b"\0"
    sections = [(b"", 0, 0, b"", 0, 0), (b".isr_vector", 1, base, bytes(table), 0, 0),
                (b".text", 1, base + len(table), bytes(0x1000), 0, 0), (b".symtab", 2, 0, bytes(symbols), 4, 16),
                (b".strtab", 3, 0, bytes(names), 0, 0)]
    titles = b"".join(section[0] + b"\0" for section in sections) + b".shstrtab\0"
    sections.append((b".shstrtab", 3, 0, titles, 0, 0))
    body, headers, place = bytearray(), bytearray(), 52 + 32
    for name, kind, address, content, link, entry in sections:
        headers += struct.pack("<IIIIIIIIII", titles.index(name + b"\0"), kind, 2 if address else 0, address,
                               place + len(body), len(content), link, 0, 4, entry)
        body += content
    loaded = len(table) + 0x1000
    head = b"\x7fELF\x01\x01\x01" + bytes(9) + struct.pack("<HHIIIIIHHHHHH", 2, 40, 1, base, 52, place + len(body), 0, 52, 32,
                                                            1, 40, len(sections), len(sections) - 1)
    segment = struct.pack("<IIIIIIII", 1, place, base, base, loaded, loaded, 5, 4)
    return head + segment + bytes(body) + bytes(headers)


MAIN, WORK, HANDLER, ODD = 0x08000200, 0x08000300, 0x08000400, 0x08000500
ODD_NAME = b'odd;name, "quoted"\n\\ \xff'
FUNCTIONS = {b"main": (MAIN, 0x80), b"_Z4workii": (WORK, 0x40), b"TIM2_IRQHandler": (HANDLER, 0x20), ODD_NAME: (ODD, 0x10)}
WORK_SHOWN = "_Z4workii" if os.environ.get("TARNEL_WINEPREFIX") else "work(int, int)"  # on Windows as the linker has it
FIRMWARE = elf(FUNCTIONS, {15: ODD, 44: HANDLER})


def everything():
    """Exceptions nested and tail-chained, numbers of all types, hostile text, samples, watches, counters and losses."""
    trace = Trace()
    trace.sync()
    trace.tick(5)
    trace.enter(15)
    trace.tick(95)     # 100
    trace.enter(44)
    trace.pc(HANDLER + 4)
    trace.tick(50)     # 150
    trace.exit(44)
    trace.enter(28)
    trace.tick(10)     # 160
    trace.exit(28)
    trace.back(15)
    trace.pc(ODD + 2)
    trace.tick(10)     # 170
    trace.back(0)      # without an exit of 15
    trace.pc(MAIN)
    trace.pc(WORK | 1)
    trace.asleep()
    trace.prohibited()
    trace.pc(0x20000000)
    trace.tick(30)     # 200
    trace.stimulus(1, b"\xfe")
    trace.stimulus(2, b"\x18\xfc")
    trace.stimulus(3, struct.pack("<f", 1.5))
    trace.stimulus(4, struct.pack("<I", 0xFFFFFFFF))
    trace.tick(100)    # 300
    trace.stimulus(3, struct.pack("<f", float("nan")))
    trace.stimulus(2, b"\x07")  # too short for i16
    trace.watch(1, 0xDEADBEEF)
    trace.watch(0, 7, write=False)
    trace.counters(0x21)
    trace.tick(100)    # 400
    trace.text(0, HOSTILE_BYTES + b"\r\n")
    trace.tick(100)    # 500
    trace.text(0, b"half")
    trace.tick(100)    # 600
    trace.text(0, b" line\n")
    trace.enter(44)
    trace.tick(100)    # 700
    trace.overflow()
    trace.tick(100)    # 800: what runs is not known
    trace.exit(44)
    trace.back(0)
    trace.tick(100)    # 900
    trace.stimulus(1, b"\x55")  # suspect
    trace.damage()
    trace.sync()
    trace.tick(100)    # 1000
    trace.stimulus(1, b"\x01")
    trace.tick(100)    # 1100
    return trace


TYPES = ("--port-type", "1=i8:tiny", "--port-type", "2=i16", "--port-type", "3=f32:speed; \"fast\"", "--port-type", "4=u32")
