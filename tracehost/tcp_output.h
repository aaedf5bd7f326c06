#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

#include "network/local_socket.h"
#include "tracehost/byte_backlog.h"
#include "tracehost/capture_follower.h"

namespace Korr::Plim::Trace::Tracehost {

/// What became of the clients of a TcpOutput.
struct TcpClients {
    uint16_t port = 0;
    uint64_t served = 0;      ///< all that were taken
    uint64_t cutOff = 0;      ///< of these: read too slowly and lost bytes
    uint64_t turnedAway = 0;  ///< were never taken: too many at once
};

/// Gives the captured bytes, as they come, to any program on this machine that connects to a TCP port of
/// 127.0.0.1. A client gets what comes after it connected, and nothing twice. One that reads so slowly that
/// bytes which it has not taken are more than can be kept loses its connection, which breaks instead of
/// ending; no other client notices, nor does the recording.
class TcpOutput : public CaptureObserver {
  public:
    static constexpr std::size_t kMostClients = 64;
    static constexpr uint64_t kMostKept = 16
                                          << 20;  ///< bytes that are kept for slow clients, of all together

    /// Listens from now on. \param port 0: any that is free \param most bytes to give on; absent: all
    /// \throws UsageError when the port cannot be taken
    TcpOutput(uint16_t port, std::optional<uint64_t> most);
    /// Clients that have not got all yet lose the rest.
    ~TcpOutput() override;
    TcpOutput(const TcpOutput&) = delete;
    TcpOutput& operator=(const TcpOutput&) = delete;

    uint16_t Port() const { return clientsSoFar.port; }
    /// Never waits for a client. [host thread]
    void Take(std::span<const uint8_t> bytes) override;
    /// Nothing more comes. Clients that have not got all yet may take so long for the rest; then their
    /// connections end. To be called once.
    TcpClients Finish(std::chrono::milliseconds patience);

  private:
    struct Client {
        Network::Socket socket;
        uint64_t next = 0;  ///< offset of the byte that it gets next
        bool sendsNoMore = false;
    };
    /// What is to become of a client.
    enum class Turn { Waits, WaitsForRoom, CutOff, Left, Done };

    void Serve();
    void TakeClients();
    void TurnAway();
    void TakeIn(Network::Socket socket);
    bool ServeClients(std::unique_lock<std::mutex>& lock);
    Turn ServeClient(Client& client, std::unique_lock<std::mutex>& lock);
    static bool PassOver(Client& client);
    void DropWhatAllHave();

    Network::Socket listener;
    std::optional<uint64_t> left;  ///< bytes that may still be given on

    std::mutex mutex;  ///< for all below
    std::condition_variable changed;
    ByteBacklog backlog{kMostKept};
    std::list<Client> clients;  ///< only `server` takes any out
    TcpClients clientsSoFar;
    std::optional<std::chrono::steady_clock::time_point> endsAt;  ///< when nothing more comes
    std::thread server;
};

}  // namespace Korr::Plim::Trace::Tracehost
