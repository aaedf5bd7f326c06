"""Reads what a Windows program or library tells of itself: headers, exports, imports, resources."""
import collections
import struct


class PeFile:
    DYNAMIC_BASE, NX_COMPATIBLE, HIGH_ENTROPY_BASE = 0x40, 0x100, 0x20
    _EXECUTED, _WRITTEN = 0x20000000, 0x80000000
    _EXPORTS, _IMPORTS, _RESOURCES, _RELOCATIONS, _THREAD_LOCALS, _LOAD_CONFIGURATION = 0, 1, 2, 5, 9, 10

    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        start = self._at("<I", 0x3C)
        if self.data[:2] != b"MZ" or self.data[start:start + 4] != b"PE\0\0":
            raise ValueError(f"{path} is no Windows module")
        machine, section_count, header_size = struct.unpack_from("<HH12xH", self.data, start + 4)
        header = start + 24
        if machine != 0x8664 or self._at("<H", header) != 0x20B:
            raise ValueError(f"{path} is not for x64")
        self.base = self._at("<Q", header + 24)
        self.characteristics = self._at("<H", header + 70)
        self.directories = [struct.unpack_from("<II", self.data, header + 112 + 8 * index) for index in range(16)]
        self.sections = []
        for index in range(section_count):
            name, size, address, raw_size, raw, flags = struct.unpack_from(
                "<8sIIII12xI", self.data, header + header_size + 40 * index)
            self.sections.append((name.rstrip(b"\0").decode(), address, max(size, raw_size), raw, flags))

    def _at(self, form, offset):
        return struct.unpack_from(form, self.data, offset)[0]

    def _offset(self, address):
        for _, start, size, raw, _ in self.sections:
            if start <= address < start + size:
                return address - start + raw
        raise ValueError(f"address {address:#x} is in no section")

    def _text(self, address):
        offset = self._offset(address)
        return self.data[offset:self.data.index(b"\0", offset)].decode()

    def exports(self):
        address, size = self.directories[self._EXPORTS]
        if not size:
            return []
        count, names = struct.unpack_from("<I4xI", self.data, self._offset(address) + 24)
        return [self._text(self._at("<I", self._offset(names) + 4 * index)) for index in range(count)]

    def imports(self):
        """Pairs of library, in small letters, and name."""
        found = []
        address, size = self.directories[self._IMPORTS]
        entry = self._offset(address) if size else None
        while entry is not None and self._at("<I", entry + 12):
            library = self._text(self._at("<I", entry + 12)).lower()
            table = self._offset(self._at("<I", entry) or self._at("<I", entry + 16))
            while thunk := self._at("<Q", table):
                found.append((library, f"#{thunk & 0xFFFF}" if thunk >> 63 else self._text(thunk + 2)))
                table += 8
            entry += 20
        return found

    def has_thread_local_section(self):
        return self.directories[self._THREAD_LOCALS][1] != 0

    def has_relocations(self):
        return self.directories[self._RELOCATIONS][1] != 0

    def writable_code(self):
        """Names of the sections that can be both written and executed."""
        return [name for name, _, _, _, flags in self.sections if flags & self._EXECUTED and flags & self._WRITTEN]

    def stack_cookie(self):
        """Where the load configuration tells the loader that the cookie is, from the module's beginning; None without."""
        address, size = self.directories[self._LOAD_CONFIGURATION]
        cookie = self._at("<Q", self._offset(address) + 88) if size >= 96 else 0
        return cookie - self.base if cookie else None

    def stack_cookie_checks(self):
        """Calls of the function that compares a cookie with the module's and ends the program (int 0x29)."""
        cookie = self.stack_cookie()
        calls = collections.Counter(target for _, target in self._calls())
        return sum(count for target, count in calls.items() if cookie and self._is_cookie_check(target, cookie))

    def _calls(self):
        """Where the code has what reads like a direct call, and the address that it calls."""
        for _, start, size, raw, flags in self.sections:
            end = min(raw + size, len(self.data)) - 4 if flags & self._EXECUTED else 0
            at = self.data.find(b"\xE8", raw, end)
            while at >= 0:
                yield at, at - raw + start + 5 + self._at("<i", at + 1)
                at = self.data.find(b"\xE8", at + 1, end)

    def _is_cookie_check(self, function, cookie):
        try:
            start = self._offset(function)
        except ValueError:
            return False
        body = self.data[start:start + 32]
        refers = any(function + at + 4 + struct.unpack_from("<i", body, at)[0] == cookie for at in range(len(body) - 3))
        return refers and b"\xCD\x29" in body

    def version(self):
        """The version resource: {"FixedFileVersion": "1.2.3.4", "ProductName": ...}; empty without one."""
        address, size = self.directories[self._RESOURCES]
        if not size:
            return {}
        root = self._offset(address)
        entry = self._resource(root, root, 16)
        if entry is None:
            return {}
        start, length = self._offset(self._at("<I", entry)), self._at("<I", entry + 4)
        return self._version_values(self.data[start:start + length])

    def _resource(self, root, table, kind):
        """The first data entry below the entry `kind` of a resource table; any entry for None."""
        named, numbered = struct.unpack_from("<HH", self.data, table + 12)
        for index in range(named + numbered):
            identifier, target = struct.unpack_from("<II", self.data, table + 16 + 8 * index)
            if kind in (None, identifier):
                below = root + (target & 0x7FFFFFFF)
                return self._resource(root, below, None) if target >> 31 else below
        return None

    @staticmethod
    def _version_values(block):
        values = {}
        fixed = block.find(struct.pack("<I", 0xFEEF04BD))
        if fixed >= 0:
            high, low = struct.unpack_from("<II", block, fixed + 8)
            values["FixedFileVersion"] = f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"
        words = block.decode("utf-16-le", errors="replace").split("\0")
        words = [word for word in words if len(word) > 1]
        for name in ("CompanyName", "FileDescription", "FileVersion", "InternalName", "OriginalFilename", "ProductName",
                     "ProductVersion", "LegalCopyright"):
            for index, word in enumerate(words[:-1]):
                if word.endswith(name):
                    values[name] = words[index + 1]
        return values
