#include "viewer/server/view_server.h"

#include <chrono>
#include <exception>
#include <list>

#include "viewer/server/socket_channel.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr auto kLook = std::chrono::milliseconds(50);   // for the server's end
constexpr auto kPause = std::chrono::milliseconds(20);  // when a connection cannot be taken
constexpr auto kFarewell = std::chrono::seconds(1);     // that the far end has to read an answer to its end

/// A connection from its beginning to its end. What the far end still sends is taken: else it might break
/// before the last answer is read.
void Serve(Network::Socket socket, Site& site, bool busy, const std::atomic<bool>& ending) {
    SocketChannel channel(std::move(socket), ending);
    Converse(channel, site, busy);
    channel.Finish();
    channel.Linger(kFarewell);
}

}  // namespace

ViewServer::ViewServer(Network::Socket listening, uint16_t port, const std::string& token, const Feed& feed,
                       std::string_view page, const std::string& ticket, Controls* controls)
    : listener(std::move(listening)),
      address("http://127.0.0.1:" + std::to_string(port) + "/?token=" + token),
      openingAddress("http://127.0.0.1:" + std::to_string(port) + "/open?ticket=" + ticket),
      gate(token, port),
      site(feed, page, gate, ticket, controls) {
    acceptor = std::thread([this] { Accept(); });
}

ViewServer::~ViewServer() {
    ending = true;
    acceptor.join();
    for (Connection& connection : connections) connection.thread.join();
}

void ViewServer::Accept() {
    while (!ending) {
        ForgetEnded();
        if (!Network::WaitUntilReadable(listener.Handle(), kLook)) continue;
        Network::Socket socket(Network::Accept(listener.Handle()));
        if (!socket) {
            std::this_thread::sleep_for(kPause);
        } else if (connections.size() >= kMostConnections + kMostTurnedAway) {
            socket.Reset();
        } else {
            Begin(std::move(socket));
        }
    }
}

/// A connection for which there is no thread, or no memory, is broken.
void ViewServer::Begin(Network::Socket socket) {
    const bool busy = connections.size() >= kMostConnections;
    try {
        std::list<Connection> begun(1);
        Connection& connection = begun.front();
        connection.thread = std::thread([this, &connection, busy, moved = std::move(socket)]() mutable {
            try {
                Serve(std::move(moved), site, busy, ending);
            } catch (...) {
                // There was no memory for an answer: the connection ends without it.
            }
            connection.done = true;
        });
        connections.splice(connections.end(), begun);
    } catch (const std::exception&) {
    }
}

void ViewServer::ForgetEnded() {
    for (auto connection = connections.begin(); connection != connections.end();) {
        if (!connection->done) {
            ++connection;
            continue;
        }
        connection->thread.join();
        connection = connections.erase(connection);
    }
}

}  // namespace Korr::Plim::Trace::Viewer
