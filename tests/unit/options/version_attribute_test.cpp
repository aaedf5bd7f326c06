#include "options/version_attribute.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;

TEST(VersionAttribute, FourNumbersAreRead) {
    EXPECT_THAT(*ReadVersionAttribute("1.2.30.400"), ElementsAre(1, 2, 30, 400));
    EXPECT_THAT(*ReadVersionAttribute("9.9.9.9"), ElementsAre(9, 9, 9, 9));
    EXPECT_THAT(*ReadVersionAttribute("0.00.000.0001"), ElementsAre(0, 0, 0, 1));
}

TEST(VersionAttribute, FewerThanFourNumbersAreRefused) {
    for (const char* text : {"",         "1",      "1.",      "1.1",     "1.1.0",   "1.1.0.",   "....",
                             ".1.1.1",   "1..1.1", "a.b.c.d", "1.1.0.x", "1,1,0,0", "1 .1.0.0", "1.1 .0.0",
                             "1.1.0 .0", " ",      "-",       "+.1.1.1", "1.-.1.1", "0x1.1.1.1"}) {
        EXPECT_FALSE(ReadVersionAttribute(text)) << text;
    }
}

TEST(VersionAttribute, WhatFollowsTheFourthNumberIsIgnored) {
    EXPECT_THAT(*ReadVersionAttribute("1.1.0.0.7"), ElementsAre(1, 1, 0, 0));
    EXPECT_THAT(*ReadVersionAttribute("1.1.0.0beta"), ElementsAre(1, 1, 0, 0));
    EXPECT_THAT(*ReadVersionAttribute("1.1.0.0 "), ElementsAre(1, 1, 0, 0));
}

TEST(VersionAttribute, WhiteSpaceBeforeANumberIsAllowed) {
    EXPECT_THAT(*ReadVersionAttribute(" 1.\t2.\n3. \r\v\f4"), ElementsAre(1, 2, 3, 4));
}

TEST(VersionAttribute, SignsAreAllowedAndMinusWrapsAround) {
    EXPECT_THAT(*ReadVersionAttribute("+1.-1.-0.+4"), ElementsAre(1, 4294967295u, 0, 4));
    EXPECT_FALSE(ReadVersionAttribute("- 1.1.1.1"));
    EXPECT_FALSE(ReadVersionAttribute("+-1.1.1.1"));
}

TEST(VersionAttribute, NumbersBeyondTheRangeBecomeTheGreatest) {
    EXPECT_THAT(
        *ReadVersionAttribute("4294967295.4294967296.18446744073709551616.99999999999999999999999999"),
        ElementsAre(4294967295u, 4294967295u, 4294967295u, 4294967295u));
    EXPECT_THAT(*ReadVersionAttribute("-4294967295.-4294967296.-99999999999999999999.0"),
                ElementsAre(1, 1, 1, 0));
    EXPECT_TRUE(ReadVersionAttribute(std::string(100000, '9') + ".1.1.1"));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
