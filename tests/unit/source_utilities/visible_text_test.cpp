#include "source_utilities/visible_text.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using KORR_PLIM::Visible;

std::string Shown(const std::string& value) { return Visible(value).Text(); }

TEST(VisibleText, LineFeedsReturnsAndTabsHaveTheirUsualNames) {
    EXPECT_EQ(Shown("a\nM 12:00:00:000 | forged\r\n\tb"), "a\\nM 12:00:00:000 | forged\\r\\n\\tb");
    EXPECT_EQ(Shown("\n"), "\\n");
}

TEST(VisibleText, EveryOtherControlCharacterIsItsNumber) {
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '\n' || byte == '\r' || byte == '\t') continue;
        const std::string value = std::string("<") + static_cast<char>(byte) + ">";
        char number[8];
        std::snprintf(number, sizeof number, "<\\x%02X>", static_cast<unsigned>(byte));
        EXPECT_EQ(Shown(value), byte < 0x20 || byte == 0x7F ? number : value) << byte;
    }
}

TEST(VisibleText, ControlCharactersOfTwoBytesAreShownWhole) {
    for (int byte = 0x80; byte <= 0x9F; ++byte) {
        char number[12];
        std::snprintf(number, sizeof number, "\\xC2\\x%02X", static_cast<unsigned>(byte));
        EXPECT_EQ(Shown(std::string("\xC2") + static_cast<char>(byte)), number);
    }
    EXPECT_EQ(Shown("\xC2\xA0 \xC3\x85 \xC2"), "\xC2\xA0 \xC3\x85 \xC2");
}

TEST(VisibleText, AValueWithoutControlCharactersIsNotCopied) {
    const std::string value = "C:\\home\\n and 100 % \xE4";
    EXPECT_EQ(Visible(value).Text(), value.c_str());
    EXPECT_STREQ(Visible("").Text(), "");
}

TEST(VisibleText, NullIsTheEmptyText) { EXPECT_STREQ(Visible(nullptr).Text(), ""); }

}  // namespace
