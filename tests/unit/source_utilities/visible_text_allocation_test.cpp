// A program of its own, because it replaces the allocator.
#include <gtest/gtest.h>

#include "source_utilities/visible_text.h"
#include "tests/support/refusing_allocator.h"

namespace {

TEST(VisibleText, WithoutMemoryIsAQuestionMark) {
    const std::string value = "a line feed and twenty bytes\n";
    std::string grown;  // finds out what a text asks for when it no longer fits into the object
    grown.resize(grown.capacity());
    grown += 'x';
    support::refusedSize = grown.capacity() + 1;
    const KORR_PLIM::Visible visible(value);
    support::refusedSize = 0;
    EXPECT_STREQ(visible.Text(), "?");
    EXPECT_STREQ(KORR_PLIM::Visible(value).Text(), "a line feed and twenty bytes\\n");
}

}  // namespace
