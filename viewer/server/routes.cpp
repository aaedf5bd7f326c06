#include "viewer/server/routes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr uint64_t kAny = UINT64_MAX;
constexpr std::size_t kMostTracks = 1024;
constexpr std::size_t kLongestId = 64;
constexpr const char* kJson = "application/json";
constexpr const char* kBinary = "application/octet-stream";
constexpr const char* kPosted[] = {"/api/stop", "/api/ports"};

uint8_t Port(const Parameters& parameters) { return static_cast<uint8_t>(parameters.Whole("port", 0, 255)); }

uint32_t Rows(const Parameters& parameters) {
    return static_cast<uint32_t>(parameters.Whole("count", 1, kMostRows));
}

/// From and to of a question. \throws BadQuestion when there is nothing between
void ReadSpan(const Parameters& parameters, double& from, double& to) {
    from = parameters.Number("from");
    to = parameters.Number("to");
    if (!(from < to)) throw BadQuestion("\"to\" is not behind \"from\"");
}

/// The parts of "a,b,c". \param name of the parameter
std::vector<std::string> ReadList(const std::string& name, const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        if (end == start || end - start > kLongestId) throw BadQuestion("\"" + name + "\" is no list of ids");
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (parts.size() > kMostTracks) throw BadQuestion("\"" + name + "\" names too many");
    return parts;
}

/// "3:f32,0:text"
std::vector<PortChoice> ReadChoices(const std::string& text) {
    std::vector<PortChoice> choices;
    for (const std::string& part : ReadList("types", text)) {
        const std::size_t colon = std::min(part.find(':'), part.size());
        const Parameters one({{"port", part.substr(0, colon)}});
        choices.push_back({Port(one), part.substr(std::min(colon + 1, part.size()))});
    }
    return choices;
}

std::string Overview(const Parameters&, const Feed& feed) { return feed.Overview(); }

std::string Window(const Parameters& parameters, const Feed& feed) {
    WindowQuestion question;
    ReadSpan(parameters, question.from, question.to);
    question.pixels = static_cast<uint32_t>(parameters.Whole("pixels", 1, kMostPixels));
    const std::string* const tracks = parameters.Find("tracks");
    if (tracks != nullptr) question.tracks = ReadList("tracks", *tracks);
    return feed.Window(question);
}

std::string Events(const Parameters& parameters, const Feed& feed) {
    EventsQuestion question;
    ReadSpan(parameters, question.from, question.to);
    if (parameters.Find("limit") != nullptr) {
        question.limit = static_cast<uint32_t>(parameters.Whole("limit", 1, kMostEvents));
    }
    if (parameters.Find("offset") != nullptr) question.offset = parameters.Whole("offset", 0, kAny);
    if (const std::string* const kinds = parameters.Find("kinds")) question.kinds = ReadList("kinds", *kinds);
    return feed.Events(question);
}

std::string Text(const Parameters& parameters, const Feed& feed) {
    return feed.Text({Port(parameters), parameters.Whole("line", 0, kAny), Rows(parameters)});
}

std::string Find(const Parameters& parameters, const Feed& feed) {
    FindQuestion question;
    question.port = Port(parameters);
    question.text = parameters.Text("text");
    if (question.text.empty() || question.text.size() > kMostSought) {
        throw BadQuestion("\"text\" has not 1 to " + std::to_string(kMostSought) + " bytes");
    }
    question.line = parameters.Whole("line", 0, kAny);
    question.back = parameters.Flag("back");
    question.matchCase = parameters.Flag("case");
    return feed.Find(question);
}

std::string Line(const Parameters& parameters, const Feed& feed) {
    return feed.LineAt(Port(parameters), parameters.Number("time"));
}

std::string Ledger(const Parameters& parameters, const Feed& feed) {
    return feed.Ledger(parameters.Whole("from", 0, kAny), Rows(parameters));
}

std::string Profile(const Parameters& parameters, const Feed& feed) {
    ProfileQuestion question;
    ReadSpan(parameters, question.from, question.to);
    const std::string& by = parameters.Text("by");
    if (by != "function" && by != "line" && by != "address") {
        throw BadQuestion("\"by\" is none of function, line and address");
    }
    question.by = by == "line" ? ProfileBy::Line : by == "address" ? ProfileBy::Address : ProfileBy::Function;
    if (parameters.Find("strip") != nullptr) {
        question.columns = static_cast<uint32_t>(parameters.Whole("strip", 1, kMostStrip));
    }
    return feed.Profile(question);
}

/// What is asked below /api/, and the parameters of each question.
struct Route {
    std::string_view path;
    std::vector<std::string_view> names;
    const char* type;
    std::string (*answer)(const Parameters& parameters, const Feed& feed);
};

const std::array<Route, 8>& Routes() {
    static const std::array<Route, 8> routes = {{
        {"/api/overview", {}, kJson, Overview},
        {"/api/window", {"from", "to", "pixels", "tracks"}, kBinary, Window},
        {"/api/events", {"from", "to", "limit", "offset", "kinds"}, kBinary, Events},
        {"/api/text", {"port", "line", "count"}, kJson, Text},
        {"/api/find", {"port", "text", "line", "back", "case"}, kJson, Find},
        {"/api/line", {"port", "time"}, kJson, Line},
        {"/api/ledger", {"from", "count"}, kJson, Ledger},
        {"/api/profile", {"from", "to", "by", "strip"}, kJson, Profile},
    }};
    return routes;
}

/// A text between quotes in JSON. Bytes that are no ASCII characters become "?".
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') quoted += '\\';
        quoted += letter >= ' ' && letter < 0x7F ? letter : '?';
    }
    return quoted + "\"";
}

const Route* RouteOf(std::string_view path) {
    const auto& routes = Routes();
    const auto route =
        std::find_if(routes.begin(), routes.end(), [path](const Route& each) { return each.path == path; });
    return route == routes.end() ? nullptr : &*route;
}

bool IsPosted(std::string_view path) {
    return std::find(std::begin(kPosted), std::end(kPosted), path) != std::end(kPosted);
}

Answer WrongMethod(const char* allowed) {
    Answer answer = Refusal(405, "this is asked with " + std::string(allowed) + " alone");
    answer.allow = allowed;
    return answer;
}

Answer Change(std::string_view path, const Parameters& parameters, Controls& controls) {
    if (path == "/api/stop") {
        parameters.RefuseAllBut({});
        if (!controls.Stop()) return Refusal(409, "nothing is being recorded");
    } else {
        parameters.RefuseAllBut({"types"});
        controls.ShowPorts(ReadChoices(parameters.Text("types")));
    }
    return {200, kJson, "{}"};
}

Answer AskFeed(std::string_view path, const Parameters& parameters, const Feed& feed, std::string_view page) {
    if (path == "/") {
        parameters.RefuseAllBut({});
        return {200, "text/html; charset=utf-8", std::string(page), true, false};
    }
    if (path == "/api/stream") {
        parameters.RefuseAllBut({});
        return {200, "text/event-stream", {}, false, true};
    }
    const Route* const route = RouteOf(path);
    if (route == nullptr) return IsPosted(path) ? WrongMethod("POST") : Refusal(404, "there is nothing here");
    parameters.RefuseAllBut(route->names);
    return {200, route->type, route->answer(parameters, feed)};
}

}  // namespace

namespace {

/// Failures are answers, too.
template <class Ask>
Answer OrRefusal(Ask&& ask) {
    try {
        return ask();
    } catch (const BadQuestion& question) {
        return Refusal(400, question.what());
    } catch (const std::exception& failure) {
        return Refusal(500, failure.what());
    }
}

}  // namespace

Answer Refusal(int status, std::string_view why) {
    return {status, kJson, "{\"error\":" + Quoted(why) + "}"};
}

Answer AnswerTo(std::string_view path, const Parameters& parameters, const Feed& feed,
                std::string_view page) {
    return OrRefusal([&] { return AskFeed(path, parameters, feed, page); });
}

Answer AnswerToPost(std::string_view path, const Parameters& parameters, Controls* controls) {
    const bool isRead = path == "/" || path == "/api/stream" || RouteOf(path) != nullptr;
    if (isRead) return WrongMethod("GET, HEAD");
    if (!IsPosted(path)) return Refusal(404, "there is nothing here");
    if (controls == nullptr) return Refusal(409, "nothing can be changed here");
    return OrRefusal([&] { return Change(path, parameters, *controls); });
}

std::string EventOf(const FeedState& state) {
    std::array<char, 40> end;
    const auto written = std::to_chars(end.data(), end.data() + end.size(), state.end);
    return "data: {\"revision\":" + std::to_string(state.revision) +
           ",\"bytes\":" + std::to_string(state.bytes) + ",\"indexed\":" + std::to_string(state.indexed) +
           ",\"end\":" + std::string(end.data(), written.ptr) +
           ",\"live\":" + (state.live ? "true" : "false") +
           ",\"trouble\":" + (state.trouble.empty() ? "null" : Quoted(state.trouble)) + "}\n\n";
}

}  // namespace Korr::Plim::Trace::Viewer
