#include "viewer/server/parameters.h"

#include <gtest/gtest.h>

#include <limits>

#include "viewer/feed.h"

namespace {

using namespace Korr::Plim::Trace::Viewer;

/// The refusal of a question; empty when there is none.
template <class Question>
std::string WhyNot(Question question) {
    try {
        question();
        return {};
    } catch (const BadQuestion& refusal) {
        return refusal.what();
    }
}

Parameters One(const std::string& value) { return Parameters({{"n", value}}); }

TEST(Parameters, NumbersAreDecimalAndFinite) {
    const std::pair<const char*, double> numbers[] = {{"0", 0},        {"-12.5", -12.5}, {"1e3", 1000},
                                                      {"2.5E-1", .25}, {"1e+21", 1e21},  {"007", 7}};
    for (const auto& [text, number] : numbers) EXPECT_EQ(One(text).Number("n"), number) << text;
    for (const char* const text : {"", " 1", "1 ", "+1", "nan", "inf", "-inf", "NaN", "0x10", "1.", ".5",
                                   "1e", "1e+", "--1", "1,5", "1e400", "-1e400", "1_000", "\xEF\xBC\x91"}) {
        EXPECT_EQ(WhyNot([&] { One(text).Number("n"); }), "\"n\" is no decimal number, or too large") << text;
    }
    EXPECT_EQ(WhyNot([&] { One(std::string("1\0", 2)).Number("n"); }),
              "\"n\" is no decimal number, or too large");
    EXPECT_EQ(One(std::string(64, '1')).Number("n"), std::stod(std::string(64, '1')));
    EXPECT_NE(WhyNot([&] { One(std::string(65, '1')).Number("n"); }), "");
}

TEST(Parameters, WholeNumbersAreDigitsWithinBounds) {
    EXPECT_EQ(One("0").Whole("n", 0, 9), 0U);
    EXPECT_EQ(One("9").Whole("n", 0, 9), 9U);
    EXPECT_EQ(One("18446744073709551615").Whole("n", 0, std::numeric_limits<uint64_t>::max()),
              std::numeric_limits<uint64_t>::max());
    for (const char* const text : {"", "10", "-1", "+1", " 1", "1 ", "1.0", "1e0", "0x1", "nan",
                                   "18446744073709551616", "99999999999999999999999999"}) {
        EXPECT_EQ(WhyNot([&] { One(text).Whole("n", 0, 9); }), "\"n\" is no whole number from 0 to 9")
            << text;
    }
    EXPECT_EQ(WhyNot([] { One("0").Whole("n", 1, 9); }), "\"n\" is no whole number from 1 to 9");
}

TEST(Parameters, FlagsAreNoughtOrOneOrLeftOut) {
    EXPECT_TRUE(One("1").Flag("n"));
    EXPECT_FALSE(One("0").Flag("n"));
    EXPECT_FALSE(One("1").Flag("other"));
    EXPECT_EQ(WhyNot([] { One("true").Flag("n"); }), "\"n\" is no whole number from 0 to 1");
}

TEST(Parameters, WhatIsMissingIsNamed) {
    EXPECT_EQ(WhyNot([] { One("1").Number("from"); }), "\"from\" is missing");
    EXPECT_EQ(One("1").Find("from"), nullptr);
}

TEST(Parameters, OthersAndDoublesAreRefused) {
    const Parameters parameters({{"a", "1"}, {"b", "2"}});
    parameters.RefuseAllBut({"b", "c", "a"});
    EXPECT_EQ(WhyNot([&] { parameters.RefuseAllBut({"a"}); }), "there is no such parameter here");
    const Parameters twice({{"a", "1"}, {"b", "2"}, {"a", "3"}});
    EXPECT_EQ(WhyNot([&] { twice.RefuseAllBut({"a", "b"}); }), "\"a\" is there twice");
}

}  // namespace
