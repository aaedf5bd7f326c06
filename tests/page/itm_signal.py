"""Writes an ITM stream byte by byte, and remembers what it holds. Knows nothing of the product."""
import struct

ENTER, EXIT, RETURN = 1, 2, 3
SIZES = {1: 1, 2: 2, 4: 3}


class Signal:
    def __init__(self):
        self.bytes = bytearray()
        self.ticks = 0

    def add(self, *data):
        self.bytes += bytes(data)
        return self

    def wait(self, ticks):
        """A local timestamp: what came since the last one happened `ticks` after it."""
        self.ticks += ticks
        self.add(0xC0)
        while ticks >= 0x80:
            self.add(ticks & 0x7F | 0x80)
            ticks >>= 7
        return self.add(ticks)

    def sync(self):
        return self.add(0, 0, 0, 0, 0, 0x80)

    def overflow(self):
        return self.add(0x70)

    def port(self, number, data):
        return self.add(number << 3 | SIZES[len(data)], *data)

    def text(self, number, text):
        for byte in text if isinstance(text, bytes) else text.encode():
            self.port(number, bytes([byte]))
        return self

    def float(self, number, value):
        return self.port(number, struct.pack("<f", value))

    def exception(self, number, function):
        return self.add(0x0E, number & 0xFF, function << 4 | number >> 8)

    def sample(self, address):
        return self.add(0x17, *struct.pack("<I", address))

    def sleep(self):
        return self.add(0x15, 0)

    def written(self, comparator, value):
        return self.add((17 + 2 * comparator) << 3 | 0x04 | 3, *struct.pack("<I", value))

    def matched(self, comparator, pc, address, value):
        """What a comparator sends that traces the program counter, the lower half of the address, and the value written."""
        self.add((8 + 2 * comparator) << 3 | 0x04 | 3, *struct.pack("<I", pc))
        self.add((9 + 2 * comparator) << 3 | 0x04 | 2, *struct.pack("<H", address))
        return self.written(comparator, value)

    def counters(self, bits):
        return self.add(0x05, bits)
