#pragma once

#include "tests/abi/strings/string_side.h"

struct Here {
    void* at;
};
inline void* operator new(size_t, Here here) { return here.at; }
inline void operator delete(void*, Here) {}

/// The side whose strings are of the type String. Make makes one of a text and its length, Change gives it
/// another.
template <class String, String (*Make)(const char*, size_t), void (*Change)(String&, const char*, size_t)>
struct SideOf {
    static String& Of(void* string) { return *static_cast<String*>(string); }
    static const String& Of(const void* string) { return *static_cast<const String*>(string); }

    static void MakeAt(void* at, const char* text, size_t length) {
        new (Here{at}) String(Make(text, length));
    }
    static void Copy(void* at, const void* from) { new (Here{at}) String(Of(from)); }
    static void Move(void* at, void* from) { new (Here{at}) String(static_cast<String&&>(Of(from))); }
    static void Assign(void* to, const char* text, size_t length) { Change(Of(to), text, length); }
    static void AssignCopy(void* to, const void* from) { Of(to) = Of(from); }
    static void AssignMove(void* to, void* from) { Of(to) = static_cast<String&&>(Of(from)); }
    static void Destroy(void* string) { Of(string).~String(); }
    static const char* Text(const void* string) { return Of(string).c_str(); }
    static size_t Size(const void* string) { return Of(string).size(); }
    static size_t Capacity(const void* string) { return Of(string).capacity(); }
    static void Take(void* at, void* giver, const char* text, size_t length) {
        new (Here{at}) String(static_cast<StringGiver<String>*>(giver)->Give(text, length));
    }

    struct Giver final : StringGiver<String> {
        String Give(const char* text, size_t length) override { return Make(text, length); }
    };

    static const StringSide* Table(const char* name) {
        static Giver giver;
        static const StringSide side = {
            name,       MakeAt,  Copy, Move, Assign,   AssignCopy,
            AssignMove, Destroy, Text, Size, Capacity, static_cast<StringGiver<String>*>(&giver),
            Take};
        return &side;
    }
};
