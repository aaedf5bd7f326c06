#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "viewer/server/request_reader.h"

namespace Korr::Plim::Trace::Viewer {

/// Lets pass who has the token and asks under the server's own name: not pages of other places, whose
/// programs run in the same browser, be it that their names lead here (DNS rebinding).
class Gate {
  public:
    /// \param secret the token, not empty
    Gate(std::string secret, uint16_t port);
    /// \param token as it was asked with; empty: without \return why not; empty: it may pass
    std::string_view WhyNot(const RequestHead& head, std::string_view token) const;
    /// The same without the token: whether the server itself is asked, by nobody else's page.
    std::string_view WhyNotAsked(const RequestHead& head) const;
    /// What leads to the page: "/?token=...".
    std::string PageTarget() const { return "/?token=" + token; }

  private:
    std::string token;
    std::string numeric;  ///< "127.0.0.1:4711"
    std::string named;    ///< "localhost:4711"
};

/// Whether two texts are the same, in a time that tells nothing but their lengths.
bool SameSecret(std::string_view one, std::string_view other);

}  // namespace Korr::Plim::Trace::Viewer
