#include <gtest/gtest.h>

#include "symbols/demangle.h"

namespace {

using Korr::Plim::Trace::Symbols::Demangle;

TEST(Demangle, NamesStayAsTheyStand) {
    EXPECT_EQ(Demangle("_ZN6sensor4readEi"), "_ZN6sensor4readEi");
    EXPECT_EQ(Demangle("main"), "main");
}

}  // namespace
