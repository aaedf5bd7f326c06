#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>

#include "viewer/feed.h"
#include "viewer/server/byte_channel.h"
#include "viewer/server/controls.h"
#include "viewer/server/gate.h"

namespace Korr::Plim::Trace::Viewer {

/// What is served, and how many are asking. Outlives all conversations about it.
struct Site {
    /// Connections that wait for news. A browser has six connections to one server: those of its pages must
    /// leave some for questions.
    static constexpr int kMostStreams = 4;

    /// \param once the ticket that leads to the page without the token, a single time; empty: there is none
    /// \param change null: nothing can be changed
    Site(const Feed& answers, std::string_view html, const Gate& keeper, std::string once = {},
         Controls* change = nullptr)
        : feed(answers), page(html), gate(keeper), ticket(std::move(once)), controls(change) {}

    const Feed& feed;
    std::string_view page;
    const Gate& gate;
    const std::string ticket;
    std::atomic<bool> ticketTaken{false};
    Controls* const controls;
    std::atomic<int> streams{0};
};

/// Answers the HTTP requests of one connection, until it ends. \param busy whether there are too many
/// connections: then it is answered with that, once
void Converse(ByteChannel& channel, Site& site, bool busy);

/// The Content-Security-Policy of a page: what it says itself, and that no other page shows it in a frame.
std::string PolicyOf(std::string_view page);

}  // namespace Korr::Plim::Trace::Viewer
