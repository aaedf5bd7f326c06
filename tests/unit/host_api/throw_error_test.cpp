#include "host_api/throw_error.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "simulator/pelkit/error_reading.h"
#include "tests/support/expect_error.h"

namespace {

using Korr::Plim::Trace::ThrowError;
using Korr::Plim::Trace::ThrownText;

/// Throws, and catches without asking the error for anything.
void ThrowAndCatch(const char* text) { EXPECT_THROW(ThrowError(text), cPelkitError); }

TEST(ThrowErrorTest, TheHostGetsTheTextAndSeverityTwoUnlessToldOtherwise) {
    EXPECT_EQ(support::ErrorOf([] { ThrowError("a text"); }), "a text");
    try {
        ThrowError("recoverable", cPelkitErrorIF::eSEVERITY_WARNING);
    } catch (const cPelkitError& error) {
        EXPECT_STREQ(pelkit::TextOf(error), "recoverable");
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_WARNING);
    }
}

TEST(ThrownTextTest, IsTheLatestOfTheThread) {
    ThrowAndCatch("before");
    const ThrownText thrown;
    EXPECT_STREQ(thrown.Get(), "Error of the host");
    ThrowAndCatch("first");
    EXPECT_STREQ(thrown.Get(), "first");
    ThrowAndCatch("second");
    EXPECT_STREQ(thrown.Get(), "second");
    std::thread([] { ThrowAndCatch("of another thread"); }).join();
    EXPECT_STREQ(thrown.Get(), "second");
}

TEST(ThrownTextTest, AnErrorOfTheHostHasAFixedText) {
    const ThrownText thrown;
    EXPECT_THROW(throw cPelkitError("the host's own", cPelkitErrorIF::eSEVERITY_ERROR), cPelkitError);
    EXPECT_STREQ(thrown.Get(), "Error of the host");
}

TEST(ThrownTextTest, OfNestedOnesTheInnerGetsTheText) {
    const ThrownText outer;
    ThrowAndCatch("outside");
    {
        const ThrownText inner;
        ThrowAndCatch("inside");
        EXPECT_STREQ(inner.Get(), "inside");
    }
    EXPECT_STREQ(outer.Get(), "outside");
    ThrowAndCatch("outside again");
    EXPECT_STREQ(outer.Get(), "outside again");
}

TEST(ThrownTextTest, HasFiveHundredBytesAtMost) {
    const ThrownText thrown;
    ThrowAndCatch(std::string(500, 'x').c_str());
    EXPECT_EQ(thrown.Get(), std::string(500, 'x'));
    ThrowAndCatch(std::string(100000, 'y').c_str());
    EXPECT_EQ(thrown.Get(), std::string(500, 'y'));
    ThrowAndCatch(nullptr);
    EXPECT_EQ(thrown.Get(), std::string(500, 'y'));
}

}  // namespace
