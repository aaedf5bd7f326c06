#include "viewer/server/gate.h"

#include <gtest/gtest.h>

namespace {

using namespace Korr::Plim::Trace::Viewer;

RequestHead Asked(const std::string& host, const std::string& origin = {}) {
    RequestHead head;
    head.host = host;
    head.origin = origin;
    return head;
}

class GateTest : public testing::Test {
  protected:
    const Gate gate{"0123456789abcdef", 4711};
    const std::string token = "0123456789abcdef";
};

TEST_F(GateTest, LetsPassWhoHasTheTokenAndAsksTheServerItself) {
    EXPECT_EQ(gate.WhyNot(Asked("127.0.0.1:4711"), token), "");
    EXPECT_EQ(gate.WhyNot(Asked("localhost:4711"), token), "");
    EXPECT_EQ(gate.WhyNot(Asked("localhost:4711", "http://localhost:4711"), token), "");
    EXPECT_EQ(gate.WhyNot(Asked("127.0.0.1:4711", "http://127.0.0.1:4711"), token), "");
}

TEST_F(GateTest, WrongTokensDoNotPass) {
    for (const char* const wrong :
         {"", "0123456789abcdeF", "0123456789abcde", "0123456789abcdef0", "1123456789abcdef"}) {
        EXPECT_EQ(gate.WhyNot(Asked("127.0.0.1:4711"), wrong),
                  "the token is missing or wrong: open the address that tracehost printed");
    }
}

TEST_F(GateTest, OtherHostsDoNotPassEvenWithTheToken) {
    for (const char* const host :
         {"", "127.0.0.1", "localhost", "127.0.0.1:4712", "127.0.0.1:47111", "evil.example:4711",
          "127.0.0.2:4711", "[::1]:4711", "127.0.0.1:4711.evil.example", "LOCALHOST:4711"}) {
        EXPECT_EQ(gate.WhyNot(Asked(host), token), "this is not the host that was asked for") << host;
    }
}

TEST_F(GateTest, TheUsualPortIsLeftOutAsBrowsersDo) {
    const Gate usual{token, 80};
    EXPECT_EQ(usual.WhyNot(Asked("127.0.0.1"), token), "");
    EXPECT_EQ(usual.WhyNot(Asked("localhost", "http://localhost"), token), "");
    EXPECT_EQ(usual.WhyNot(Asked("evil.example"), token), "this is not the host that was asked for");
}

TEST_F(GateTest, PagesOfOtherOriginsDoNotPassEvenWithTheToken) {
    for (const char* const origin :
         {"null", "http://evil.example", "https://127.0.0.1:4711", "http://127.0.0.1:4712",
          "http://127.0.0.1", "http://127.0.0.1:4711.evil.example"}) {
        EXPECT_EQ(gate.WhyNot(Asked("127.0.0.1:4711", origin), token),
                  "pages of other places get nothing here")
            << origin;
    }
}

TEST(SameSecret, ComparesEveryByte) {
    EXPECT_TRUE(SameSecret("", ""));
    EXPECT_TRUE(SameSecret("abc", "abc"));
    EXPECT_FALSE(SameSecret("abc", "ab"));
    for (std::size_t i = 0; i < 3; ++i) {
        std::string other = "abc";
        other[i] = static_cast<char>(other[i] ^ 0x80);
        EXPECT_FALSE(SameSecret("abc", other));
    }
}

}  // namespace
