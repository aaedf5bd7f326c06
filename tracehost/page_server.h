#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "tracehost/browser.h"
#include "viewer/feed.h"
#include "viewer/server/view_server.h"

namespace Korr::Plim::Trace::Tracehost {

/// The page of a recording, served on this machine, and the browser that it is opened in.
class PageServer {
  public:
    /// \param option the one that names the port, as a refusal shows it \param port 0: any that is free
    /// \param feed outlives the server, as do the controls \throws UsageError when the port cannot be taken,
    /// HostError when the platform has no random bytes
    PageServer(const char* option, uint16_t port, const Viewer::Feed& feed, Viewer::Controls& controls);

    const std::string& Address() const { return server->Address(); }
    /// Opens it in the user's browser.
    void OpenBrowser() { browser.emplace(server->OpeningAddress()); }
    /// Tells on standard error, once, when no browser can be opened. To be called now and then.
    void TellBrowserProblem();

  private:
    std::optional<Viewer::ViewServer> server;
    std::optional<BrowserCall> browser;
};

}  // namespace Korr::Plim::Trace::Tracehost
