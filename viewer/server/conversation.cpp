// The only file that sees the HTTP library, which takes longer to compile than all others here.
#include "viewer/server/conversation.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "viewer/server/request_reader.h"
#include "viewer/server/routes.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMostRequests = 1000;  // of one connection
constexpr auto kEventPause = std::chrono::milliseconds(100);
constexpr auto kSilence = std::chrono::seconds(15);  // until a comment shows that the server is there
constexpr const char* kNothing = "default-src 'none'; frame-ancestors 'none'";

/// The parameters in the target of a request, in their order. The library's own list leaves out what is there
/// twice, and what stands between two signs of equality.
Parameters::List ParametersOf(std::string_view target) {
    Parameters::List parameters;
    for (std::size_t start = target.find('?'); start < target.size();) {
        const std::size_t end = std::min(target.find('&', ++start), target.size());
        const std::string_view parameter = target.substr(start, end - start);
        start = end;
        if (parameter.empty()) continue;
        const std::size_t name = std::min(parameter.find('='), parameter.size());
        const std::string_view value = parameter.substr(std::min(name + 1, parameter.size()));
        parameters.emplace_back(httplib::detail::decode_url(std::string(parameter.substr(0, name)), true),
                                httplib::detail::decode_url(std::string(value), true));
    }
    return parameters;
}

/// What the library reads a request from and writes its answer to.
class Exchange : public httplib::Stream {
  public:
    Exchange(std::string request, ByteChannel& to) : head(std::move(request)), channel(to) {}

    bool is_readable() const override { return taken < head.size(); }
    bool is_writable() const override { return !broken; }
    ssize_t read(char* buffer, size_t size) override {
        const std::size_t count = std::min(size, head.size() - taken);
        std::copy_n(head.data() + taken, count, buffer);
        taken += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* bytes, size_t size) override {
        broken = broken || !channel.Write(bytes, size);
        return broken ? -1 : static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string& address, int& port) const override {
        address.clear();
        port = 0;
    }
    void get_local_ip_and_port(std::string& address, int& port) const override {
        get_remote_ip_and_port(address, port);
    }
    socket_t socket() const override { return 0; }

    bool Broken() const { return broken; }

  private:
    const std::string head;
    std::size_t taken = 0;
    ByteChannel& channel;
    bool broken = false;
};

/// The library's server without its sockets and threads: it is given requests that were looked at, parses
/// their targets, and writes answers.
class Responder : private httplib::Server {
  public:
    Responder(ByteChannel& to, Site& about) : channel(to), site(about) {
        svr_sock_ = 0;  // else it takes itself for one that is being shut down, and streams nothing
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            Respond(request, response);
            return HandlerResponse::Handled;
        });
    }

    /// \return whether the connection goes on
    bool Answer(const RequestHead& request) {
        head = &request;
        // A request that is refused is a plain one to the library. Headers are of no interest to it, but one.
        const std::string plain = request.isHead ? "HEAD / HTTP/1.1" : "GET / HTTP/1.1";
        const std::string line = request.refusal == 0 ? request.line : plain;
        Exchange exchange(line + "\r\n" + (request.close ? "Connection: close\r\n" : "") + "\r\n", channel);
        bool closed = false;
        // An answer that is not whole, as a stream that was ended, is the connection's last.
        const bool whole = process_request(exchange, request.close, closed, nullptr);
        return whole && !request.close && !exchange.Broken();
    }

  private:
    void Respond(const httplib::Request& request, httplib::Response& response) {
        const Viewer::Answer answer = AnswerOf(request);
        response.status = answer.status;
        response.headers = {{"Content-Security-Policy", answer.isPage ? PolicyOf(site.page) : kNothing},
                            {"Cache-Control", "no-store"},
                            {"Cross-Origin-Resource-Policy", "same-origin"},
                            {"Cross-Origin-Opener-Policy", "same-origin"},
                            {"Referrer-Policy", "no-referrer"},
                            {"X-Content-Type-Options", "nosniff"},
                            {"X-Frame-Options", "DENY"}};
        if (answer.status == 405) response.set_header("Allow", answer.allow);
        if (!answer.location.empty()) response.set_header("Location", answer.location);
        if (answer.isStream) {
            Stream(response, answer.type);
        } else {
            response.set_content(answer.body, answer.type);
        }
    }

    Viewer::Answer AnswerOf(const httplib::Request& request) {
        if (head->refusal != 0) return Refusal(head->refusal, head->why);
        Parameters::List parameters = ParametersOf(request.target);
        const std::string_view path = std::string_view(request.target).substr(0, request.target.find('?'));
        if (path == "/open") return Open(request.method, parameters);
        const auto first = std::find_if(parameters.begin(), parameters.end(),
                                        [](const auto& parameter) { return parameter.first == "token"; });
        std::string token;
        if (first != parameters.end()) {
            token = first->second;
            parameters.erase(first);
        }
        const std::string_view why = site.gate.WhyNot(*head, token);
        if (!why.empty()) return Refusal(403, why);
        const Parameters given(std::move(parameters));
        if (request.method == "POST") return AnswerToPost(path, given, site.controls);
        Viewer::Answer answer = AnswerTo(path, given, site.feed, site.page);
        if (answer.isStream && request.method == "GET" && !place.Take(site)) {
            return Refusal(503, "too many pages are open: close one");
        }
        return answer;
    }

    /// Sends a browser to the page, once: its command line, which others may see, is worth nothing from then
    /// on.
    Viewer::Answer Open(std::string_view method, const Parameters::List& parameters) {
        const std::string_view why = site.gate.WhyNotAsked(*head);
        if (!why.empty()) return Refusal(403, why);
        const bool right = parameters.size() == 1 && parameters[0].first == "ticket" &&
                           !site.ticket.empty() && SameSecret(parameters[0].second, site.ticket);
        if (method != "GET" || !right || site.ticketTaken.exchange(true)) {
            return Refusal(403, "this address opens the page once: open the one that tracehost printed");
        }
        return {303, "application/json", "{}", false, false, site.gate.PageTarget()};
    }

    void Stream(httplib::Response& response, const std::string& type) {
        told.reset();
        toldAt = Clock::now();
        response.set_chunked_content_provider(
            type, [this](size_t, httplib::DataSink& sink) { return StreamOn(sink); },
            [this](bool) { place.Leave(); });
    }

    /// One turn of a stream of events. \return whether it goes on
    bool StreamOn(httplib::DataSink& sink) {
        const FeedState state = site.feed.Now();
        const bool news = !told || state.revision != told->revision || state.bytes != told->bytes ||
                          state.indexed != told->indexed || state.live != told->live ||
                          state.trouble != told->trouble;
        const bool silent = Clock::now() - toldAt >= kSilence;
        if (news || silent) {
            const std::string event = news ? EventOf(state) : ":\n\n";
            if (!sink.write(event.data(), event.size())) return false;
            told = state;
            toldAt = Clock::now();
        }
        return channel.Linger(kEventPause);
    }

    /// One of the places of a site for streams, given back at the end.
    class Place {
      public:
        ~Place() { Leave(); }
        bool Take(Site& of) {
            if (of.streams.fetch_add(1) >= Site::kMostStreams) {
                of.streams.fetch_sub(1);
                return false;
            }
            site = &of;
            return true;
        }
        void Leave() {
            if (site != nullptr) site->streams.fetch_sub(1);
            site = nullptr;
        }

      private:
        Site* site = nullptr;
    };

    ByteChannel& channel;
    Site& site;
    const RequestHead* head = nullptr;
    Place place;
    std::optional<FeedState> told;
    Clock::time_point toldAt;
};

}  // namespace

std::string PolicyOf(std::string_view page) {
    constexpr std::string_view kBegin = "<meta http-equiv=\"Content-Security-Policy\" content=\"";
    const std::size_t begin = page.find(kBegin);
    if (begin == std::string_view::npos) return kNothing;
    const std::string_view rest = page.substr(begin + kBegin.size());
    return std::string(rest.substr(0, rest.find('"'))) + "; frame-ancestors 'none'";
}

void Converse(ByteChannel& channel, Site& site, bool busy) {
    RequestReader reader(channel);
    Responder responder(channel, site);
    for (int requests = 1; requests <= kMostRequests; ++requests) {
        RequestHead head = reader.Read();
        if (head.gone) return;
        if (busy && head.refusal == 0) {
            head.refusal = 503;
            head.why = "too many connections: close a page";
        }
        head.close = head.close || head.refusal != 0 || requests == kMostRequests;
        if (!responder.Answer(head)) return;
    }
}

}  // namespace Korr::Plim::Trace::Viewer
