// The source of random bytes of this system, failing and giving little.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "viewer/server/access_token.h"

namespace {

/// What the next calls give: a count of bytes, or the negative of an error number.
std::vector<int> answers;

}  // namespace

extern "C" ssize_t __wrap_getrandom(void* buffer, size_t size, unsigned) {
    const int answer = answers.empty() ? -EIO : answers.front();
    if (!answers.empty()) answers.erase(answers.begin());
    if (answer < 0) {
        errno = -answer;
        return -1;
    }
    const std::size_t count = std::min(size, static_cast<std::size_t>(answer));
    std::fill_n(static_cast<uint8_t*>(buffer), count, uint8_t{1});
    return static_cast<ssize_t>(count);
}

namespace {

using Korr::Plim::Trace::Viewer::FillWithSecretBytes;

TEST(SecretBytesCalls, LittleAtATimeAndInterruptionsGoOn) {
    answers = {3, -EINTR, 1, 6};
    std::vector<uint8_t> buffer(10);
    EXPECT_TRUE(FillWithSecretBytes(buffer));
    EXPECT_EQ(buffer, std::vector<uint8_t>(10, 1));
    EXPECT_TRUE(answers.empty());
}

TEST(SecretBytesCalls, FailureAndNothingAreFailures) {
    std::vector<uint8_t> buffer(10);
    answers = {3, -ENOSYS};
    EXPECT_FALSE(FillWithSecretBytes(buffer));
    answers = {0};
    EXPECT_FALSE(FillWithSecretBytes(buffer));
}

}  // namespace
