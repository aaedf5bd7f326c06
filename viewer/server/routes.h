#pragma once

#include <string>
#include <string_view>

#include "viewer/feed.h"
#include "viewer/server/controls.h"
#include "viewer/server/parameters.h"

namespace Korr::Plim::Trace::Viewer {

/// What is answered to a request.
struct Answer {
    int status = 200;  ///< of HTTP
    std::string type;  ///< media type of the body
    std::string body;
    bool isPage = false;                    ///< the page itself
    bool isStream = false;                  ///< news follow, without an end; there is no body
    std::string location = {};              ///< of a redirection: where to go instead
    const char* allow = "GET, HEAD, POST";  ///< the methods, of a refusal with status 405
};

/// The answer to a path, which is compared as it was sent, and its parameters but for the token. Failures are
/// answers, too. \param page the page that "/" is answered with
Answer AnswerTo(std::string_view path, const Parameters& parameters, const Feed& feed, std::string_view page);

/// The answer to a request that changes something. \param controls null: nothing can be changed
Answer AnswerToPost(std::string_view path, const Parameters& parameters, Controls* controls);

/// {"error":"..."}
Answer Refusal(int status, std::string_view why);

/// The server-sent event that tells how far a recording has come.
std::string EventOf(const FeedState& state);

}  // namespace Korr::Plim::Trace::Viewer
