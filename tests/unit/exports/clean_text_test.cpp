// Texts of any bytes as UTF-8, and the buffer that they are written into.
#include "exports/clean_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>

#include "exports/byte_buffer.h"
#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

/// Character by character, as utf8.h takes them.
std::string Expected(std::string_view text, bool zerosShown) {
    std::string clean;
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        clean += zerosShown && character[0] == '\0' ? std::string_view("\xE2\x90\x80") : character;
    }
    return clean;
}

/// Written into room of the very size that is asked for, so that a tool that watches memory sees one byte
/// more.
std::string Written(std::string_view text, ZeroByte zero) {
    const std::size_t room = CleanRoom(text.size());
    const auto place = std::make_unique<char[]>(room);
    char* const end = WriteClean(place.get(), text, zero);
    EXPECT_LE(static_cast<std::size_t>(end - place.get()), room);
    return {place.get(), end};
}

void ExpectClean(const std::string& text) {
    ASSERT_EQ(Written(text, ZeroByte::Kept), Expected(text, false)) << testing::PrintToString(text);
    ASSERT_EQ(Written(text, ZeroByte::Shown), Expected(text, true)) << testing::PrintToString(text);
    const bool ascii = std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; });
    ASSERT_EQ(IsAscii(text), ascii) << testing::PrintToString(text);
}

TEST(CleanTexts, EveryByteAndEveryPairOfBytes) {
    ExpectClean("");
    for (int first = 0; first < 256; ++first) {
        ExpectClean(std::string(1, static_cast<char>(first)));
        for (int second = 0; second < 256; ++second) {
            ExpectClean({static_cast<char>(first), static_cast<char>(second)});
        }
    }
}

TEST(CleanTexts, OneOddByteAnywhereInALongOne) {
    for (const char odd : {'\0', '\x01', '\x7F', '\x80', '\xC3', '\xFF'}) {
        for (std::size_t size = 1; size < 40; ++size) {
            for (std::size_t place = 0; place < size; ++place) {
                std::string text(size, 'a');
                text[place] = odd;
                ExpectClean(text);
            }
        }
    }
}

TEST(CleanTexts, AnyBytes) {
    std::mt19937 random(7);
    const std::string characters[] = {"plain ascii",      "\xC3\xA9",         "\xE2\x82\xAC",
                                      "\xF0\x9F\x98\x80", "\xF4\x90\x80\x80", std::string("\0", 1),
                                      "\xED\xA0\x80"};
    for (std::size_t turn = 0; turn < 2000; ++turn) {
        std::string text;
        while (text.size() < turn % 100) {
            const auto choice = random() % 10;
            if (choice < std::size(characters)) {
                text += characters[choice];
            } else {
                text += static_cast<char>(random());
            }
        }
        ExpectClean(text);
    }
}

TEST(ByteBuffers, HoldWhatIsAddedAndGiveItsBeginningAway) {
    ByteBuffer buffer;
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        buffer.AddNumber(0x0807060504030201, static_cast<std::size_t>(i % 9));
        expected +=
            std::string_view("\x01\x02\x03\x04\x05\x06\x07\x08").substr(0, static_cast<std::size_t>(i % 9));
        buffer.Add("text");
        expected += "text";
        buffer.Add({});
        if (i % 50 != 49) continue;
        buffer.Drop(100);
        expected.erase(0, 100);
    }
    EXPECT_EQ(buffer.Bytes(), expected);
    EXPECT_EQ(buffer.Size(), expected.size());
    buffer.Drop(buffer.Size());
    EXPECT_EQ(buffer.Bytes(), "");
    buffer.Add("anew");
    EXPECT_EQ(buffer.Bytes(), "anew");
    buffer.Clear();
    EXPECT_EQ(buffer.Size(), 0U);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Exports
