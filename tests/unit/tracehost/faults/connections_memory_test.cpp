// Connections for which there is no memory end alone. A program of its own, because it replaces the
// allocator.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "tests/fakes/scripted_feed.h"
#include "tests/fakes/scripted_local_socket.h"
#include "tests/support/refusing_allocator.h"
#include "tracehost/tcp_output.h"
#include "viewer/server/view_server.h"

namespace {

using namespace Korr::Plim::Trace::Tracehost;
namespace Network = Korr::Plim::Trace::Network;
namespace Viewer = Korr::Plim::Trace::Viewer;
using fakes::ScriptedNetwork;
using State = ScriptedNetwork::State;
using std::chrono::milliseconds;

/// Which allocation fails on the thread that makes the next call of this name, counted from that call on; 0:
/// none.
std::atomic<std::size_t> behindAccept{0};
std::atomic<std::size_t> behindReceive{0};

void RefuseBehind(const char* call) {
    const std::string_view name = call;
    if (name == "Accept") support::refusedNext = behindAccept.exchange(0);
    if (name == "Receive" && behindReceive != 0) support::refusedNext = behindReceive.exchange(0);
}

class ConnectionsMemory : public testing::Test {
  protected:
    ConnectionsMemory() {
        ScriptedNetwork::Reset();
        ScriptedNetwork::SetWatcher(RefuseBehind);
    }

    static bool Soon(const std::function<bool()>& holds) {
        for (int i = 0; i < 20'000; ++i) {
            if (holds()) return true;
            std::this_thread::sleep_for(milliseconds(1));
        }
        return false;
    }
    static bool Becomes(int program, State state) {
        return Soon([=] { return ScriptedNetwork::StateOf(program) == state; });
    }
};

class TcpOutputMemory : public ConnectionsMemory {
  protected:
    void Give(const std::string& bytes) {
        output.Take({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    }
    static std::string Read(int program, std::size_t count) {
        std::string got;
        Soon([&] { return (got += ScriptedNetwork::Read(program)).size() >= count; });
        return got;
    }

    TcpOutput output{1, std::nullopt};
};

TEST_F(TcpOutputMemory, AClientIsCutOffAtOnceAndTheOthersGoOn) {
    const int before = ScriptedNetwork::Connect();
    Give("one");
    EXPECT_EQ(Read(before, 3), "one");
    behindAccept = 1;
    const int refused = ScriptedNetwork::Connect();
    EXPECT_TRUE(Becomes(refused, State::Reset));
    const int after = ScriptedNetwork::Connect();
    Give("two");
    EXPECT_EQ(Read(before, 3), "two");
    EXPECT_EQ(Read(after, 3), "two");
    EXPECT_EQ(ScriptedNetwork::Read(refused), "");
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(clients.served, 3U);
    EXPECT_EQ(clients.cutOff, 1U);
    EXPECT_EQ(clients.turnedAway, 0U);
}

TEST_F(TcpOutputMemory, AClientIsCutOffWhereItTakesTheHostsThread) {
    behindAccept = 1;
    const int refused = ScriptedNetwork::Connect();
    Give("one");  // which takes who waits, if the server has not done so
    EXPECT_TRUE(Becomes(refused, State::Reset));
    const int after = ScriptedNetwork::Connect();
    Give("two");
    EXPECT_EQ(Read(after, 3), "two");
}

TEST_F(TcpOutputMemory, ThePlaceOfASilentOneStaysFree) {
    for (std::size_t i = 0; i < TcpOutput::kMostClients; ++i) {
        ScriptedNetwork::SayNoMore(ScriptedNetwork::Connect());
    }
    Give("a");
    EXPECT_TRUE(Soon([] {
        return ScriptedNetwork::Calls().Calls("Receive") >= static_cast<int>(TcpOutput::kMostClients);
    }));
    behindAccept = 1;
    const int refused = ScriptedNetwork::Connect();
    EXPECT_TRUE(Becomes(refused, State::Reset));
    const int next = ScriptedNetwork::Connect();
    EXPECT_TRUE(Soon([] { return !ScriptedNetwork::SomebodyWaits(); }));
    Give("b");
    EXPECT_EQ(Read(next, 1), "b");
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(clients.cutOff, 1U);
    EXPECT_EQ(clients.turnedAway, 0U);
}

class ViewServerMemory : public ConnectionsMemory {
  protected:
    ViewServerMemory() {
        uint16_t port = 0;
        Network::Socket listener(Network::Listen(0, port));
        server.emplace(std::move(listener), port, "secret", feed, "<p>");
    }

    static int Ask() {
        const int program = ScriptedNetwork::Connect();
        ScriptedNetwork::Say(program,
                             "GET /api/overview?token=secret HTTP/1.1\r\nHost: 127.0.0.1:4711\r\nConnection: "
                             "close\r\n\r\n");
        ScriptedNetwork::SayNoMore(program);
        return program;
    }
    /// All that a connection gets until its end.
    static std::string Got(int program) {
        EXPECT_TRUE(Soon([=] { return ScriptedNetwork::StateOf(program) != State::Open; }));
        return ScriptedNetwork::Read(program);
    }
    static void ExpectAnswer() {
        const std::string got = Got(Ask());
        EXPECT_TRUE(got.starts_with("HTTP/1.1 200 OK\r\n") && got.ends_with("\r\n\r\noverview")) << got;
    }

    fakes::ScriptedFeed feed;
    std::optional<Viewer::ViewServer> server;
};

TEST_F(ViewServerMemory, AConnectionThatCannotBeginIsBrokenAndTheNextIsAnswered) {
    for (const std::size_t which : {1U, 2U}) {  // that of its place, that of its thread
        const int before = support::refusals;
        behindAccept = which;
        const int refused = Ask();
        EXPECT_TRUE(Becomes(refused, State::Closed)) << which;
        EXPECT_EQ(ScriptedNetwork::Read(refused), "") << which;
        EXPECT_EQ(support::refusals.load(), before + 1) << which;
        ExpectAnswer();
    }
}

TEST_F(ViewServerMemory, AConnectionEndsWhereverItsThreadHasNone) {
    constexpr std::size_t kFewest = 10;
    constexpr std::size_t kMost = 5000;
    std::size_t which = 0;
    for (int before = -1; before != support::refusals && which < kMost;) {
        before = support::refusals;
        behindReceive = ++which;
        const std::string got = Got(Ask());
        EXPECT_TRUE(got.empty() || got.starts_with("HTTP/1.1 ")) << which << ": " << got;
    }
    EXPECT_GT(which, kFewest);
    EXPECT_LT(which, kMost);
    ExpectAnswer();
}

}  // namespace
