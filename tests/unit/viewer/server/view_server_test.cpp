#include "viewer/server/view_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "tests/fakes/scripted_feed.h"
#include "tests/fakes/scripted_local_socket.h"
#include "viewer/server/access_token.h"

namespace {

/// Whether the platform has random bytes for secrets, and how many were asked for.
bool hasSecrets = true;
std::size_t askedFor = 0;

}  // namespace

bool Korr::Plim::Trace::Viewer::FillWithSecretBytes(std::span<uint8_t> buffer) {
    askedFor = buffer.size();
    for (std::size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<uint8_t>(0xF0 + i);
    return hasSecrets;
}

namespace {

using namespace Korr::Plim::Trace::Viewer;
namespace Network = Korr::Plim::Trace::Network;
using fakes::ScriptedNetwork;
using State = ScriptedNetwork::State;
using std::chrono::milliseconds;

const std::string kAsked = "GET /api/overview?token=secret HTTP/1.1\r\nHost: 127.0.0.1:4711\r\n";
const std::string kEvents = "GET /api/stream?token=secret HTTP/1.1\r\nHost: 127.0.0.1:4711\r\n\r\n";

bool Soon(const std::function<bool()>& holds) {
    for (int i = 0; i < 4000; ++i) {
        if (holds()) return true;
        std::this_thread::sleep_for(milliseconds(5));
    }
    return false;
}

class ViewServerTest : public testing::Test {
  protected:
    ViewServerTest() {
        ScriptedNetwork::Reset();
        uint16_t port = 0;
        Network::Socket listener(Network::Listen(0, port));
        server.emplace(std::move(listener), port, "secret", feed, "<p>");
    }

    static int Say(const std::string& said) {
        const int program = ScriptedNetwork::Connect();
        ScriptedNetwork::Say(program, said);
        return program;
    }
    /// What a program gets until that contains a text.
    static std::string ReadUntil(int program, const std::string& text) {
        std::string got;
        EXPECT_TRUE(Soon([&] {
            got += ScriptedNetwork::Read(program);
            return got.find(text) != std::string::npos;
        })) << got;
        return got;
    }
    static bool Ends(int program) {
        return Soon([program] { return ScriptedNetwork::StateOf(program) == State::Finished; });
    }

    fakes::ScriptedFeed feed;
    std::optional<ViewServer> server;
};

TEST_F(ViewServerTest, TellsWhatABrowserIsToOpen) {
    EXPECT_EQ(server->Address(), "http://127.0.0.1:4711/?token=secret");
}

TEST_F(ViewServerTest, AnswersAndEndsConnectionsWhenAsked) {
    const int program = Say(kAsked + "Connection: close\r\n\r\n");
    EXPECT_TRUE(ReadUntil(program, "\r\n\r\noverview").starts_with("HTTP/1.1 200 OK\r\n"));
    ScriptedNetwork::SayNoMore(program);
    EXPECT_TRUE(Ends(program));
}

TEST_F(ViewServerTest, EndsWithConnectionsOpen) {
    const int silent = ScriptedNetwork::Connect();
    const int half = Say("GET /");
    const int streaming = Say(kEvents);
    ReadUntil(streaming, "data: ");
    const int full = Say(kAsked + "\r\n");
    ScriptedNetwork::SetRoom(full, 10);
    EXPECT_TRUE(Soon([] { return !ScriptedNetwork::SomebodyWaits(); }));
    server.reset();
    for (const int program : {silent, half, streaming, full}) {
        EXPECT_EQ(ScriptedNetwork::StateOf(program), State::Finished);
    }
    EXPECT_FALSE(ScriptedNetwork::IsListening());
}

TEST_F(ViewServerTest, StreamGoesOnUntilItsProgramIsGone) {
    const int program = Say(kEvents);
    ReadUntil(program, "\"revision\":0");
    FeedState state;
    state.revision = 7;
    feed.Set(state);
    ReadUntil(program, "\"revision\":7");
    ScriptedNetwork::SayNoMore(program);
    EXPECT_TRUE(Ends(program));
    const int broken = Say(kEvents);
    ReadUntil(broken, "\"revision\":7");
    ScriptedNetwork::Break(broken);
    EXPECT_TRUE(Ends(broken));
}

TEST_F(ViewServerTest, PlacesOfStreamsAreGivenBack) {
    std::vector<int> programs;
    for (int i = 0; i < Site::kMostStreams; ++i) programs.push_back(Say(kEvents));
    for (const int program : programs) ReadUntil(program, "data: ");
    const int tooMany = Say(kEvents);
    EXPECT_TRUE(ReadUntil(tooMany, "too many pages").starts_with("HTTP/1.1 503 "));
    ScriptedNetwork::SayNoMore(programs.front());
    EXPECT_TRUE(Ends(programs.front()));
    EXPECT_TRUE(ReadUntil(Say(kEvents), "data: ").starts_with("HTTP/1.1 200 "));
}

TEST_F(ViewServerTest, TooManyConnectionsAreToldSoAndManyMoreBreak) {
    std::vector<int> programs;
    for (std::size_t i = 0; i < ViewServer::kMostConnections; ++i) {
        programs.push_back(ScriptedNetwork::Connect());
    }
    for (std::size_t i = 0; i < ViewServer::kMostTurnedAway; ++i) {
        programs.push_back(ScriptedNetwork::Connect());
    }
    EXPECT_TRUE(Soon([] { return !ScriptedNetwork::SomebodyWaits(); }));
    const int broken = ScriptedNetwork::Connect();
    EXPECT_TRUE(Soon([&] { return ScriptedNetwork::StateOf(broken) == State::Reset; }));
    ScriptedNetwork::Say(programs.back(), kAsked + "\r\n");
    EXPECT_TRUE(ReadUntil(programs.back(), "too many connections").starts_with("HTTP/1.1 503 "));
    ScriptedNetwork::Say(programs.front(), kAsked + "\r\n");
    EXPECT_TRUE(ReadUntil(programs.front(), "overview").starts_with("HTTP/1.1 200 "));
    for (const int program : programs) ScriptedNetwork::SayNoMore(program);
    for (const int program : programs) EXPECT_TRUE(Ends(program));
    // Their places are free a moment after they have ended.
    EXPECT_TRUE(Soon([] {
        const int next = Say(kAsked + "Connection: close\r\n\r\n");
        std::string got;
        const auto answered = [&] {
            got += ScriptedNetwork::Read(next);
            return got.find("\r\n\r\n") != std::string::npos ||
                   ScriptedNetwork::StateOf(next) == State::Reset;
        };
        return Soon(answered) && got.starts_with("HTTP/1.1 200 ");
    }));
}

TEST_F(ViewServerTest, ConnectionThatCannotBeTakenIsTriedAgain) {
    ScriptedNetwork::Calls().Fail("Accept", 1, 3);
    ReadUntil(Say(kAsked + "\r\n"), "overview");
    EXPECT_EQ(ScriptedNetwork::Calls().Failures("Accept"), 3);
}

TEST_F(ViewServerTest, ConnectionThatBreaksEndsAlone) {
    ScriptedNetwork::Calls().Fail("Send", 1, 1);
    const int broken = Say(kAsked + "\r\n");
    EXPECT_TRUE(Ends(broken));
    ScriptedNetwork::Calls().Reset();
    const int other = Say(kAsked + "Connection: close\r\n\r\n");
    ReadUntil(other, "overview");
    ScriptedNetwork::SayNoMore(other);
    EXPECT_TRUE(Ends(other));
    ScriptedNetwork::Calls().Reset();
    ScriptedNetwork::Calls().Fail("Receive", 1, 1);
    EXPECT_TRUE(Ends(Say(kAsked + "\r\n")));
}

TEST_F(ViewServerTest, AnswerGoesOnWhenThereIsRoomAgain) {
    const int program = ScriptedNetwork::Connect();
    ScriptedNetwork::SetRoom(program, 7);
    ScriptedNetwork::Say(program, kAsked + "\r\n");
    EXPECT_TRUE(ReadUntil(program, "\r\n\r\noverview").starts_with("HTTP/1.1 200 OK\r\n"));
}

TEST(NewAccessToken, Is128BitsInHexadecimalDigits) {
    EXPECT_EQ(NewAccessToken(), "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");
    EXPECT_EQ(askedFor, 16U);
}

TEST(NewAccessToken, IsNoneWithoutRandomBytes) {
    hasSecrets = false;
    EXPECT_EQ(NewAccessToken(), std::nullopt);
    hasSecrets = true;
}

}  // namespace
