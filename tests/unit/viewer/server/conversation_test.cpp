#include "viewer/server/conversation.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/fakes/memory_channel.h"
#include "tests/fakes/scripted_controls.h"
#include "tests/fakes/scripted_feed.h"
#include "viewer/page_html.h"
#include "viewer/server/routes.h"

namespace {

using namespace Korr::Plim::Trace::Viewer;
using fakes::MemoryChannel;

constexpr std::string_view kPage =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'sha256-x'\"><p>";
constexpr const char* kHost = " HTTP/1.1\r\nHost: 127.0.0.1:4711\r\n";
/// The headers of every answer in front of those that follow from its body, in the order of their names.
constexpr const char* kPolicy = "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n";
constexpr const char* kOthers =
    "Cross-Origin-Opener-Policy: same-origin\r\nCross-Origin-Resource-Policy: same-origin\r\n";
constexpr const char* kLast =
    "Referrer-Policy: no-referrer\r\nX-Content-Type-Options: nosniff\r\nX-Frame-Options: DENY\r\n\r\n";

class ConversationTest : public testing::Test {
  protected:
    /// All that is answered to what is said.
    std::string Say(const std::string& said, bool busy = false) {
        MemoryChannel channel(said);
        Converse(channel, site, busy);
        return channel.got;
    }
    std::string Get(const std::string& target) {
        return Say("GET " + target + kHost + "Connection: close\r\n\r\n");
    }
    static std::string Body(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }
    static std::string StatusLine(const std::string& answer) { return answer.substr(0, answer.find("\r\n")); }

    std::string Post(const std::string& target, const std::string& headers = {}) {
        return Say("POST " + target + kHost + headers + "Content-Length: 0\r\n\r\n");
    }

    fakes::ScriptedFeed feed;
    fakes::ScriptedControls controls;
    Gate gate{"secret", 4711};
    Site site{feed, kPage, gate, {}, &controls};
};

TEST_F(ConversationTest, AnswersWithTheseHeadersAndNoOthers) {
    EXPECT_EQ(Get("/api/overview?token=secret"),
              "HTTP/1.1 200 OK\r\nCache-Control: no-store\r\nConnection: close\r\nContent-Length: 8\r\n" +
                  std::string(kPolicy) + "Content-Type: application/json\r\n" + kOthers + kLast + "overview");
}

TEST_F(ConversationTest, PageHasItsOwnPolicyAndNoFrameAroundIt) {
    const std::string answer = Get("/?token=secret");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 200 OK");
    EXPECT_NE(
        answer.find(
            "Content-Security-Policy: default-src 'none'; script-src 'sha256-x'; frame-ancestors 'none'\r\n"),
        std::string::npos);
    EXPECT_NE(answer.find("Content-Type: text/html; charset=utf-8\r\n"), std::string::npos);
    EXPECT_EQ(Body(answer), kPage);
}

TEST_F(ConversationTest, RealPageTellsItsPolicy) {
    const std::string policy = PolicyOf(PageHtml());
    EXPECT_TRUE(policy.starts_with("default-src 'none'; script-src 'sha256-")) << policy;
    EXPECT_TRUE(policy.ends_with("; frame-ancestors 'none'")) << policy;
    EXPECT_EQ(PolicyOf("<p>"), "default-src 'none'; frame-ancestors 'none'");
}

TEST_F(ConversationTest, HeadIsAnAnswerWithoutItsBody) {
    const std::string answer = Say("HEAD /api/overview?token=secret" + std::string(kHost) + "\r\n");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 200 OK");
    EXPECT_NE(answer.find("Content-Length: 8\r\n"), std::string::npos);
    EXPECT_EQ(Body(answer), "");
    const std::string stream = Say("HEAD /api/stream?token=secret" + std::string(kHost) + "\r\n");
    EXPECT_EQ(StatusLine(stream), "HTTP/1.1 200 OK");
    EXPECT_EQ(Body(stream), "");
    const std::string refused = Say("HEAD / HTTP/1.1\r\nContent-Length: 5\r\n\r\n");
    EXPECT_EQ(StatusLine(refused), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(Body(refused), "");
    EXPECT_EQ(site.streams, 0);
}

TEST_F(ConversationTest, ConnectionIsKeptUntilItIsToEnd) {
    const std::string asked = "GET /api/overview?token=secret" + std::string(kHost);
    const std::string answers =
        Say(asked + "\r\n" + asked + "\r\n" + asked + "Connection: close\r\n\r\n" + asked + "\r\n");
    EXPECT_EQ(feed.Asked().size(), 3U);
    EXPECT_NE(answers.find("Keep-Alive: "), std::string::npos);
}

TEST_F(ConversationTest, ParametersAreDecoded) {
    Get("/api/find?port=0&line=0&text=a+b%26%c3%a4%00&token=%73ecret");
    ASSERT_EQ(feed.Asked().size(), 1U);
    EXPECT_EQ(feed.Asked()[0], std::string("find 0 a b&\xC3\xA4\0 0", 16));
    Get("/api/find?port=0&&line=0&text=a=b=&token=secret&");
    ASSERT_EQ(feed.Asked().size(), 2U);
    EXPECT_EQ(feed.Asked()[1], "find 0 a=b= 0");
}

TEST_F(ConversationTest, ParametersThatAreThereTwiceAreRefusedAlsoWhenTheyAreTheSame) {
    for (const char* const target : {"/api/ledger?token=secret&from=0&from=0&count=1",
                                     "/api/ledger?token=secret&from=0&count=1&token=secret",
                                     "/api/overview?token=secret&=x", "/?token=secret&x"}) {
        EXPECT_EQ(StatusLine(Get(target)), "HTTP/1.1 400 Bad Request") << target;
    }
    for (const char* const target :
         {"/?token=secret=", "/?token==secret", "/?=token=secret", "/?token%3Dsecret"}) {
        EXPECT_EQ(StatusLine(Get(target)), "HTTP/1.1 403 Forbidden") << target;
    }
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, NothingIsAnsweredWithoutTheToken) {
    for (const char* const target :
         {"/", "/api/overview", "/api/overview?token=", "/api/overview?token=Secret", "/nothing",
          "/api/overview?Token=secret", "/?token=secretsecret"}) {
        const std::string answer = Get(target);
        EXPECT_EQ(StatusLine(answer), "HTTP/1.1 403 Forbidden") << target;
        EXPECT_EQ(Body(answer),
                  "{\"error\":\"the token is missing or wrong: open the address that tracehost printed\"}");
    }
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, TwoTokensAreOneTooMany) {
    EXPECT_EQ(StatusLine(Get("/api/overview?token=secret&token=wrong")), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(StatusLine(Get("/api/overview?token=wrong&token=secret")), "HTTP/1.1 403 Forbidden");
}

/// A site with a ticket.
class OpeningTest : public ConversationTest {
  protected:
    std::string Open(const std::string& said) {
        MemoryChannel channel(said + "Connection: close\r\n\r\n");
        Converse(channel, opened, false);
        return channel.got;
    }
    Site opened{feed, kPage, gate, "once"};
    const std::string asked = "GET /open?ticket=once" + std::string(kHost);
};

TEST_F(OpeningTest, TicketLeadsToThePageOnce) {
    EXPECT_EQ(
        Open(asked),
        "HTTP/1.1 303 See Other\r\nCache-Control: no-store\r\nConnection: close\r\nContent-Length: 2\r\n" +
            std::string(kPolicy) + "Content-Type: application/json\r\n" + kOthers +
            "Location: /?token=secret\r\n" + kLast + "{}");
    for (int i = 0; i < 2; ++i) {
        const std::string again = Open(asked);
        EXPECT_EQ(StatusLine(again), "HTTP/1.1 403 Forbidden");
        EXPECT_EQ(Body(again),
                  "{\"error\":\"this address opens the page once: open the one that tracehost printed\"}");
        EXPECT_EQ(again.find("secret"), std::string::npos);
    }
}

TEST_F(OpeningTest, WhatIsRefusedDoesNotUseTheTicketUp) {
    const std::string host = kHost;
    const std::vector<std::string> others = {
        "GET /open" + host,
        "GET /open?ticket=" + host,
        "GET /open?ticket=Once" + host,
        "GET /open?ticket=onc" + host,
        "GET /open?ticket=once&ticket=once" + host,
        "GET /open?ticket=once&x=1" + host,
        "GET /open?token=secret" + host,
        "GET /open?token=once" + host,
        "GET /open/?ticket=once" + host,
        "GET /?token=once" + host,
        "HEAD /open?ticket=once" + host,
        "GET /open?ticket=once HTTP/1.1\r\nHost: evil.example:4711\r\n",
        "GET /open?ticket=once HTTP/1.1\r\n",
        asked + "Origin: http://evil.example\r\n",
    };
    for (const std::string& other : others) {
        EXPECT_EQ(StatusLine(Open(other)), "HTTP/1.1 403 Forbidden") << other;
    }
    EXPECT_EQ(StatusLine(Open("POST /open?ticket=once" + std::string(kHost))), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Open(asked)), "HTTP/1.1 303 See Other");
}

TEST_F(OpeningTest, WithoutATicketNothingOpens) {
    for (const char* const target : {"/open", "/open?ticket=", "/open?ticket", "/open?ticket=once"}) {
        EXPECT_EQ(StatusLine(Get(target)), "HTTP/1.1 403 Forbidden") << target;
    }
}

TEST_F(ConversationTest, OtherHostsAndOriginsAreRefused) {
    const std::string line = "GET /api/overview?token=secret HTTP/1.1\r\n";
    EXPECT_EQ(Body(Say(line + "Host: evil.example:4711\r\n\r\n")),
              "{\"error\":\"this is not the host that was asked for\"}");
    EXPECT_EQ(Body(Say(line + "\r\n")), "{\"error\":\"this is not the host that was asked for\"}");
    EXPECT_EQ(Body(Say(line + "Host: localhost:4711\r\nOrigin: null\r\n\r\n")),
              "{\"error\":\"pages of other places get nothing here\"}");
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, RefusalsEndTheConnectionAndHaveTheSameHeaders) {
    const std::string answer = Say("PUT / HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(answer,
              "HTTP/1.1 405 Method Not Allowed\r\nAllow: GET, HEAD, POST\r\nCache-Control: no-store\r\n"
              "Connection: close\r\nContent-Length: 46\r\n" +
                  std::string(kPolicy) + "Content-Type: application/json\r\n" + kOthers + kLast +
                  "{\"error\":\"there are GET, HEAD and POST alone\"}");
    EXPECT_EQ(StatusLine(Say("GET /" + std::string(9000, 'x') + " HTTP/1.1\r\n\r\n")),
              "HTTP/1.1 414 URI Too Long");
    EXPECT_EQ(StatusLine(Say("GET / HTTP/1.1\r\nA: " + std::string(20000, 'x') + "\r\n\r\n")),
              "HTTP/1.1 431 Request Header Fields Too Large");
    EXPECT_EQ(StatusLine(Say("rubbish\r\n\r\n")), "HTTP/1.1 400 Bad Request");
}

TEST_F(ConversationTest, ChangesAreAskedForWithPost) {
    const std::string stop = Post("/api/stop?token=secret", "Origin: http://127.0.0.1:4711\r\n");
    EXPECT_EQ(StatusLine(stop), "HTTP/1.1 200 OK");
    EXPECT_EQ(Body(stop), "{}");
    EXPECT_EQ(Body(Post("/api/ports?types=3%3Af32%2C0:text&token=secret")), "{}");
    EXPECT_EQ(controls.Asked(), (std::vector<std::string>{"stop", "ports 3=f32 0=text"}));
}

TEST_F(ConversationTest, NothingIsChangedWithoutTokenHostAndOrigin) {
    EXPECT_EQ(StatusLine(Post("/api/stop")), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Post("/api/stop?token=Secret")), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Post("/api/stop?token=secret", "Origin: http://evil.example\r\n")),
              "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Post("/api/stop?token=secret", "Origin: null\r\n")), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Say("POST /api/stop?token=secret HTTP/1.1\r\nHost: evil.example:4711\r\n\r\n")),
              "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusLine(Get("/api/stop?token=secret")), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(StatusLine(Say("HEAD /api/stop?token=secret" + std::string(kHost) + "\r\n")),
              "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(
        StatusLine(Say("POST /api/stop?token=secret" + std::string(kHost) + "Content-Length: 2\r\n\r\n{}")),
        "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(controls.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, WrongMethodsAreToldTheRightOnes) {
    EXPECT_NE(Get("/api/stop?token=secret").find("\r\nAllow: POST\r\n"), std::string::npos);
    const std::string answer = Post("/api/overview?token=secret");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_NE(answer.find("\r\nAllow: GET, HEAD\r\n"), std::string::npos);
    EXPECT_EQ(Body(answer), "{\"error\":\"this is asked with GET, HEAD alone\"}");
    EXPECT_EQ(StatusLine(Post("/?token=secret")), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(StatusLine(Post("/api/stream?token=secret")), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(site.streams, 0);
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, WithoutControlsNothingCanBeChanged) {
    Site fixed{feed, kPage, gate};
    MemoryChannel channel("POST /api/stop?token=secret" + std::string(kHost) + "\r\n");
    Converse(channel, fixed, false);
    EXPECT_EQ(StatusLine(channel.got), "HTTP/1.1 409 Conflict");
    EXPECT_EQ(Body(channel.got), "{\"error\":\"nothing can be changed here\"}");
}

TEST_F(ConversationTest, SlowRequestIsToldSo) {
    MemoryChannel channel("GET / HTTP/1.1\r\n");
    channel.atEnd = Korr::Plim::Trace::Network::kLater;
    Converse(channel, site, false);
    EXPECT_EQ(StatusLine(channel.got), "HTTP/1.1 408 Request Timeout");
}

TEST_F(ConversationTest, WhoIsTooManyIsToldSo) {
    const std::string asked = "GET /api/overview?token=secret" + std::string(kHost) + "\r\n";
    const std::string answer = Say(asked + asked, true);
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(Body(answer), "{\"error\":\"too many connections: close a page\"}");
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(ConversationTest, RangesAndCodingsAreNotListenedTo) {
    const std::string answer =
        Say("GET /api/overview?token=secret" + std::string(kHost) +
            "Range: bytes=0-1,0-1,0-1\r\nAccept-Encoding: gzip, br\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 200 OK");
    EXPECT_EQ(Body(answer), "overview");
}

TEST_F(ConversationTest, EventsTellWhatIsNew) {
    FeedState state;
    state.revision = 1;
    feed.Set(state);
    const std::string answer = Get("/api/stream?token=secret");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 200 OK");
    EXPECT_NE(answer.find("Content-Type: text/event-stream\r\n"), std::string::npos);
    const std::string event = EventOf(state);
    char size[16];
    std::snprintf(size, sizeof size, "%zx", event.size());
    EXPECT_EQ(Body(answer), size + std::string("\r\n") + event + "\r\n");  // once, because nothing changes
    EXPECT_EQ(site.streams, 0);
}

/// A far end that waits for news, while something happens.
class WaitingChannel : public MemoryChannel {
  public:
    WaitingChannel(const std::string& all, std::function<void()> action)
        : MemoryChannel(all), happens(std::move(action)) {}
    bool Linger(std::chrono::milliseconds pause) override {
        if (happens) std::exchange(happens, nullptr)();
        return MemoryChannel::Linger(pause);
    }

  private:
    std::function<void()> happens;
};

TEST_F(ConversationTest, TroubleAloneIsNews) {
    FeedState state;
    feed.Set(state);
    const auto fail = [&] {
        state.trouble = "it is gone";
        feed.Set(state);
    };
    WaitingChannel channel("GET /api/stream?token=secret" + std::string(kHost) + "\r\n", fail);
    Converse(channel, site, false);
    const std::size_t first = channel.got.find("\"trouble\":null");
    ASSERT_NE(first, std::string::npos) << channel.got;
    const std::size_t second = channel.got.find("\"trouble\":\"it is gone\"", first);
    ASSERT_NE(second, std::string::npos) << channel.got;
    EXPECT_EQ(channel.got.find("\"trouble\"", second + 1), std::string::npos) << "once";
}

TEST_F(ConversationTest, NothingFollowsAStream) {
    const std::string asked = "GET /api/stream?token=secret" + std::string(kHost) + "\r\n";
    EXPECT_EQ(Say(asked + asked), Say(asked));
}

TEST_F(ConversationTest, StreamsAreBounded) {
    site.streams = Site::kMostStreams;
    const std::string answer = Get("/api/stream?token=secret");
    EXPECT_EQ(StatusLine(answer), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(Body(answer), "{\"error\":\"too many pages are open: close one\"}");
    EXPECT_EQ(site.streams, Site::kMostStreams);
    site.streams = Site::kMostStreams - 1;
    EXPECT_EQ(StatusLine(Get("/api/stream?token=secret")), "HTTP/1.1 200 OK");
    EXPECT_EQ(site.streams, Site::kMostStreams - 1);
}

TEST_F(ConversationTest, FarEndThatTakesNoMoreEndsTheConversation) {
    for (const char* const target : {"/api/overview?token=secret", "/api/stream?token=secret"}) {
        for (const std::size_t room : {0U, 100U, 600U}) {
            const std::string asked = "GET " + std::string(target) + kHost + "\r\n";
            MemoryChannel channel(asked + asked + asked);
            channel.room = room;
            Converse(channel, site, false);
            EXPECT_LE(channel.got.size(), room);
            EXPECT_EQ(site.streams, 0);
        }
    }
}

}  // namespace
