// Any bytes as what a program says to the page's server, through HTTP: every request gets one whole answer
// with a documented status, all headers and the body that it should have, the same however the bytes are cut;
// and nothing is answered without the token, which stands in the input as "TOKEN", but the way to the page,
// once, for the ticket, "TICKET". The first byte chooses the cuts.
#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "fuzz/targets.h"
#include "tests/fakes/memory_channel.h"
#include "tests/fakes/scripted_controls.h"
#include "tests/fakes/scripted_feed.h"
#include "viewer/server/conversation.h"
#include "viewer/server/routes.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Viewer;

constexpr std::string_view kPage =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'\"><p>";
constexpr std::string_view kToken = "0123456789abcdef0123456789abcdef";
constexpr std::string_view kTicket = "TICKET";
constexpr std::string_view kPlace = "TOKEN";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

struct Said {
    std::string answers;
    std::vector<std::string> asked;
    std::vector<std::string> changed;
    bool operator==(const Said&) const = default;
};

Said Say(const std::string& input, std::size_t cut) {
    fakes::ScriptedFeed feed;
    const Gate gate{std::string(kToken), 4711};
    fakes::ScriptedControls controls;
    Site site{feed, kPage, gate, std::string(kTicket), &controls};
    fakes::MemoryChannel channel(input, cut);
    Converse(channel, site, false);
    Require(site.streams == 0, "streams that are left");
    return {channel.got, feed.Asked(), controls.Asked()};
}

std::string HeaderOf(std::string_view head, std::string_view name) {
    const std::string start = "\r\n" + std::string(name) + ": ";
    const std::size_t found = head.find(start);
    if (found == std::string_view::npos) return {};
    const std::size_t begin = found + start.size();
    return std::string(head.substr(begin, head.find("\r\n", begin) - begin));
}

/// What was said, request by request: the head of each, without the empty line behind it.
std::vector<std::string_view> HeadsIn(std::string_view text) {
    std::vector<std::string_view> heads;
    for (std::size_t end = text.find(kHeadEnd); end != std::string_view::npos; end = text.find(kHeadEnd)) {
        heads.push_back(text.substr(0, end));
        text.remove_prefix(end + kHeadEnd.size());
    }
    heads.push_back(text);  // one that never came to its end; it may still be refused
    return heads;
}

/// Takes a number of so many hexadecimal digits away. Absent: they are not there
std::optional<unsigned> TakeHex(std::string_view& text, std::size_t digits) {
    if (text.size() < digits) return std::nullopt;
    unsigned number = 0;
    for (const char letter : text.substr(0, digits)) {
        if (std::isxdigit(static_cast<unsigned char>(letter)) == 0) return std::nullopt;
        number = number * 16 + static_cast<unsigned>(std::stoi(std::string(1, letter), nullptr, 16));
    }
    text.remove_prefix(digits);
    return number;
}

/// A text of a request's target without its escapes: %41 and %u0041 are "A". Others than ASCII become "?".
std::string Decoded(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        std::string_view rest = text.substr(1);
        const bool wide = rest.starts_with('u');
        if (wide) rest.remove_prefix(1);
        const auto code = text.front() == '%' ? TakeHex(rest, wide ? 4 : 2) : std::nullopt;
        decoded += !code ? text.front() : *code < 0x80 ? static_cast<char>(*code) : '?';
        text = code ? rest : text.substr(1);
    }
    return decoded;
}

/// Whether one of the parameters in a request's line is this one.
bool HasParameter(std::string_view head, std::string_view wantedName, std::string_view wanted) {
    std::string_view line = head.substr(0, head.find("\r\n"));
    const std::size_t query = line.find('?');
    if (query == std::string_view::npos) return false;
    for (line.remove_prefix(query + 1); !line.empty();) {
        const std::size_t end = std::min(line.find_first_of("& "), line.size());
        const std::string_view parameter = line.substr(0, end);
        const std::size_t name = std::min(parameter.find('='), end);
        const bool named = Decoded(parameter.substr(0, name)) == wantedName;
        if (named && Decoded(parameter.substr(std::min(name + 1, end))) == wanted) return true;
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return false;
}

/// Takes the body of a stream away: events, a chunk each, until the far end has gone.
void TakeEvents(std::string_view& rest) {
    const std::string event = EventOf({});
    std::ostringstream chunk;
    chunk << std::hex << event.size() << "\r\n" << event << "\r\n";
    Require(rest.starts_with(chunk.str()), "an event");
    rest.remove_prefix(chunk.str().size());
    Require(rest.empty(), "a stream is the connection's last answer");
}

/// The answers of one connection, one after another.
class Answers {
  public:
    explicit Answers(const Said& all) : rest(all.answers), asked(all.asked), changes(all.changed.size()) {}

    bool More() const { return !rest.empty(); }
    bool Ended() const { return ended; }
    /// Takes the answer to a request.
    void Take(std::string_view request) {
        Require(!ended, "no answer behind the last one");
        const int status = TakeHead();
        const bool head = request.starts_with("HEAD ");
        if (HeaderOf(present, "Transfer-Encoding") == "chunked") {
            Require(status == 200, "a stream that is refused");
            ended = true;
            if (!head) TakeEvents(rest);
        } else {
            TakeBody(status, head, request.starts_with("POST "));
        }
        Require(status != 200 || HasParameter(request, "token", kToken), "the token");
        if (status != 303) return;
        Require(request.starts_with("GET /open?") && HasParameter(request, "ticket", kTicket), "the ticket");
        Require(!std::exchange(opened, true), "a ticket that is taken once");
        Require(HeaderOf(present, "Location") == "/?token=" + std::string(kToken), "the page");
    }
    void RequireAllAsked() const {
        Require(asked.size() == answered, "an answer to every question of the feed");
        Require(changes == posted, "no change but by what was posted");
    }

  private:
    /// \return the status
    int TakeHead() {
        static const std::set<int> documented{200, 303, 400, 403, 404, 405, 408, 414, 431, 503};
        const std::size_t end = rest.find(kHeadEnd);
        Require(rest.starts_with("HTTP/1.1 ") && end != std::string_view::npos, "an answer's head");
        present = rest.substr(0, end + 2);
        rest.remove_prefix(end + kHeadEnd.size());
        const int status = std::atoi(std::string(present.substr(9, 3)).c_str());
        Require(documented.count(status) == 1, "status " + std::to_string(status));
        Require(HeaderOf(present, "X-Content-Type-Options") == "nosniff", "nosniff");
        Require(HeaderOf(present, "Cache-Control") == "no-store", "no-store");
        Require(HeaderOf(present, "Content-Security-Policy").starts_with("default-src 'none'"), "the policy");
        Require(HeaderOf(present, "Access-Control-Allow-Origin").empty(), "no other origins");
        ended = HeaderOf(present, "Connection") == "close";
        return status;
    }
    /// A refusal's reason, the page, that something was changed, or what the feed has answered: its questions
    /// in their order.
    void TakeBody(int status, bool head, bool post) {
        const std::string length = HeaderOf(present, "Content-Length");
        const std::size_t size = std::strtoul(length.c_str(), nullptr, 10);
        Require(size > 0 && std::to_string(size) == length, "the body's length");
        const std::string type = HeaderOf(present, "Content-Type");
        const bool page = status == 200 && type.starts_with("text/html");
        const bool change = status == 200 && post;
        if (change) ++posted;
        const std::string* const told =
            status == 200 && !page && !change && answered < asked.size() ? &asked[answered++] : nullptr;
        Require(status != 200 || page || change || told != nullptr, "what the feed was asked");
        const std::string_view expected = page              ? kPage
                                          : change          ? std::string_view("{}")
                                          : told != nullptr ? std::string_view(*told)
                                                            : std::string_view();
        Require(status != 200 || size == expected.size(), "the length of what was asked for");
        if (head) return;
        Require(size <= rest.size(), "a whole body");
        const std::string_view body = rest.substr(0, size);
        rest.remove_prefix(size);
        if (status == 200) return Require(body == expected, "the body that was asked for");
        if (status == 303) return Require(body == "{}", "nothing more");
        Require(type == "application/json" && body.starts_with("{\"error\":\"") && body.ends_with("\"}"),
                "the reason of a refusal");
    }

    std::string_view rest;
    const std::vector<std::string>& asked;
    const std::size_t changes;
    std::size_t answered = 0;  ///< of the questions
    std::size_t posted = 0;    ///< requests that changed something
    bool opened = false;       ///< by the ticket
    bool ended = false;
    std::string_view present;  ///< the head
};

}  // namespace

void FuzzViewRequest(std::string_view input) {
    if (input.empty()) return;
    const std::size_t cut = static_cast<unsigned char>(input.front()) + std::size_t{1};
    std::string text(input.substr(1));
    for (std::size_t at = text.find(kPlace); at != std::string::npos;
         at = text.find(kPlace, at + kToken.size())) {
        text.replace(at, kPlace.size(), kToken);
    }
    const Said said = Say(text, cut);
    Require(said == Say(text, 1 << 20), "the same answers however the bytes are cut");
    Answers answers(said);
    const std::vector<std::string_view> heads = HeadsIn(text);
    for (auto head = heads.begin(); head != heads.end() && !answers.Ended(); ++head) {
        const bool whole = head + 1 != heads.end();
        if (whole || answers.More()) answers.Take(*head);
    }
    Require(!answers.More(), "no answer without a request");
    answers.RequireAllAsked();
}

}  // namespace fuzz
