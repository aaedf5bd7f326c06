#include "tracehost/tcp_output.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/scripted_local_socket.h"
#include "tracehost/errors.h"
#include "tracehost/platform_words.h"

namespace {

using namespace Korr::Plim::Trace::Tracehost;
using fakes::ScriptedNetwork;
using State = ScriptedNetwork::State;
using std::chrono::milliseconds;

class TcpOutputTest : public testing::Test {
  protected:
    TcpOutputTest() { ScriptedNetwork::Reset(); }

    static bool Soon(const std::function<bool()>& holds) {
        for (int i = 0; i < 4000; ++i) {
            if (holds()) return true;
            std::this_thread::sleep_for(milliseconds(5));
        }
        return false;
    }
    static void Give(TcpOutput& output, const std::string& bytes) {
        output.Take({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    }
    /// All that a program gets until there are so many bytes.
    static std::string ReadAll(int program, std::size_t count) {
        std::string got;
        Soon([&] {
            got += ScriptedNetwork::Read(program);
            return got.size() >= count;
        });
        return got;
    }
};

TEST_F(TcpOutputTest, RefusesAPortThatCannotBeTaken) {
    ScriptedNetwork::Calls().Fail("Listen");
    try {
        TcpOutput output(4444, std::nullopt);
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_EQ(error.what(), "--tcp: port 4444 of 127.0.0.1 cannot be taken: " + ErrorWords(104));
    }
}

TEST_F(TcpOutputTest, ListensAtThePortThatItTellsUntilItEnds) {
    {
        TcpOutput output(0, std::nullopt);
        EXPECT_EQ(output.Port(), 4711);
        EXPECT_TRUE(ScriptedNetwork::IsListening());
    }
    EXPECT_FALSE(ScriptedNetwork::IsListening());
}

TEST_F(TcpOutputTest, GivesEveryProgramAllThatComesAfterItConnected) {
    TcpOutput output(1, std::nullopt);
    Give(output, "nobody hears this");
    const int first = ScriptedNetwork::Connect();
    Give(output, "one");
    const int second = ScriptedNetwork::Connect();
    Give(output, "two");
    EXPECT_EQ(ReadAll(first, 6), "onetwo");
    EXPECT_EQ(ReadAll(second, 3), "two");
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(ScriptedNetwork::StateOf(first), State::Finished);
    EXPECT_EQ(ScriptedNetwork::StateOf(second), State::Finished);
    EXPECT_EQ(clients.served, 2U);
    EXPECT_EQ(clients.cutOff + clients.turnedAway, 0U);
}

TEST_F(TcpOutputTest, GivesOnAsManyBytesAsAreSaved) {
    TcpOutput output(1, 5);
    const int program = ScriptedNetwork::Connect();
    Give(output, "one");
    Give(output, "two");
    Give(output, "three");
    output.Finish(milliseconds(10'000));
    EXPECT_EQ(ScriptedNetwork::Read(program), "onetw");
}

TEST_F(TcpOutputTest, ProgramsThatCannotTakeAllAtOnceGetItInPieces) {
    TcpOutput output(1, std::nullopt);
    const int program = ScriptedNetwork::Connect();
    ScriptedNetwork::SetRoom(program, 7);
    const std::string all(1000, 'x');
    Give(output, all);
    EXPECT_EQ(ReadAll(program, all.size()), all);
}

TEST_F(TcpOutputTest, ProgramThatStallsIsCutOffAndNobodyElseNotices) {
    TcpOutput output(1, std::nullopt);
    const int slow = ScriptedNetwork::Connect();
    const int quick = ScriptedNetwork::Connect();
    ScriptedNetwork::SetRoom(slow, 10);
    const std::string piece(1 << 20, 'x');
    std::size_t got = 0;
    for (std::size_t i = 1; i <= 20; ++i) {
        Give(output, piece);
        got += ReadAll(quick, i * piece.size() - got).size();
        ASSERT_EQ(got, i * piece.size());
    }
    EXPECT_TRUE(Soon([&] { return ScriptedNetwork::StateOf(slow) == State::Reset; }));
    EXPECT_EQ(ScriptedNetwork::Read(slow), std::string(10, 'x'));
    EXPECT_EQ(ScriptedNetwork::StateOf(quick), State::Open);
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(clients.served, 2U);
    EXPECT_EQ(clients.cutOff, 1U);
}

TEST_F(TcpOutputTest, WhoHasNotGotAllInTheLastTimeIsCutOff) {
    TcpOutput output(1, std::nullopt);
    const int slow = ScriptedNetwork::Connect();
    ScriptedNetwork::SetRoom(slow, 1);
    Give(output, "two");
    EXPECT_EQ(output.Finish(milliseconds(20)).cutOff, 1U);
    EXPECT_EQ(ScriptedNetwork::StateOf(slow), State::Reset);
}

TEST_F(TcpOutputTest, ProgramsThatGoAwayAreForgotten) {
    TcpOutput output(1, std::nullopt);
    const int program = ScriptedNetwork::Connect();
    Give(output, "one");
    EXPECT_EQ(ReadAll(program, 3), "one");
    ScriptedNetwork::Break(program);
    EXPECT_TRUE(Soon([&] { return ScriptedNetwork::StateOf(program) == State::Closed; }));
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(clients.served, 1U);
    EXPECT_EQ(clients.cutOff, 0U);
}

TEST_F(TcpOutputTest, ConnectionThatBreaksWhileBytesAreSentIsForgotten) {
    ScriptedNetwork::Calls().Fail("Send");
    TcpOutput output(1, std::nullopt);
    const int program = ScriptedNetwork::Connect();
    Give(output, "one");
    EXPECT_TRUE(Soon([&] { return ScriptedNetwork::StateOf(program) == State::Closed; }));
    EXPECT_EQ(output.Finish(milliseconds(10'000)).cutOff, 0U);
}

TEST_F(TcpOutputTest, WhatProgramsSayIsPassedOver) {
    TcpOutput output(1, std::nullopt);
    const int program = ScriptedNetwork::Connect();
    ScriptedNetwork::Say(program, std::string(100'000, '?'));
    ScriptedNetwork::SayNoMore(program);
    Give(output, "one");
    EXPECT_EQ(ReadAll(program, 3), "one");
    EXPECT_EQ(ScriptedNetwork::StateOf(program), State::Open);
}

TEST_F(TcpOutputTest, ConnectionThatCannotBeTakenIsTriedAgain) {
    ScriptedNetwork::Calls().Fail("Accept", 1, 2);
    TcpOutput output(1, std::nullopt);
    const int program = ScriptedNetwork::Connect();
    EXPECT_TRUE(Soon([] { return !ScriptedNetwork::SomebodyWaits(); }));
    EXPECT_EQ(ScriptedNetwork::Calls().Failures("Accept"), 2);
    Give(output, "one");
    EXPECT_EQ(ReadAll(program, 3), "one");
}

TEST_F(TcpOutputTest, TurnsAwayWhoIsTooMany) {
    TcpOutput output(1, std::nullopt);
    std::vector<int> programs;
    for (std::size_t i = 0; i < TcpOutput::kMostClients; ++i) programs.push_back(ScriptedNetwork::Connect());
    Give(output, "a");
    const int tooMany = ScriptedNetwork::Connect();
    EXPECT_TRUE(Soon([&] { return ScriptedNetwork::StateOf(tooMany) == State::Reset; }));
    for (const int program : programs) EXPECT_EQ(ReadAll(program, 1), "a");
    const TcpClients clients = output.Finish(milliseconds(10'000));
    EXPECT_EQ(clients.served, TcpOutput::kMostClients);
    EXPECT_EQ(clients.turnedAway, 1U);
}

TEST_F(TcpOutputTest, PlaceOfAProgramThatMayBeGoneIsGivenToTheNext) {
    TcpOutput output(1, std::nullopt);
    for (std::size_t i = 0; i < TcpOutput::kMostClients; ++i) {
        ScriptedNetwork::SayNoMore(ScriptedNetwork::Connect());
    }
    Give(output, "a");
    const auto heard = [] { return ScriptedNetwork::Calls().Calls("Receive"); };
    EXPECT_TRUE(Soon([&] { return heard() >= static_cast<int>(TcpOutput::kMostClients); }));
    const int next = ScriptedNetwork::Connect();
    EXPECT_TRUE(Soon([] { return !ScriptedNetwork::SomebodyWaits(); }));
    Give(output, "b");
    EXPECT_EQ(ReadAll(next, 1), "b");
    EXPECT_EQ(output.Finish(milliseconds(10'000)).turnedAway, 0U);
}

}  // namespace
