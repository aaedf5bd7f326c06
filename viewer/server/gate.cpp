#include "viewer/server/gate.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

/// As a browser gives it, which leaves the usual port out.
std::string Place(const char* host, uint16_t port) {
    return port == 80 ? host : std::string(host) + ":" + std::to_string(port);
}

}  // namespace

Gate::Gate(std::string secret, uint16_t port)
    : token(std::move(secret)), numeric(Place("127.0.0.1", port)), named(Place("localhost", port)) {}

std::string_view Gate::WhyNotAsked(const RequestHead& head) const {
    if (head.host != numeric && head.host != named) return "this is not the host that was asked for";
    const bool own =
        head.origin.empty() || head.origin == "http://" + numeric || head.origin == "http://" + named;
    return own ? std::string_view() : "pages of other places get nothing here";
}

std::string_view Gate::WhyNot(const RequestHead& head, std::string_view given) const {
    const std::string_view why = WhyNotAsked(head);
    if (!why.empty()) return why;
    if (!SameSecret(given, token)) {
        return "the token is missing or wrong: open the address that tracehost printed";
    }
    return {};
}

bool SameSecret(std::string_view one, std::string_view other) {
    if (one.size() != other.size()) return false;
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < one.size(); ++i) {
        difference = static_cast<unsigned char>(difference | (one[i] ^ other[i]));
    }
    return difference == 0;
}

}  // namespace Korr::Plim::Trace::Viewer
