#include <gtest/gtest.h>

#include "symbols/demangle.h"

namespace {

using Korr::Plim::Trace::Symbols::Demangle;

TEST(Demangle, NamesOfCxxAreShownAsInTheSource) {
    EXPECT_EQ(Demangle("_ZN6sensor4readEi"), "sensor::read(int)");
    EXPECT_EQ(Demangle("i"), "i") << "no mangled name";
    EXPECT_EQ(Demangle("_Znonsense"), "_Znonsense");
}

}  // namespace
