// The host's string beside HostString, each compiled apart, in one program: under the sanitizers this shows
// what is freed otherwise than it was taken.

#include <gtest/gtest.h>

#include <string>

#include "host_api/windows/HostString.h"
#include "tests/abi/strings/exchange.h"
#include "tests/abi/strings/host_side.h"
#include "tests/abi/strings/plugin_side.h"

namespace {

using Korr::Plim::Trace::HostString;

int expectations = 0;

void Expect(bool holds, const char* what, std::size_t length) {
    ++expectations;
    EXPECT_TRUE(holds) << what << ", " << length << " bytes";
}

void ExpectExchange(const StringSide& one, const StringSide& other) {
    expectations = 0;
    ExchangeStrings(one, other, Expect);
    EXPECT_EQ(expectations, 13 * (1 + 13 * 2 + 3 + 4 + 13 * 3 + 1) + 2);
}

TEST(HostStrings, HostGivesPluginTakes) { ExpectExchange(*HostStrings(), *PluginStrings()); }
TEST(HostStrings, PluginGivesHostTakes) { ExpectExchange(*PluginStrings(), *HostStrings()); }
TEST(HostStrings, PluginAlone) { ExpectExchange(*PluginStrings(), *PluginStrings()); }
TEST(HostStrings, HostAlone) { ExpectExchange(*HostStrings(), *HostStrings()); }

/// Bytes that fit after each growth, a byte at a time: the host's published sequence.
TEST(HostStrings, GrowsByHalf) {
    const std::vector<std::size_t> expected = {15,  31,  47,   70,   105,  157,  235,  352,
                                               528, 792, 1188, 1782, 2673, 4009, 6013, 9019};
    std::vector<std::size_t> found = {15};
    HostString text;
    std::string wanted;
    while (found.size() < expected.size()) {
        wanted += 'x';
        text = wanted;
        if (text.capacity() != found.back()) found.push_back(text.capacity());
    }
    EXPECT_EQ(found, expected);
}

TEST(HostStrings, BecomesAndComesFromTheCompilersOwn) {
    const std::string withZero("a\0b and some more text", 22);
    const HostString text = withZero;
    EXPECT_EQ(text.size(), 22u);
    EXPECT_EQ(std::string(text), withZero);
    EXPECT_EQ(text, withZero);
    EXPECT_FALSE(text == "a");
    EXPECT_EQ(HostString("same"), HostString(std::string("same")));
    HostString cleared = text;
    cleared.clear();
    EXPECT_TRUE(cleared.empty());
    EXPECT_EQ(cleared.capacity(), 31u);
    EXPECT_STREQ(cleared.c_str(), "");
}

TEST(HostStrings, TooLongATextIsRefusedAndTheOldOneKept) {
    HostString text = "a text that is not in place";
    const std::string_view huge(text.c_str(), HostString::kMaxSize + 1);  // never read
    EXPECT_THROW(text = huge, std::length_error);
    EXPECT_THROW(HostString{huge}, std::length_error);
    EXPECT_EQ(text, "a text that is not in place");
}

}  // namespace
