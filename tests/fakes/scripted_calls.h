#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fakes {

/// What was asked of the scripted ports and capture files, in one order, and which of the calls fail. Calls
/// are named "port.Open", "file.Write" and so on after the operations of SerialPort and CaptureFile. Any
/// thread.
class ScriptedCalls {
  public:
    static ScriptedCalls& Instance() {
        static ScriptedCalls instance;
        return instance;
    }

    void Reset() {
        const std::lock_guard<std::mutex> guard(lock);
        journal.clear();
        counts.clear();
        failures.clear();
        actions.clear();
    }
    /// Lets the calls of a name fail with that error number: the `nth` since the last Reset, counted from 1,
    /// or every one for 0.
    void Fail(const std::string& name, uint32_t code, std::size_t nth = 0) {
        const std::lock_guard<std::mutex> guard(lock);
        failures[{name, nth}] = code;
    }
    /// Calls `action` once, on the caller's thread, when the `nth` call of a name begins.
    void At(const std::string& name, std::size_t nth, std::function<void()> action) {
        const std::lock_guard<std::mutex> guard(lock);
        actions[{name, nth}] = std::move(action);
    }
    /// Calls in order, as "name(argument)". After 100,000 of them reads and writes are counted only.
    std::vector<std::string> Journal() const {
        const std::lock_guard<std::mutex> guard(lock);
        return journal;
    }
    std::size_t Count(const std::string& name) const {
        const std::lock_guard<std::mutex> guard(lock);
        const auto found = counts.find(name);
        return found == counts.end() ? 0 : found->second;
    }

    /// For the scripted bodies: notes a call. False, with the error number set, when it is to fail.
    bool Enter(const std::string& name, const std::string& argument = std::string()) {
        if (const auto action = TakeAction(name)) action();
        const std::lock_guard<std::mutex> guard(lock);
        const std::size_t nth = ++counts[name];
        if (journal.size() < kLongJournal || (name != "port.Read" && name != "file.Write")) {
            journal.push_back(name + "(" + argument + ")");
        }
        auto failure = failures.find({name, nth});
        if (failure == failures.end()) failure = failures.find({name, 0});
        if (failure == failures.end()) return true;
        LastError() = failure->second;
        return false;
    }
    /// The calling thread's number of its last failure, one for ports and files as on a real platform.
    static uint32_t& LastError() {
        static thread_local uint32_t code = 0;
        return code;
    }

  private:
    static constexpr std::size_t kLongJournal = 100000;

    /// What is to be done when the call that begins is the next of its name; empty for nothing.
    std::function<void()> TakeAction(const std::string& name) {
        const std::lock_guard<std::mutex> guard(lock);
        if (actions.empty()) return {};
        const auto found = actions.find({name, counts[name] + 1});
        if (found == actions.end()) return {};
        std::function<void()> action = std::move(found->second);
        actions.erase(found);
        return action;
    }

    mutable std::mutex lock;
    std::vector<std::string> journal;
    std::map<std::string, std::size_t> counts;
    std::map<std::pair<std::string, std::size_t>, uint32_t> failures;
    std::map<std::pair<std::string, std::size_t>, std::function<void()>> actions;
};

}  // namespace fakes
