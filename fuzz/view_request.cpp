// Any bytes as what a program says to the page's server, through HTTP: every answer is a whole one with a
// documented status and all headers, the same however the bytes are cut; and nothing is answered without the
// token, which stands in the input as "TOKEN". The first byte chooses the cuts.
#include <set>
#include <vector>

#include "fuzz/targets.h"
#include "tests/fakes/memory_channel.h"
#include "tests/fakes/scripted_feed.h"
#include "viewer/server/conversation.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Viewer;

constexpr std::string_view kPage =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'\"><p>";
constexpr std::string_view kToken = "0123456789abcdef0123456789abcdef";
constexpr std::string_view kPlace = "TOKEN";

struct Said {
    std::string answers;
    std::vector<std::string> asked;
    bool operator==(const Said&) const = default;
};

Said Say(const std::string& input, std::size_t cut) {
    fakes::ScriptedFeed feed;
    const Gate gate{std::string(kToken), 4711};
    Site site{feed, kPage, gate};
    fakes::MemoryChannel channel(input, cut);
    Converse(channel, site, false);
    Require(site.streams == 0, "streams that are left");
    return {channel.got, feed.Asked()};
}

std::string HeaderOf(std::string_view head, std::string_view name) {
    const std::string start = "\r\n" + std::string(name) + ": ";
    const std::size_t found = head.find(start);
    if (found == std::string_view::npos) return {};
    const std::size_t begin = found + start.size();
    return std::string(head.substr(begin, head.find("\r\n", begin) - begin));
}

/// Takes a body of chunks away.
void TakeChunks(std::string_view& rest) {
    while (true) {
        const std::size_t end = rest.find("\r\n");
        if (end == std::string_view::npos) return Require(rest.empty(), "a chunk's size");
        const std::size_t size = std::strtoul(std::string(rest.substr(0, end)).c_str(), nullptr, 16);
        Require(rest.size() >= end + 2 + size + 2, "a whole chunk");
        rest.remove_prefix(end + 2 + size + 2);
    }
}

/// Takes an answer away. \return its status
int TakeAnswer(std::string_view& rest) {
    static const std::set<int> documented{200, 400, 403, 404, 405, 408, 414, 431, 503};
    const std::size_t end = rest.find("\r\n\r\n");
    Require(rest.starts_with("HTTP/1.1 ") && end != std::string_view::npos, "an answer's head");
    const std::string_view head = rest.substr(0, end + 2);
    const int status = std::atoi(std::string(rest.substr(9, 3)).c_str());
    Require(documented.count(status) == 1, "status " + std::to_string(status));
    Require(HeaderOf(head, "X-Content-Type-Options") == "nosniff", "nosniff");
    Require(HeaderOf(head, "Cache-Control") == "no-store", "no-store");
    Require(HeaderOf(head, "Content-Security-Policy").starts_with("default-src 'none'"), "the policy");
    Require(HeaderOf(head, "Access-Control-Allow-Origin").empty(), "no other origins");
    rest.remove_prefix(end + 4);
    const bool bodiless = rest.empty() || rest.starts_with("HTTP/1.1 ");
    if (bodiless) return status;
    if (HeaderOf(head, "Transfer-Encoding") == "chunked") {
        TakeChunks(rest);
        return status;
    }
    const std::size_t size = std::strtoul(HeaderOf(head, "Content-Length").c_str(), nullptr, 10);
    Require(size > 0 && size <= rest.size(), "the body's length");
    rest.remove_prefix(size);
    return status;
}

}  // namespace

void FuzzViewRequest(std::string_view input) {
    if (input.empty()) return;
    const std::size_t cut = static_cast<unsigned char>(input.front()) + std::size_t{1};
    std::string text(input.substr(1));
    bool hasToken = text.find(kToken) != std::string::npos;
    for (std::size_t at = text.find(kPlace); at != std::string::npos;
         at = text.find(kPlace, at + kToken.size())) {
        text.replace(at, kPlace.size(), kToken);
        hasToken = true;
    }
    const Said said = Say(text, cut);
    Require(said == Say(text, 1 << 20), "the same answers however the bytes are cut");
    std::string_view rest = said.answers;
    while (!rest.empty()) {
        Require(TakeAnswer(rest) != 200 || hasToken || text.find('%') != std::string::npos, "the token");
    }
    Require(said.asked.empty() || hasToken || text.find('%') != std::string::npos,
            "no question without the token");
}

}  // namespace fuzz
