#include "tracehost/tcp_output.h"

#include <algorithm>
#include <array>

#include "tracehost/errors.h"
#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLook = std::chrono::milliseconds(100);     // for new clients while no bytes come
constexpr auto kRoomPause = std::chrono::milliseconds(5);  // while somebody has to take bytes
constexpr int kPiecesAtOnce = 8;                           // for one client, before the next has its turn
constexpr std::size_t kBytesAtOnce = std::size_t{256} * 1024;

}  // namespace

TcpOutput::TcpOutput(uint16_t port, std::optional<uint64_t> most) : left(most) {
    listener = Network::Socket(Network::Listen(port, clientsSoFar.port));
    if (!listener) {
        throw UsageError("--tcp: port " + std::to_string(port) +
                         " of 127.0.0.1 cannot be taken: " + ErrorWords(Network::LastNetworkError()));
    }
    server = std::thread([this] { Serve(); });
}

TcpOutput::~TcpOutput() {
    if (server.joinable()) Finish(std::chrono::milliseconds(0));
}

/// New clients are taken first: they were there before these bytes.
void TcpOutput::Take(std::span<const uint8_t> bytes) {
    if (left) {
        bytes = bytes.first(static_cast<std::size_t>(std::min<uint64_t>(bytes.size(), *left)));
        *left -= bytes.size();
    }
    const std::lock_guard guard(mutex);
    TakeClients();
    backlog.Add(bytes);
    changed.notify_one();
}

TcpClients TcpOutput::Finish(std::chrono::milliseconds patience) {
    {
        const std::lock_guard guard(mutex);
        endsAt = Clock::now() + patience;
        changed.notify_one();
    }
    server.join();
    return clientsSoFar;
}

void TcpOutput::Serve() {
    std::unique_lock lock(mutex);
    while (true) {
        TakeClients();
        TurnAway();
        const bool full = ServeClients(lock);
        DropWhatAllHave();
        if (endsAt && (clients.empty() || Clock::now() >= *endsAt)) break;
        changed.wait_for(lock, full || endsAt ? kRoomPause : kLook);
    }
    clientsSoFar.cutOff += clients.size();
    for (Client& client : clients) client.socket.Reset();
    clients.clear();
    listener.Close();
}

/// A client for whom there is no memory is cut off at once.
void TcpOutput::TakeIn(Network::Socket socket) {
    ++clientsSoFar.served;
    try {
        std::list<Client> one(1);
        one.front().socket = std::move(socket);
        one.front().next = backlog.End();
        clients.splice(clients.end(), one);
    } catch (const std::bad_alloc&) {
        socket.Reset();
        ++clientsSoFar.cutOff;
    }
}

void TcpOutput::TakeClients() {
    while (clients.size() < kMostClients) {
        Network::Socket socket(Network::Accept(listener.Handle()));
        if (!socket) return;
        TakeIn(std::move(socket));
    }
}

/// Whoever comes when all places are taken. One whose client says nothing more is free: such a client may be
/// gone, which shows only when bytes are sent.
void TcpOutput::TurnAway() {
    while (clients.size() >= kMostClients) {
        Network::Socket socket(Network::Accept(listener.Handle()));
        if (!socket) return;
        const auto silent = std::find_if(clients.begin(), clients.end(),
                                         [](const Client& client) { return client.sendsNoMore; });
        if (silent == clients.end()) {
            socket.Reset();
            ++clientsSoFar.turnedAway;
            continue;
        }
        clients.erase(silent);
        TakeIn(std::move(socket));
    }
}

/// \return whether somebody could not be given all that is there
bool TcpOutput::ServeClients(std::unique_lock<std::mutex>& lock) {
    bool full = false;
    for (auto client = clients.begin(); client != clients.end();) {
        const Turn turn = ServeClient(*client, lock);
        full = full || turn == Turn::WaitsForRoom;
        if (turn == Turn::Waits || turn == Turn::WaitsForRoom) {
            ++client;
            continue;
        }
        if (turn == Turn::CutOff) {
            ++clientsSoFar.cutOff;
            client->socket.Reset();
        }
        if (turn == Turn::Done) Network::FinishSending(client->socket.Handle());
        client = clients.erase(client);
    }
    return full;
}

/// The lock is given back while bytes are moved.
TcpOutput::Turn TcpOutput::ServeClient(Client& client, std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    const bool lives = PassOver(client);
    lock.lock();
    if (!lives) return Turn::Left;
    for (int i = 0; i < kPiecesAtOnce; ++i) {
        if (client.next < backlog.Begin()) return Turn::CutOff;
        const ByteBacklog::Piece piece = backlog.At(client.next);
        if (piece.bytes.empty()) return endsAt ? Turn::Done : Turn::Waits;
        const std::size_t size = std::min(piece.bytes.size(), kBytesAtOnce);
        lock.unlock();
        const std::ptrdiff_t sent = Network::Send(client.socket.Handle(), piece.bytes.data(), size);
        lock.lock();
        if (sent == Network::kBroken) return Turn::Left;
        if (sent == Network::kLater) return Turn::WaitsForRoom;
        client.next += static_cast<uint64_t>(sent);
    }
    return Turn::WaitsForRoom;
}

/// What a client says means nothing, and is taken so that its connection can end well. \return whether it is
/// there
bool TcpOutput::PassOver(Client& client) {
    std::array<char, 4096> said;
    if (client.sendsNoMore) return true;
    const std::ptrdiff_t count = Network::Receive(client.socket.Handle(), said.data(), said.size());
    client.sendsNoMore = count == Network::kEnded;
    return count != Network::kBroken;
}

void TcpOutput::DropWhatAllHave() {
    uint64_t first = backlog.End();
    for (const Client& client : clients) first = std::min(first, client.next);
    backlog.DropBefore(first);
}

}  // namespace Korr::Plim::Trace::Tracehost
