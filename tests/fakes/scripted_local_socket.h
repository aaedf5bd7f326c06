#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "network/local_socket.h"
#include "tests/fakes/call_script.h"

namespace fakes {

/// Programs on this machine that connect to a port, held in memory. Any thread.
class ScriptedNetwork {
  public:
    /// How a connection stands, as its far end sees it.
    enum class State { Open, Finished, Closed, Reset };
    static constexpr std::size_t kEndless = std::numeric_limits<std::size_t>::max();

    /// Which calls of the seam fail: "Listen", "Accept", "Receive", "Send". The number of each failure is
    /// 104.
    static CallScript& Calls();
    /// Who is told the name of each of these calls, on its thread, last before it does something; null:
    /// nobody. An Accept for which nobody waits is not told.
    static void SetWatcher(void (*watcher)(const char* call));
    /// A program connects to the port that is listened at. \return its number
    static int Connect();
    /// It sends something, nothing more, or is gone without a word.
    static void Say(int program, const std::string& bytes);
    static void SayNoMore(int program);
    static void Break(int program);
    /// So many bytes are taken before it reads, all by default.
    static void SetRoom(int program, std::size_t bytes);
    /// What has come since the last time, which makes room again.
    static std::string Read(int program);
    static State StateOf(int program);
    /// Whether a connection that is not accepted yet waits.
    static bool SomebodyWaits();
    static bool IsListening();
    /// Forgets everything. Nothing may be open.
    static void Reset();
};

}  // namespace fakes
