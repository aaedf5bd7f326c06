// Texts of any length and any bytes, as the formats want them.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "exports/json_text.h"
#include "exports/proto_message.h"
#include "exports/row_text.h"
#include "exports/utf8.h"
#include "tests/unit/exports/memory_output.h"

namespace Korr::Plim::Trace::Exports {

namespace {

std::string Clean(std::string_view text) {
    std::string clean;
    while (!text.empty()) clean += TakeCharacter(text);
    return clean;
}

TEST(Utf8, CharactersStayAndOtherBytesAreReplaced) {
    const std::string whole =
        "a\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(Clean(whole), whole);
    const std::string mark(kReplacement);
    for (const char* const bad : {"\x80", "\xC1", "\xF5", "\xFF"}) EXPECT_EQ(Clean(bad), mark) << bad;
    for (const char* const cut : {"\xC2", "\xE0", "\xF0"}) EXPECT_EQ(Clean(cut), mark);
    EXPECT_EQ(Clean("\xC0\x80"), mark + mark);             // a longer form than is needed
    EXPECT_EQ(Clean("\xE0\x9F\xBF"), mark + mark + mark);  // the same
    EXPECT_EQ(Clean("\xED\xA0\x80"), mark + mark + mark);  // a surrogate
    EXPECT_EQ(Clean("\xF0\x8F\xBF\xBF"), mark + mark + mark + mark);
    EXPECT_EQ(Clean("\xF4\x90\x80\x80"), mark + mark + mark + mark);  // above U+10FFFF
    EXPECT_EQ(Clean("\xE2\x82"
                    "a"),
              mark + mark + "a");
}

std::string Json(std::string_view text) {
    MemoryOutput output;
    RowText row(output);
    AddJsonString(row, text);
    row.Flush();
    return output.text;
}

TEST(JsonText, EveryByteComesBackOrIsReplaced) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text = std::string("a") + static_cast<char>(byte) + "b";
        const std::string expected = byte < 0x80 ? text : "a" + std::string(kReplacement) + "b";
        EXPECT_EQ(nlohmann::json::parse(Json(text)).get<std::string>(), expected) << byte;
    }
}

TEST(JsonText, LongTextsComeOutWhole) {
    for (const std::size_t size :
         {std::size_t{65000}, std::size_t{65535}, std::size_t{65536}, std::size_t{200000}}) {
        std::string text(size, 'x');
        EXPECT_EQ(nlohmann::json::parse(Json(text)).get<std::string>(), text) << size;
        text.assign(size, '"');
        EXPECT_EQ(nlohmann::json::parse(Json(text)).get<std::string>(), text) << size;
    }
}

TEST(RowTexts, LongOnesGoWhereTheyBelong) {
    for (const std::size_t before :
         {std::size_t{0}, std::size_t{1}, std::size_t{60000}, std::size_t{65000}}) {
        for (const std::size_t size : {std::size_t{0}, std::size_t{511}, std::size_t{513}, std::size_t{65024},
                                       std::size_t{65025}, std::size_t{70000}}) {
            MemoryOutput output;
            RowText row(output);
            std::string expected;
            while (expected.size() < before) {
                row.BeginRow();
                row.Add('.');
                expected += '.';
            }
            const std::string text(size, 'x');
            row.BeginRow();
            row.AddLong(text);
            row.Add(std::string(RowText::kLongestRow, 'y'));
            row.Flush();
            EXPECT_EQ(output.text, expected + text + std::string(RowText::kLongestRow, 'y'))
                << before << " " << size;
        }
    }
}

TEST(RowTexts, LongOnesMayComeWithinARow) {
    for (std::size_t before = RowText::kLongestRow; before > 0; before /= 2) {
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{300}, std::size_t{600},
                                       std::size_t{4096}, std::size_t{70000}}) {
            MemoryOutput output;
            RowText row(output);
            std::string expected;
            while (expected.size() < 65536 - RowText::kLongestRow) {  // the last place where a row may begin
                row.BeginRow();
                row.Add('.');
                expected += '.';
            }
            row.BeginRow();
            row.Add(std::string(before, 'b'));
            row.AddLong(std::string(size, 'x'));
            row.Add(std::string(RowText::kLongestRow, 'y'));
            row.Flush();
            expected +=
                std::string(before, 'b') + std::string(size, 'x') + std::string(RowText::kLongestRow, 'y');
            EXPECT_EQ(output.text, expected) << before << " " << size;
        }
    }
}

TEST(JsonText, TextsComeOutWholeWhereverTheirRoomEnds) {
    for (std::size_t dots = 64900; dots < 65100; ++dots) {
        MemoryOutput output;
        RowText row(output);
        for (std::size_t i = 0; i < dots; ++i) {
            row.BeginRow();
            row.Add(' ');
        }
        const std::string text =
            "\"" + std::string(700, 'x') + "\n" + std::string(4000, 'y') + "\xc3\xa9" + std::string(600, 'z');
        AddJsonString(row, text);
        row.Flush();
        ASSERT_EQ(nlohmann::json::parse(output.text).get<std::string>(), text) << dots;
    }
}

TEST(ProtoMessages, HaveTheFormOfTheDefinition) {
    ProtoMessage message;
    message.AddInteger(1, 150);  // the definition's own example
    EXPECT_EQ(message.Bytes(), std::string_view("\x08\x96\x01", 3));
    message.Clear();
    message.AddBytes(2, "testing");
    EXPECT_EQ(message.Bytes(), "\x12\x07testing");
    message.Clear();
    message.AddInteger(30, UINT64_MAX);
    EXPECT_EQ(message.Bytes(), std::string_view("\xF0\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 12));
    message.Clear();
    message.AddDouble(44, 1.5);
    EXPECT_EQ(message.Bytes(), std::string_view("\xE1\x02\0\0\0\0\0\0\xF8\x3F", 10));
}

TEST(ProtoMessages, TellTheirSizeBefore) {
    ProtoMessage message;
    for (const uint32_t field : {1U, 15U, 16U, 60U, 2047U, 2048U}) {
        for (int bits = 0; bits < 64; ++bits) {
            for (const uint64_t number :
                 {(uint64_t{1} << bits) - 1, uint64_t{1} << bits, UINT64_MAX >> bits}) {
                message.Clear();
                message.AddInteger(field, number);
                EXPECT_EQ(ProtoMessage::SizeOfInteger(field, number), message.Size())
                    << field << " " << number;
            }
        }
        for (const std::size_t count : {0U, 1U, 127U, 128U, 16383U, 16384U}) {
            message.Clear();
            message.AddBytes(field, std::string(count, 'x'));
            EXPECT_EQ(ProtoMessage::SizeOfBytes(field, count), message.Size()) << field << " " << count;
        }
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Exports
