#include <gtest/gtest.h>

#include <array>

#include "source_utilities/uTime.h"

// A program of its own: no uTime may have been constructed in the process.
namespace {

TEST(uTime, FormatBeforeAnyCaptureYieldsInvalidTime) {
    std::array<char, 40> buffer{};
    EXPECT_EQ(KORR_PLIM::uTime::Format(buffer.data(), 40, "%H:%M"), buffer.data());
    EXPECT_STREQ(buffer.data(), "Invalid time");
    buffer.fill('#');
    EXPECT_EQ(KORR_PLIM::uTime::Format(buffer.data(), 5, "%H:%M"), buffer.data());
    EXPECT_STREQ(buffer.data(), "Inva");
    EXPECT_EQ(buffer[5], '#');
    EXPECT_EQ(KORR_PLIM::uTime::Format(nullptr, 5, "%H:%M"), nullptr);
}

}  // namespace
