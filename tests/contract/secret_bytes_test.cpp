// viewer/server/access_token.h with the platform's source of random bytes.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "viewer/server/access_token.h"

namespace {

using namespace Korr::Plim::Trace::Viewer;

TEST(SecretBytes, AreOthersEachTime) {
    std::set<std::string> tokens;
    for (int i = 0; i < 100; ++i) tokens.insert(NewAccessToken().value());
    EXPECT_EQ(tokens.size(), 100U);
}

TEST(SecretBytes, FillAllOfABufferAndNoMore) {
    std::vector<uint8_t> buffer(1000);
    std::set<uint8_t> seen;
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(FillWithSecretBytes(std::span(buffer).first(999)));
        seen.insert(buffer[998]);
        EXPECT_EQ(buffer[999], 0);
    }
    EXPECT_GT(seen.size(), 1U);
    EXPECT_TRUE(FillWithSecretBytes({}));
}

}  // namespace
