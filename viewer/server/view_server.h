#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "network/local_socket.h"
#include "viewer/server/conversation.h"

namespace Korr::Plim::Trace::Viewer {

/// Serves the page and what it asks, on threads of its own, as long as it lives. docs/viewer-feed.md has the
/// questions, docs/viewer.md who may ask them.
class ViewServer {
  public:
    static constexpr std::size_t kMostConnections = 16;
    /// Further ones that are told that there are too many; beyond that connections are broken at once.
    static constexpr std::size_t kMostTurnedAway = 8;

    /// \param listening made by Network::Listen \param port its port \param token that every request must
    /// have \param feed outlives the server \param page outlives the server
    /// \param ticket that leads to the page once, see OpeningAddress; empty: none does
    /// \param controls outlives the server; null: nothing can be changed
    ViewServer(Network::Socket listening, uint16_t port, const std::string& token, const Feed& feed,
               std::string_view page, const std::string& ticket = {}, Controls* controls = nullptr);
    /// Ends all connections.
    ~ViewServer();
    ViewServer(const ViewServer&) = delete;
    ViewServer& operator=(const ViewServer&) = delete;

    /// The page's: "http://127.0.0.1:4711/?token=...".
    const std::string& Address() const { return address; }
    /// What a program is started with that is to open it: it leads to the page once, and does not tell the
    /// token.
    const std::string& OpeningAddress() const { return openingAddress; }

  private:
    struct Connection {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void Accept();
    void Begin(Network::Socket socket);
    void ForgetEnded();

    Network::Socket listener;
    std::string address;
    std::string openingAddress;
    Gate gate;
    Site site;
    std::atomic<bool> ending{false};
    std::list<Connection> connections;  ///< of `acceptor` alone while it runs
    std::thread acceptor;
};

}  // namespace Korr::Plim::Trace::Viewer
