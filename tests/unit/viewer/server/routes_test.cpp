#include "viewer/server/routes.h"

#include <gtest/gtest.h>

#include "tests/fakes/scripted_controls.h"
#include "tests/fakes/scripted_feed.h"

namespace {

using namespace Korr::Plim::Trace::Viewer;

constexpr std::string_view kPage = "<html>";

class RoutesTest : public testing::Test {
  protected:
    Answer Ask(std::string_view path, const Parameters::List& parameters = {}) const {
        return AnswerTo(path, Parameters(parameters), feed, kPage);
    }
    /// The refusal's text; the status is 400.
    std::string WhyNot(std::string_view path, const Parameters::List& parameters) const {
        const Answer answer = Ask(path, parameters);
        EXPECT_EQ(answer.status, 400);
        EXPECT_EQ(answer.type, "application/json");
        return answer.body;
    }

    fakes::ScriptedFeed feed;
};

TEST_F(RoutesTest, PageAndStream) {
    const Answer page = Ask("/");
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.type, "text/html; charset=utf-8");
    EXPECT_EQ(page.body, kPage);
    EXPECT_TRUE(page.isPage);
    const Answer events = Ask("/api/stream");
    EXPECT_EQ(events.status, 200);
    EXPECT_EQ(events.type, "text/event-stream");
    EXPECT_TRUE(events.isStream);
    EXPECT_EQ(WhyNot("/", {{"x", "1"}}), "{\"error\":\"there is no such parameter here\"}");
    EXPECT_EQ(WhyNot("/api/stream", {{"x", "1"}}), "{\"error\":\"there is no such parameter here\"}");
}

TEST_F(RoutesTest, QuestionsReachTheFeedAsTheyWereAsked) {
    const struct {
        const char* path;
        Parameters::List parameters;
        const char* asked;
    } rows[] = {
        {"/api/overview", {}, "overview"},
        {"/api/window",
         {{"from", "-1"}, {"to", "2.5"}, {"pixels", "4096"}},
         "window -1.000000 2.500000 4096"},
        {"/api/window",
         {{"from", "0"}, {"to", "1"}, {"pixels", "1"}, {"tracks", "port:3,pc"}},
         "window 0.000000 1.000000 1 port:3 pc"},
        {"/api/events", {{"from", "0"}, {"to", "1"}}, "events 0.000000 1.000000 20000 0"},
        {"/api/events",
         {{"from", "0"}, {"to", "1"}, {"limit", "5"}, {"offset", "77"}, {"kinds", "stimulus,pc-sample"}},
         "events 0.000000 1.000000 5 77 stimulus pc-sample"},
        {"/api/profile",
         {{"from", "0"}, {"to", "1"}, {"by", "line"}, {"strip", "48"}},
         "profile 0.000000 1.000000 line 48"},
        {"/api/text",
         {{"port", "255"}, {"line", "18446744073709551615"}, {"count", "1000"}},
         "text 255 18446744073709551615 1000"},
        {"/api/find", {{"port", "0"}, {"text", "a b"}, {"line", "7"}}, "find 0 a b 7"},
        {"/api/find",
         {{"port", "0"}, {"text", "x"}, {"line", "7"}, {"back", "1"}, {"case", "1"}},
         "find 0 x 7 back case"},
        {"/api/find",
         {{"port", "0"}, {"text", "x"}, {"line", "7"}, {"back", "0"}, {"case", "0"}},
         "find 0 x 7"},
        {"/api/line", {{"port", "3"}, {"time", "1e3"}}, "line 3 1000.000000"},
        {"/api/ledger", {{"from", "5"}, {"count", "1"}}, "ledger 5 1"},
        {"/api/profile",
         {{"from", "0"}, {"to", "1"}, {"by", "function"}},
         "profile 0.000000 1.000000 function"},
        {"/api/profile",
         {{"from", "0"}, {"to", "1"}, {"by", "address"}},
         "profile 0.000000 1.000000 address"},
    };
    for (const auto& row : rows) {
        const Answer answer = Ask(row.path, row.parameters);
        EXPECT_EQ(answer.status, 200) << row.asked;
        EXPECT_EQ(answer.body, row.asked);
        const std::string_view path = row.path;
        const bool binary = path == "/api/window" || path == "/api/events";
        EXPECT_EQ(answer.type, binary ? "application/octet-stream" : "application/json");
    }
}

TEST_F(RoutesTest, WhatIsAskedWronglyNeverReachesTheFeed) {
    const struct {
        const char* path;
        Parameters::List parameters;
        const char* why;
    } rows[] = {
        {"/api/overview", {{"x", "1"}}, "there is no such parameter here"},
        {"/api/window", {{"to", "1"}, {"pixels", "1"}}, "\\\"from\\\" is missing"},
        {"/api/window",
         {{"from", "1"}, {"to", "1"}, {"pixels", "1"}},
         "\\\"to\\\" is not behind \\\"from\\\""},
        {"/api/window",
         {{"from", "nan"}, {"to", "1"}, {"pixels", "1"}},
         "\\\"from\\\" is no decimal number, or too large"},
        {"/api/window",
         {{"from", "0"}, {"to", "1e999"}, {"pixels", "1"}},
         "\\\"to\\\" is no decimal number, or too large"},
        {"/api/window",
         {{"from", "0"}, {"to", "1"}, {"pixels", "0"}},
         "\\\"pixels\\\" is no whole number from 1 to 4096"},
        {"/api/window",
         {{"from", "0"}, {"to", "1"}, {"pixels", "4097"}},
         "\\\"pixels\\\" is no whole number from 1 to 4096"},
        {"/api/window",
         {{"from", "0"}, {"to", "1"}, {"pixels", "1"}, {"tracks", ""}},
         "\\\"tracks\\\" is no list of ids"},
        {"/api/window",
         {{"from", "0"}, {"to", "1"}, {"pixels", "1"}, {"tracks", "a,"}},
         "\\\"tracks\\\" is no list of ids"},
        {"/api/text",
         {{"port", "256"}, {"line", "0"}, {"count", "1"}},
         "\\\"port\\\" is no whole number from 0 to 255"},
        {"/api/text",
         {{"port", "0"}, {"line", "0"}, {"count", "1001"}},
         "\\\"count\\\" is no whole number from 1 to 1000"},
        {"/api/text",
         {{"port", "0"}, {"line", "0"}, {"count", "1"}, {"count", "2"}},
         "\\\"count\\\" is there twice"},
        {"/api/find", {{"port", "0"}, {"text", ""}, {"line", "0"}}, "\\\"text\\\" has not 1 to 200 bytes"},
        {"/api/find",
         {{"port", "0"}, {"text", std::string(201, 'x')}, {"line", "0"}},
         "\\\"text\\\" has not 1 to 200 bytes"},
        {"/api/find",
         {{"port", "0"}, {"text", "x"}, {"line", "0"}, {"back", "2"}},
         "\\\"back\\\" is no whole number from 0 to 1"},
        {"/api/line", {{"port", "0"}}, "\\\"time\\\" is missing"},
        {"/api/ledger",
         {{"from", "-1"}, {"count", "1"}},
         "\\\"from\\\" is no whole number from 0 to 18446744073709551615"},
        {"/api/profile",
         {{"from", "0"}, {"to", "1"}, {"by", "lines"}},
         "\\\"by\\\" is none of function, line and address"},
        {"/api/profile",
         {{"from", "0"}, {"to", "1"}, {"by", "line"}, {"strip", "257"}},
         "\\\"strip\\\" is no whole number from 1 to 256"},
        {"/api/events", {{"from", "1"}, {"to", "0"}}, "\\\"to\\\" is not behind \\\"from\\\""},
        {"/api/events",
         {{"from", "0"}, {"to", "1"}, {"limit", "20001"}},
         "\\\"limit\\\" is no whole number from 1 to 20000"},
        {"/api/events",
         {{"from", "0"}, {"to", "1"}, {"offset", "-1"}},
         "\\\"offset\\\" is no whole number from 0 to 18446744073709551615"},
        {"/api/events", {{"from", "0"}, {"to", "1"}, {"kinds", "a,,b"}}, "\\\"kinds\\\" is no list of ids"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(WhyNot(row.path, row.parameters), "{\"error\":\"" + std::string(row.why) + "\"}");
    }
    EXPECT_EQ(feed.Asked(), std::vector<std::string>());
}

TEST_F(RoutesTest, ListsOfTracksAreBounded) {
    std::string ids = "a";
    for (int i = 1; i < 1024; ++i) ids += ",a";
    const auto ask = [&](const std::string& tracks) {
        return Ask("/api/window", {{"from", "0"}, {"to", "1"}, {"pixels", "1"}, {"tracks", tracks}}).status;
    };
    EXPECT_EQ(ask(ids), 200);
    EXPECT_EQ(ask(ids + ",a"), 400);
    EXPECT_EQ(ask(std::string(64, 'a')), 200);
    EXPECT_EQ(ask(std::string(65, 'a')), 400);
}

TEST_F(RoutesTest, ChangesReachTheControls) {
    fakes::ScriptedControls controls;
    const auto post = [&controls](std::string_view path, const Parameters::List& parameters) {
        const Answer answer = AnswerToPost(path, Parameters(parameters), &controls);
        EXPECT_EQ(answer.type, "application/json");
        return std::to_string(answer.status) + " " + answer.body;
    };
    const auto error = [](const char* status, const std::string& why) {
        return status + (" {\"error\":\"" + why + "\"}");
    };
    EXPECT_EQ(post("/api/stop", {}), "200 {}");
    EXPECT_EQ(post("/api/ports", {{"types", "3:f32,255:text"}}), "200 {}");
    EXPECT_EQ(controls.Asked(), (std::vector<std::string>{"stop", "ports 3=f32 255=text"}));
    controls.recording = false;
    EXPECT_EQ(post("/api/stop", {}), error("409", "nothing is being recorded"));
    EXPECT_EQ(post("/api/stop", {{"x", "1"}}), error("400", "there is no such parameter here"));
    EXPECT_EQ(post("/api/ports", {}), error("400", "\\\"types\\\" is missing"));
    EXPECT_EQ(post("/api/ports", {{"types", ""}}), error("400", "\\\"types\\\" is no list of ids"));
    for (const char* const wrong : {":f32", "256:f32", "-1:f32", "3x:f32"}) {
        EXPECT_EQ(post("/api/ports", {{"types", wrong}}),
                  error("400", "\\\"port\\\" is no whole number from 0 to 255"))
            << wrong;
    }
    EXPECT_EQ(post("/api/ports", {{"types", "1:nothing"}}), error("400", "there is no such type"));
    EXPECT_EQ(post("/api/nothing", {}), error("404", "there is nothing here"));
    EXPECT_EQ(post("/api/stream", {}), error("405", "this is asked with GET, HEAD alone"));
}

TEST_F(RoutesTest, OtherPathsAreNotThere) {
    for (const char* const path :
         {"", "//", "/index.html", "/api", "/api/", "/api/overview/", "//api/overview", "/API/overview",
          "/api/../api/overview", "/%61pi/overview", "/../etc/passwd", "/api/overview%00"}) {
        const Answer answer = Ask(path);
        EXPECT_EQ(answer.status, 404) << path;
        EXPECT_EQ(answer.body, "{\"error\":\"there is nothing here\"}");
    }
}

TEST_F(RoutesTest, FailuresOfTheFeedAreTold) {
    feed.Fail("port 9 has no text", true);
    EXPECT_EQ(WhyNot("/api/overview", {}), "{\"error\":\"port 9 has no text\"}");
    feed.Fail("\"C:\\x\" is gone\n\xFF", false);
    const Answer answer = Ask("/api/overview");
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.body, "{\"error\":\"\\\"C:\\\\x\\\" is gone??\"}");
}

TEST(EventOf, TellsTheState) {
    FeedState state;
    state.revision = 18;
    state.bytes = 1000000;
    state.indexed = 999999;
    state.end = 1234567.5;
    state.live = true;
    EXPECT_EQ(EventOf(state),
              "data: {\"revision\":18,\"bytes\":1000000,\"indexed\":999999,\"end\":1234567.5,\"live\":true,"
              "\"trouble\":null}\n\n");
    EXPECT_EQ(
        EventOf({}),
        "data: {\"revision\":0,\"bytes\":0,\"indexed\":0,\"end\":0,\"live\":false,\"trouble\":null}\n\n");
}

/// One line, whatever the trouble says: an event ends with an empty one.
TEST(EventOf, TellsWhatWentWrong) {
    FeedState state;
    state.trouble = "\"C:\\x\" is gone\n\ndata: \xC3\xA4";
    EXPECT_EQ(EventOf(state),
              "data: {\"revision\":0,\"bytes\":0,\"indexed\":0,\"end\":0,\"live\":false,"
              "\"trouble\":\"\\\"C:\\\\x\\\" is gone??data: ??\"}\n\n");
}

}  // namespace
