#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/fakes/scripted_calls.h"
#include "uart/serial_port.h"

namespace fakes {

using Korr::Plim::Trace::Tarnel::LineState;
using Korr::Plim::Trace::Tarnel::PortQueue;

/// The device behind a scripted port. It takes every rate and has no data until told otherwise. Tests set it
/// up before the calls that shall see it; AddRead and the questions are for any thread at any time.
class ScriptedPort {
  public:
    /// Settings that differ in every member from those of a capture.
    static LineState ForeignLine();

    /// The rate that the port reports after a request; the request itself unless set.
    std::function<uint32_t(uint32_t asked)> rateTaken;
    /// What the port makes of settings besides their rate; nothing unless set.
    std::function<void(LineState& settings)> lineTaken;
    /// Arrive between the purge and whatever follows it.
    std::string arrivingAfterPurge;
    /// Settings of which the nth (from 1) reading gives an invalid state, of length 0.
    std::set<std::size_t> invalidStates;
    /// How long a read that finds nothing takes, so that a capture of nothing does not keep a core busy.
    std::chrono::microseconds idlePause{0};

    /// Bytes that wait for a read of the port.
    void AddRead(const std::string& bytes) { AddStep({bytes, nullptr}); }
    /// A read that finds nothing.
    void AddEmptyRead() { AddRead(std::string()); }
    /// A read that calls `action` on the reader's thread first, and finds nothing.
    void AddAction(std::function<void()> action) { AddStep({std::string(), std::move(action)}); }

    /// Bytes that wait in the driver already: they count in the queue, a purge discards them, and they are
    /// read before all others.
    void AddArrived(const std::string& bytes);

    bool IsOpen() const { return Get(open); }
    bool InBreak() const { return Get(inBreak); }
    /// Times that the port was opened.
    std::size_t Openings() const { return Get(openings); }
    LineState Line() const { return Get(line); }
    void SetLine(const LineState& settings);
    /// All settings asked for, accepted ones only.
    std::vector<LineState> Asked() const { return Get(asked); }

    // What the scripted body asks of the device.
    void Open();
    void Close();
    void Vanish();
    bool IsGone() const { return Get(gone); }
    void Break();
    void Purge();
    void Give(LineState& settings, std::size_t nth) const;
    void Take(const LineState& settings);
    PortQueue Queue() const;
    std::string Read(std::size_t size);

  private:
    struct Step {
        std::string bytes;
        std::function<void()> action;
    };
    void AddStep(Step step);
    template <typename Value>
    Value Get(const Value& value) const {
        const std::lock_guard<std::mutex> guard(lock);
        return value;
    }

    mutable std::mutex lock;
    LineState line = ForeignLine();
    std::vector<LineState> asked;
    std::deque<Step> steps;
    std::string pending;
    bool open = false;
    bool gone = false;
    bool inBreak = false;
    std::size_t openings = 0;
};

/// The COM ports that there are. One that is not plugged in fails to open with error 2.
class ScriptedPorts {
  public:
    /// A new device behind a number, in place of an older one.
    static ScriptedPort& Plug(uint32_t number);
    /// Takes the device behind a number away: to handles that are open every call but Close fails with error
    /// 22, and it cannot be opened.
    static void Unplug(uint32_t number);
    /// Takes all devices away and forgets calls and failures.
    static void Reset();
};

}  // namespace fakes
