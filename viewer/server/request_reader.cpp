#include "viewer/server/request_reader.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "network/local_socket.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

RequestHead Refuse(int status, std::string why) {
    RequestHead head;
    head.refusal = status;
    head.why = std::move(why);
    return head;
}

bool IsVisible(char letter) { return letter > ' ' && letter < 0x7F; }

bool IsOfName(char letter) {
    return IsVisible(letter) &&
           std::string_view("()<>@,;:\\\"/[]?={}").find(letter) == std::string_view::npos;
}

std::string_view Trimmed(std::string_view text) {
    const auto isBlank = [](char letter) { return letter == ' ' || letter == '\t'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

/// ASCII letters in either case are the same.
bool Same(std::string_view one, std::string_view other) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [&](char left, char right) { return lower(left) == lower(right); });
}

/// Looks at "GET /path?query HTTP/1.1". \return the refusal, or an empty head with `line` and `close`
RequestHead ReadRequestLine(std::string_view line) {
    const std::size_t first = line.find(' ');
    const std::size_t last = line.rfind(' ');
    if (first == std::string_view::npos || first == last) {
        return Refuse(400, "the request line has not three parts");
    }
    const std::string_view method = line.substr(0, first);
    const std::string_view target = line.substr(first + 1, last - first - 1);
    const std::string_view version = line.substr(last + 1);
    if (method.empty() || !std::all_of(method.begin(), method.end(), IsOfName)) {
        return Refuse(400, "the method is not a word");
    }
    if (version != "HTTP/1.1" && version != "HTTP/1.0") {
        return Refuse(400, "the version is neither HTTP/1.1 nor HTTP/1.0");
    }
    if (method != "GET" && method != "HEAD" && method != "POST") {
        return Refuse(405, "there are GET, HEAD and POST alone");
    }
    const bool visible = std::all_of(target.begin(), target.end(), IsVisible);
    const bool plain =
        target.find('#') == std::string_view::npos && std::count(target.begin(), target.end(), '?') <= 1;
    if (!target.starts_with('/') || !visible || !plain) {
        return Refuse(400, "the path is not of the form /path?name=value");
    }
    RequestHead head;
    head.line = line;
    head.close = version == "HTTP/1.0";
    return head;
}

/// One header line. A refusal goes into the head.
void ReadHeader(std::string_view line, RequestHead& head, bool& hostSeen, bool& originSeen) {
    const std::size_t colon = line.find(':');
    const std::string_view name = line.substr(0, colon);
    const bool named =
        colon != std::string_view::npos && !name.empty() && std::all_of(name.begin(), name.end(), IsOfName);
    const auto isControl = [](char letter) {
        return (letter >= 0 && letter < ' ' && letter != '\t') || letter == 0x7F;
    };
    if (!named || std::any_of(line.begin(), line.end(), isControl)) {
        head = Refuse(400, "a header is not of the form name: value");
        return;
    }
    const std::string_view value = Trimmed(line.substr(colon + 1));
    if (Same(name, "Host") || Same(name, "Origin")) {
        const bool isHost = Same(name, "Host");
        bool& seen = isHost ? hostSeen : originSeen;
        if (seen) head = Refuse(400, "a header is there twice");
        (isHost ? head.host : head.origin) = value;
        seen = true;
    } else if (Same(name, "Connection")) {
        head.close = head.close || Same(value, "close");
    } else if (Same(name, "Transfer-Encoding") || (Same(name, "Content-Length") && value != "0")) {
        head = Refuse(400, "a request has no body here");
    }
}

/// \param text the head, with the line end of each of its lines
RequestHead ReadHead(std::string_view text) {
    std::size_t end = text.find(kLineEnd);
    RequestHead head = ReadRequestLine(text.substr(0, end));
    bool hostSeen = false;
    bool originSeen = false;
    std::size_t headers = 0;
    text.remove_prefix(end + kLineEnd.size());
    while (head.refusal == 0 && !text.empty()) {
        if (++headers > RequestReader::kMostHeaders) return Refuse(431, "too many headers");
        end = text.find(kLineEnd);
        ReadHeader(text.substr(0, end), head, hostSeen, originSeen);
        text.remove_prefix(end + kLineEnd.size());
    }
    if (head.refusal == 0 && originSeen && head.origin.empty()) return Refuse(400, "the origin is empty");
    return head;
}

}  // namespace

RequestHead RequestReader::Read() {
    RequestHead head;
    const bool whole = Fill(head);
    const std::size_t size = whole ? pending.find(kHeadEnd) + kLineEnd.size() : 0;
    if (whole) head = ReadHead(std::string_view(pending).substr(0, size));
    head.isHead = pending.starts_with("HEAD ");
    if (whole) pending.erase(0, size + kLineEnd.size());
    return head;
}

/// Reads until a whole head is there. \return false: there is none, `head` says why
bool RequestReader::Fill(RequestHead& head) {
    const auto begun = Clock::now();
    auto end = begun + (pending.empty() ? milliseconds(kIdle) : milliseconds(kSlowest));
    while (pending.find(kHeadEnd) == std::string::npos) {
        const std::size_t lineEnd = pending.find(kLineEnd);
        if (std::min(lineEnd, pending.size()) > kLongestLine) {
            head = Refuse(414, "the request line is longer than " + std::to_string(kLongestLine) + " bytes");
            return false;
        }
        if (pending.size() > kLongestHead) {
            head = Refuse(431, "the headers are longer than " + std::to_string(kLongestHead) + " bytes");
            return false;
        }
        std::array<char, 4096> piece;
        const auto left = std::max(std::chrono::ceil<milliseconds>(end - Clock::now()), milliseconds(0));
        const std::ptrdiff_t count = channel.Read(piece.data(), piece.size(), left);
        if (count <= 0) {
            const bool slow = count == Network::kLater && !pending.empty();
            head = slow ? Refuse(408, "the request did not come in time") : RequestHead{};
            head.gone = !slow;
            return false;
        }
        if (pending.empty()) end = Clock::now() + kSlowest;
        pending.append(piece.data(), static_cast<std::size_t>(count));
    }
    const std::size_t lineEnd = pending.find(kLineEnd);
    if (lineEnd > kLongestLine) {
        head = Refuse(414, "the request line is longer than " + std::to_string(kLongestLine) + " bytes");
    }
    if (head.refusal == 0 && pending.find(kHeadEnd) > kLongestHead) {
        head = Refuse(431, "the headers are longer than " + std::to_string(kLongestHead) + " bytes");
    }
    return head.refusal == 0;
}

}  // namespace Korr::Plim::Trace::Viewer
