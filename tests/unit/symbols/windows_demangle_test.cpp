#include <gtest/gtest.h>

#include "symbols/demangle.h"

namespace {

using Korr::Plim::Trace::Symbols::Demangle;

TEST(Demangle, NamesStayAsTheyStand) {
    uint64_t room = 1000;
    EXPECT_EQ(Demangle("_ZN6sensor4readEi", room), "_ZN6sensor4readEi");
    EXPECT_EQ(Demangle("main", room), "main");
}

}  // namespace
