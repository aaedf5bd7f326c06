#include "source_utilities/uString.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace {

using namespace KORR_PLIM;

template <typename Call>
std::string MessageOf(Call call) {
    try {
        call();
    } catch (const uString::error& failure) {
        return failure.what();
    }
    return "nothing thrown";
}

TEST(ToNumber, NullTextThrows) {
    EXPECT_EQ(MessageOf([] { uString::ToNumber<uint32_t>(nullptr); }),
              "unable to convert null string to numeric");
}
TEST(ToNumber, EmptyTextThrows) {
    EXPECT_EQ(MessageOf([] { uString::ToNumber<int32_t>(""); }), "unable to convert empty string to numeric");
}
TEST(ToNumber, ErrorIsASourceUtilitiesErrorAndARuntimeError) {
    EXPECT_THROW(uString::ToNumber<double>(nullptr), source_utilities_error);
    EXPECT_THROW(uString::ToNumber<double>(nullptr), std::runtime_error);
}
TEST(ToNumber, ReadsHexadecimalAfterEitherPrefix) {
    EXPECT_EQ(uString::ToNumber<uint32_t>("0x1F"), 31U);
    EXPECT_EQ(uString::ToNumber<uint32_t>("0X1f"), 31U);
    EXPECT_EQ(uString::ToNumber<uint64_t>("0xFFFFFFFFFF"), 0xFFFFFFFFFFU);
}
TEST(ToNumber, ReadsOctalAfterALeadingZero) {
    EXPECT_EQ(uString::ToNumber<int32_t>("017"), 15);
    EXPECT_EQ(uString::ToNumber<int64_t>("0017"), 15);
}
TEST(ToNumber, PrefixesAloneGiveZero) {
    for (const char* text : {"0", "0x", "0X"}) EXPECT_EQ(uString::ToNumber<uint32_t>(text), 0U) << text;
}
TEST(ToNumber, ReadsDecimalOtherwise) {
    EXPECT_EQ(uString::ToNumber<int32_t>("-15"), -15);
    EXPECT_EQ(uString::ToNumber<uint32_t>(" 72000000"), 72000000U);
    EXPECT_EQ(uString::ToNumber<uint32_t>("115200 baud"), 115200U);
    EXPECT_DOUBLE_EQ(uString::ToNumber<double>("2.5"), 2.5);
}
TEST(ToNumber, TextThatIsNoNumberGivesZero) {
    for (const char* text : {"Prescalar value", "x12", "-", "0xZZ", "08", " ", "Auto"}) {
        EXPECT_EQ(uString::ToNumber<uint32_t>(text), 0U) << text;
        EXPECT_EQ(uString::ToNumber<int64_t>(text), 0) << text;
    }
    EXPECT_DOUBLE_EQ(uString::ToNumber<double>("Auto"), 0.0);
}
TEST(ToNumber, OverflowGivesTheNearestValue) {
    EXPECT_EQ(uString::ToNumber<uint32_t>("4294967296"), std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(uString::ToNumber<int32_t>("2147483648"), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(uString::ToNumber<int32_t>("-2147483649"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(uString::ToNumber<uint32_t>("0x1FFFFFFFF"), std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(uString::ToNumber<int64_t>("9223372036854775808"), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(uString::ToNumber<uint64_t>(std::string(1000, '9').c_str()),
              std::numeric_limits<uint64_t>::max());
}
TEST(ToNumber, NegativeTextWrapsInAnUnsignedType) {
    EXPECT_EQ(uString::ToNumber<uint32_t>("-1"), 0xFFFFFFFFU);
}

TEST(Replace, ReplacesAllOccurrencesInPlace) {
    std::string text = "a-b-c-";
    EXPECT_EQ(&uString::Replace(text, "-", "::"), &text);
    EXPECT_EQ(text, "a::b::c::");
}
TEST(Replace, ResumesAtTheMatchPlusThePatternsLength) {
    // The shorter replacement lets the search step over what follows it.
    std::string text = "aabaab";
    uString::Replace(text, "aa", "");
    EXPECT_EQ(text, "baab");
    text = "aaaa";
    uString::Replace(text, "aa", "");
    EXPECT_EQ(text, "aa");
}
TEST(Replace, MayResumeInsideTheInsertedText) {
    // "ab" -> "xxa": the search resumes at the inserted 'a', which makes a new match with the 'b' behind it.
    std::string text = "abb";
    uString::Replace(text, "ab", "xxa");
    EXPECT_EQ(text, "xxxxa");
}
TEST(Replace, NullPatternThrows) {
    std::string text = "a";
    EXPECT_EQ(MessageOf([&] { uString::Replace(text, nullptr, "b"); }),
              "unable to perform string replacement from null original text");
}
TEST(Replace, NullReplacementThrows) {
    std::string text = "a";
    EXPECT_EQ(MessageOf([&] { uString::Replace(text, "a", nullptr); }),
              "unable to perform string replacement with null replacement text");
}
TEST(Replace, EmptyPatternChangesNothing) {
    std::string text = "abc";
    EXPECT_EQ(uString::Replace(text, "", "x"), "abc");
}
TEST(Replace, ReplacementThatContainsThePatternEnds) {
    std::string text = "a&b&";
    EXPECT_EQ(uString::Replace(text, "&", "&amp;"), "a&amp;b&amp;");
    text = "aaa";
    EXPECT_EQ(uString::Replace(text, "a", "aa"), "aaaaaa");
}

TEST(Split, SplitsAtTheFirstSeparator) {
    std::string first;
    std::string second;
    EXPECT_EQ(uString::Split("key=value=more", first, second, "="), 2);
    EXPECT_EQ(first, "key");
    EXPECT_EQ(second, "value=more");
    EXPECT_EQ(uString::Split("a, b", first, second, ", "), 2);
    EXPECT_EQ(second, "b");
}
TEST(Split, WithoutSeparatorFirstIsAll) {
    std::string first;
    std::string second = "old";
    EXPECT_EQ(uString::Split("key", first, second, "="), 1);
    EXPECT_EQ(first, "key");
    EXPECT_EQ(second, "");
}
TEST(Split, EmptyTextGivesZero) {
    std::string first = "old";
    std::string second = "old";
    EXPECT_EQ(uString::Split("", first, second, "="), 0);
    EXPECT_EQ(first + second, "");
}
TEST(Split, EmptySeparatorMatchesAtTheStart) {
    std::string first = "old";
    std::string second;
    EXPECT_EQ(uString::Split("all", first, second, ""), 2);
    EXPECT_EQ(first, "");
    EXPECT_EQ(second, "all");
}
TEST(Split, NullTextThrows) {
    std::string part;
    EXPECT_EQ(MessageOf([&] { uString::Split(nullptr, part, part, "="); }), "unable to split null string");
}
TEST(Split, NullSeparatorThrows) {
    std::string part;
    EXPECT_EQ(MessageOf([&] { uString::Split("a", part, part, nullptr); }),
              "unable to split with null delimeter");
}

TEST(Find, GivesTheFirstPositionAtOrAfterTheStart) {
    EXPECT_EQ(uString::Find("abcabc", "bc", 0), 1);
    EXPECT_EQ(uString::Find("abcabc", "bc", 1), 1);
    EXPECT_EQ(uString::Find("abcabc", "bc", 2), 4);
    EXPECT_EQ(uString::Find("abcabc", "x", 0), -1);
}
TEST(Find, StartBeyondTheEndGivesMinusOne) {
    EXPECT_EQ(uString::Find("abc", "c", 4), -1);
    EXPECT_EQ(uString::Find("abc", "", 4), -1);
    EXPECT_EQ(uString::Find("abc", "c", std::string::npos), -1);
}

TEST(FormatTo, GivesTheNumberOfCharacters) {
    std::array<char, 8> buffer{};
    EXPECT_EQ(uString::FormatTo(buffer.data(), buffer.size(), "%d-%s", 12, "ab"), 5);
    EXPECT_STREQ(buffer.data(), "12-ab");
}
TEST(FormatTo, WhatDoesNotFitIsCutAndTerminated) {
    std::array<char, 6> buffer;
    buffer.fill('#');
    EXPECT_EQ(uString::FormatTo(buffer.data(), 4, "%s", "abcd"), -1);
    EXPECT_STREQ(buffer.data(), "abc");
    EXPECT_EQ(buffer[4], '#');
    EXPECT_EQ(uString::FormatTo(buffer.data(), 4, "%s", "abc"), 3);
}
TEST(FormatTo, WithoutRoomFails) {
    char one = '#';
    EXPECT_EQ(uString::FormatTo(&one, 0, "%d", 1), -1);
    EXPECT_EQ(one, '#');
    EXPECT_EQ(uString::FormatTo(nullptr, 5, "%d", 1), -1);
}

}  // namespace
