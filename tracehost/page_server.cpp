#include "tracehost/page_server.h"

#include "source_utilities/visible_text.h"
#include "tracehost/errors.h"
#include "tracehost/platform_words.h"
#include "viewer/page_html.h"
#include "viewer/server/access_token.h"

namespace Korr::Plim::Trace::Tracehost {

PageServer::PageServer(const char* option, uint16_t port, const Viewer::Feed& feed,
                       Viewer::Controls& controls) {
    uint16_t taken = 0;
    Network::Socket listener(Network::Listen(port, taken));
    if (!listener) {
        throw UsageError(std::string(option) + ": port " + std::to_string(port) +
                         " of 127.0.0.1 cannot be taken: " + ErrorWords(Network::LastNetworkError()));
    }
    const auto token = Viewer::NewAccessToken();
    const auto ticket = Viewer::NewAccessToken();
    if (!token || !ticket) {
        throw HostError("the system has no random bytes for secrets: nothing is served without");
    }
    server.emplace(std::move(listener), taken, *token, feed, Viewer::PageHtml(), *ticket, &controls);
}

void PageServer::TellBrowserProblem() {
    const auto problem = browser ? browser->Problem() : std::nullopt;
    if (!problem) return;
    std::fprintf(stderr, "tracehost: no browser was opened (%s): open the address yourself\n",
                 KORR_PLIM::Visible(*problem).Text());
    std::fflush(stderr);  // also where it is a file
}

}  // namespace Korr::Plim::Trace::Tracehost
