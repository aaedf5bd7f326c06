#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "tests/fakes/scripted_local_socket.h"

namespace fakes {

namespace {

constexpr uint32_t kConnectionReset = 104;
constexpr Korr::Plim::Trace::Network::SocketHandle kListener = 1'000'000;

struct Program {
    std::string said;
    bool saysNoMore = false;
    bool broken = false;
    std::string got;
    std::size_t room = ScriptedNetwork::kEndless;
    ScriptedNetwork::State state = ScriptedNetwork::State::Open;
};

struct Network {
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Program> programs;
    std::deque<int> waiting;
    bool listening = false;
    CallScript calls;
    std::atomic<void (*)(const char*)> watcher{nullptr};

    static Network& Instance() {
        static Network network;
        return network;
    }
    /// Does something to a program under the lock.
    template <class Work>
    auto With(int program, Work work) {
        const std::lock_guard guard(lock);
        changed.notify_all();
        return work(programs.at(static_cast<std::size_t>(program)));
    }
    bool WaitUntil(std::chrono::milliseconds most, const std::function<bool()>& holds) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, most, holds);
    }
};

thread_local uint32_t lastError = 0;

bool MustFail(const char* call) {
    const bool fails = Network::Instance().calls.MustFail(call);
    if (auto* const watcher = Network::Instance().watcher.load()) watcher(call);
    if (!fails) return false;
    lastError = kConnectionReset;
    return true;
}

}  // namespace

CallScript& ScriptedNetwork::Calls() { return Network::Instance().calls; }

void ScriptedNetwork::SetWatcher(void (*watcher)(const char* call)) { Network::Instance().watcher = watcher; }

int ScriptedNetwork::Connect() {
    Network& network = Network::Instance();
    const std::lock_guard guard(network.lock);
    network.programs.emplace_back();
    const int number = static_cast<int>(network.programs.size()) - 1;
    network.waiting.push_back(number);
    network.changed.notify_all();
    return number;
}

void ScriptedNetwork::Say(int program, const std::string& bytes) {
    Network::Instance().With(program, [&](Program& it) { it.said += bytes; });
}

void ScriptedNetwork::SayNoMore(int program) {
    Network::Instance().With(program, [](Program& it) { it.saysNoMore = true; });
}

void ScriptedNetwork::Break(int program) {
    Network::Instance().With(program, [](Program& it) { it.broken = true; });
}

void ScriptedNetwork::SetRoom(int program, std::size_t bytes) {
    Network::Instance().With(program, [bytes](Program& it) { it.room = bytes; });
}

std::string ScriptedNetwork::Read(int program) {
    return Network::Instance().With(program, [](Program& it) { return std::exchange(it.got, {}); });
}

ScriptedNetwork::State ScriptedNetwork::StateOf(int program) {
    return Network::Instance().With(program, [](Program& it) { return it.state; });
}

bool ScriptedNetwork::SomebodyWaits() {
    const std::lock_guard guard(Network::Instance().lock);
    return !Network::Instance().waiting.empty();
}

bool ScriptedNetwork::IsListening() {
    const std::lock_guard guard(Network::Instance().lock);
    return Network::Instance().listening;
}

void ScriptedNetwork::Reset() {
    Network& network = Network::Instance();
    const std::lock_guard guard(network.lock);
    network.programs.clear();
    network.waiting.clear();
    network.listening = false;
    network.watcher = nullptr;
    network.calls.Reset();
}

}  // namespace fakes

namespace Korr::Plim::Trace::Network {

using fakes::ScriptedNetwork;

namespace {

fakes::Network& Net() { return fakes::Network::Instance(); }

void End(SocketHandle socket, ScriptedNetwork::State state) {
    if (socket != fakes::kListener) {
        Net().With(static_cast<int>(socket), [state](fakes::Program& it) { it.state = state; });
        return;
    }
    const std::lock_guard guard(Net().lock);
    Net().listening = false;
}

}  // namespace

SocketHandle Listen(uint16_t port, uint16_t& taken) {
    if (fakes::MustFail("Listen")) return kNoSocket;
    const std::lock_guard guard(Net().lock);
    Net().listening = true;
    taken = port != 0 ? port : 4711;
    return fakes::kListener;
}

SocketHandle Accept(SocketHandle) {
    if (!ScriptedNetwork::SomebodyWaits() || fakes::MustFail("Accept")) return kNoSocket;
    const std::lock_guard guard(Net().lock);
    if (Net().waiting.empty()) return kNoSocket;
    const int program = Net().waiting.front();
    Net().waiting.pop_front();
    return program;
}

bool WaitUntilReadable(SocketHandle socket, std::chrono::milliseconds most) {
    return Net().WaitUntil(most, [socket] {
        if (socket == fakes::kListener) return !Net().waiting.empty();
        const fakes::Program& it = Net().programs.at(static_cast<std::size_t>(socket));
        return it.broken || it.saysNoMore || !it.said.empty();
    });
}

bool WaitUntilWritable(SocketHandle socket, std::chrono::milliseconds most) {
    return Net().WaitUntil(most, [socket] {
        const fakes::Program& it = Net().programs.at(static_cast<std::size_t>(socket));
        return it.broken || it.got.size() < it.room;
    });
}

std::ptrdiff_t Receive(SocketHandle socket, void* buffer, std::size_t size) {
    if (fakes::MustFail("Receive")) return kBroken;
    return Net().With(static_cast<int>(socket), [&](fakes::Program& it) -> std::ptrdiff_t {
        if (it.broken) return kBroken;
        if (it.said.empty()) return it.saysNoMore ? kEnded : kLater;
        const std::size_t count = std::min(size, it.said.size());
        std::memcpy(buffer, it.said.data(), count);
        it.said.erase(0, count);
        return static_cast<std::ptrdiff_t>(count);
    });
}

std::ptrdiff_t Send(SocketHandle socket, const void* bytes, std::size_t size) {
    if (fakes::MustFail("Send")) return kBroken;
    return Net().With(static_cast<int>(socket), [&](fakes::Program& it) -> std::ptrdiff_t {
        if (it.broken) return kBroken;
        const std::size_t count = std::min(size, it.room - std::min(it.room, it.got.size()));
        it.got.append(static_cast<const char*>(bytes), count);
        return count > 0 ? static_cast<std::ptrdiff_t>(count) : kLater;
    });
}

void FinishSending(SocketHandle socket) {
    Net().With(static_cast<int>(socket),
               [](fakes::Program& it) { it.state = ScriptedNetwork::State::Finished; });
}

void CloseSocket(SocketHandle socket) {
    const bool finished =
        socket != fakes::kListener && Net().With(static_cast<int>(socket), [](const fakes::Program& it) {
            return it.state;
        }) == ScriptedNetwork::State::Finished;
    End(socket, finished ? ScriptedNetwork::State::Finished : ScriptedNetwork::State::Closed);
}

void ResetSocket(SocketHandle socket) { End(socket, ScriptedNetwork::State::Reset); }

uint32_t LastNetworkError() { return fakes::lastError; }

}  // namespace Korr::Plim::Trace::Network
