// Without a standard library: it is also part of a program that has none.
#include "tests/abi/strings/exchange.h"

extern "C" {
int memcmp(const void*, const void*, size_t);
}

namespace {

constexpr size_t kLongest = 1024 * 1024;
constexpr size_t kLengths[] = {0, 1, 14, 15, 16, 31, 32, 4093, 4094, 4095, 4096, 4097, kLongest};
constexpr size_t kInPlace = 15;
constexpr size_t kLargeBlock = 4096;

char text[kLongest + 1];
ExchangeReport told;

/// Room for one string, with a pattern on both sides that nothing may change.
struct Room {
    unsigned char before[16];
    alignas(8) unsigned char string[32];
    unsigned char after[16];

    Room() {
        for (size_t i = 0; i < 16; ++i) before[i] = after[i] = 0xA5;
        for (unsigned char& byte : string) byte = 0x5A;
    }
    bool Untouched() const {
        for (size_t i = 0; i < 16; ++i) {
            if (before[i] != 0xA5 || after[i] != 0xA5) return false;
        }
        return true;
    }
};

/// Both sides must read the first `length` bytes of `expected`.
void Reads(const StringSide& one, const StringSide& other, const Room& room, const char* expected,
           size_t length, const char* what) {
    bool good = room.Untouched();
    const StringSide* const sides[] = {&one, &other};
    for (const StringSide* const side : sides) {
        const char* const found = side->text(room.string);
        good = good && side->size(room.string) == length && found[length] == '\0' &&
               memcmp(found, expected, length) == 0;
        const bool inside = found == reinterpret_cast<const char*>(room.string);
        const size_t capacity = side->capacity(room.string);
        good = good && inside == (capacity == kInPlace) && capacity >= length;
        good = good && (capacity + 1 < kLargeBlock || reinterpret_cast<size_t>(found) % 32 == 0);
    }
    told(good && one.capacity(room.string) == other.capacity(room.string), what, length);
}

/// What one side makes, the other reads and destroys.
void Make(const StringSide& one, const StringSide& other, size_t length) {
    Room room;
    one.make(room.string, text, length);
    Reads(one, other, room, text, length, "made");
    other.destroy(room.string);
}

/// What one side makes, the other gives another text; the first gives it a third.
void Assign(const StringSide& one, const StringSide& other, size_t length) {
    for (const size_t next : kLengths) {
        Room room;
        one.make(room.string, text, length);
        other.assign(room.string, text + kLongest - next, next);
        Reads(one, other, room, text + kLongest - next, next, "another text assigned");
        one.assign(room.string, text, length);
        Reads(one, other, room, text, length, "assigned back");
        other.destroy(room.string);
    }
}

void Copy(const StringSide& one, const StringSide& other, size_t length) {
    Room from;
    Room copy;
    one.make(from.string, text, length);
    other.copy(copy.string, from.string);
    Reads(one, other, copy, text, length, "copied");
    other.assignCopy(from.string, from.string);
    Reads(one, other, from, text, length, "assigned to itself");
    told(one.text(from.string) != one.text(copy.string), "a copy has a text of its own", length);
    other.destroy(from.string);
    one.destroy(copy.string);
}

void Move(const StringSide& one, const StringSide& other, size_t length) {
    Room from;
    Room to;
    one.make(from.string, text, length);
    const char* const address = one.text(from.string);
    other.move(to.string, from.string);
    Reads(one, other, to, text, length, "moved");
    Reads(one, other, from, text, 0, "empty after the move");
    told(length <= kInPlace || one.text(to.string) == address, "a move takes no memory", length);
    one.assign(from.string, text, length);
    Reads(one, other, from, text, length, "assigned after the move");
    one.destroy(from.string);
    one.destroy(to.string);
}

void AssignStrings(const StringSide& one, const StringSide& other, size_t length) {
    for (const size_t next : kLengths) {
        Room from;
        Room to;
        one.make(from.string, text, length);
        other.make(to.string, text + kLongest - next, next);
        other.assignCopy(to.string, from.string);
        Reads(one, other, to, text, length, "assigned as a copy");
        one.assign(to.string, text + kLongest - next, next);
        other.assignMove(to.string, from.string);
        Reads(one, other, to, text, length, "assigned as a move");
        other.assignMove(to.string, to.string);
        Reads(one, other, to, text, length, "moved to itself");
        one.destroy(to.string);
        one.destroy(from.string);
    }
}

/// A result of the other side's operation.
void Return(const StringSide& one, const StringSide& other, size_t length) {
    Room room;
    one.take(room.string, other.giver, text, length);
    Reads(one, other, room, text, length, "returned by value");
    one.destroy(room.string);
}

/// Bytes that fit, as both sides count them, while the text grows by one byte at a time: first each side on
/// its own, then in turns on the same string.
void Grow(const StringSide& one, const StringSide& other) {
    Room alone;
    Room together;
    Room others;
    one.make(alone.string, text, 0);
    one.make(together.string, text, 0);
    other.make(others.string, text, 0);
    for (size_t length = 0; length < 20000; ++length) {
        one.assign(alone.string, text, length);
        other.assign(others.string, text, length);
        (length % 2 == 0 ? one : other).assign(together.string, text, length);
        const size_t capacity = one.capacity(alone.string);
        if (capacity != other.capacity(others.string) || capacity != one.capacity(together.string)) {
            told(false, "grows alike", length);
        }
    }
    told(true, "grows alike", one.size(alone.string));
    Reads(one, other, together, text, 19999, "grown in turns");
    other.destroy(alone.string);
    other.destroy(together.string);
    one.destroy(others.string);
}

}  // namespace

void ExchangeStrings(const StringSide& one, const StringSide& other, ExchangeReport report) {
    told = report;
    for (size_t i = 0; i < kLongest; ++i) text[i] = static_cast<char>(i % 251);
    for (const size_t length : kLengths) {
        Make(one, other, length);
        Assign(one, other, length);
        Copy(one, other, length);
        Move(one, other, length);
        AssignStrings(one, other, length);
        Return(one, other, length);
    }
    Grow(one, other);
}
