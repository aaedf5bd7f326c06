#include "tracehost/check/check_run.h"

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "tracehost/check/verdict.h"
#include "tracehost/child_process.h"
#include "tracehost/errors.h"
#include "tracehost/platform_words.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr const char* kVerdictFile = "verdict";
constexpr const char* kOutputFile = "output";
constexpr uint32_t kMostAtOnce = 8;

/// The last line that a file holds; empty when there is none.
std::string LastLine(const std::string& file) {
    std::ifstream lines(file, std::ios::binary);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of(" \r") != std::string::npos) last = line.substr(0, 300);
    }
    return last;
}

/// Why a check without a verdict has none.
std::string WithoutVerdict(const ChildEnd& end, const Verdict& verdict, const std::string& output,
                           std::chrono::milliseconds limit) {
    std::string text = end.words;
    if (end.kind == ChildEnd::Kind::Exited) text = "the process ended with status " + Shown(end.status);
    if (end.kind == ChildEnd::Kind::TimedOut) {
        text = "no end within " + Shown(static_cast<double>(limit.count()) / 1000) + " s";
    }
    if (!verdict.step.empty()) text += ", at " + verdict.step;
    const std::string said = LastLine(output);
    return said.empty() ? text : text + "; its last words: " + said;
}

CheckResult ResultOf(const Check& check, const ChildEnd& end, const std::string& folder,
                     std::chrono::milliseconds limit) {
    CheckResult result;
    result.check = &check;
    const Verdict verdict = ReadVerdict(folder + "/" + kVerdictFile);
    result.reason = verdict.words;
    if (end.kind == ChildEnd::Kind::NotStarted) {
        throw HostError("a check's process cannot be started: " + end.words);
    }
    if (verdict.kind == Verdict::Kind::Passed) {
        result.outcome = Outcome::Pass;
    } else if (verdict.kind == Verdict::Kind::Failed) {
        result.outcome = Outcome::Fail;
    } else if (verdict.kind == Verdict::Kind::Skipped) {
        result.outcome = Outcome::Skip;
    } else {
        result.outcome = end.kind == ChildEnd::Kind::TimedOut ? Outcome::TimeOut : Outcome::Crash;
        result.reason = WithoutVerdict(end, verdict, folder + "/" + kOutputFile, limit);
    }
    return result;
}

CheckResult RunOne(const RunSettings& settings, const Check& check, const std::string& folder) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::string> words = ChildWords(settings, check.name, folder);
    words.insert(words.begin(), ProgramFile());
    const ChildEnd end = RunChild(words, settings.limit, folder + "/" + kOutputFile);
    CheckResult result = ResultOf(check, end, folder, settings.limit);
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

/// The results of checks that run at once, for one that takes them in order.
class Results {
  public:
    explicit Results(std::size_t count) : slots(count) {}

    /// The next check that nobody runs; nothing when there is none, or when one could not be run.
    std::optional<std::size_t> Next() {
        const std::lock_guard lock(mutex);
        if (next == slots.size() || failure != nullptr) return std::nullopt;
        return next++;
    }
    void Put(std::size_t index, CheckResult result) {
        const std::lock_guard lock(mutex);
        slots[index] = std::move(result);
        changed.notify_all();
    }
    void PutFailure(std::exception_ptr why) {
        const std::lock_guard lock(mutex);
        failure = std::move(why);
        changed.notify_all();
    }
    CheckResult Take(std::size_t index) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return slots[index].has_value() || failure != nullptr; });
        if (!slots[index]) std::rethrow_exception(failure);
        return std::move(*slots[index]);
    }

  private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::optional<CheckResult>> slots;
    std::size_t next = 0;
    std::exception_ptr failure;
};

/// Threads that are waited for at the object's end.
class Workers {
  public:
    Workers() = default;
    ~Workers() {
        for (std::thread& thread : threads) thread.join();
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    void Start(const std::function<void()>& work) { threads.emplace_back(work); }

  private:
    std::vector<std::thread> threads;
};

}  // namespace

const char* NameOf(Outcome outcome) {
    constexpr const char* kNames[] = {"pass", "fail", "crash", "timeout", "skip"};
    return kNames[static_cast<std::size_t>(outcome)];
}

std::vector<std::string> ChildWords(const RunSettings& settings, const std::string& name,
                                    const std::string& folder) {
    std::vector<std::string> words = {kChildCommand,
                                      "--plugin",
                                      settings.plugin,
                                      "--folder",
                                      folder,
                                      "--rounds",
                                      std::to_string(settings.rounds)};
    for (const PortPair& pair : settings.pairs) {
        words.emplace_back("--pair");
        words.push_back(std::to_string(pair.plugin) + "=" + std::to_string(pair.own));
    }
    words.push_back(name);
    return words;
}

void RunChecks(const RunSettings& settings, const std::vector<const Check*>& checks,
               const std::function<void(const CheckResult&)>& take) {
    const TemporaryFolder folder;
    Results results(checks.size());
    const auto work = [&] {
        try {
            while (const auto index = results.Next()) {
                const Check& check = *checks[*index];
                results.Put(*index, RunOne(settings, check, folder.MakeFolder(check.name)));
            }
        } catch (...) {
            results.PutFailure(std::current_exception());
        }
    };
    const uint32_t atOnce =
        settings.pairs.empty() ? std::clamp(std::thread::hardware_concurrency(), 1u, kMostAtOnce) : 1;
    Workers workers;
    for (uint32_t i = 0; i < atOnce; ++i) workers.Start(work);
    for (std::size_t i = 0; i < checks.size(); ++i) take(results.Take(i));
}

void RunInChild(const StageSettings& settings, const std::string& name) {
    BecomeChild();
    OpenVerdict(settings.folder + "/" + kVerdictFile);
    try {
        const Check* const check = FindCheck(name);
        if (check == nullptr) throw HostError("\"" + name + "\" is no check");
        {
            Stage stage(settings);
            if (check->ports > PortsAt(settings.pairs)) {
                Skip("needs " + Shown(check->ports) + (check->ports == 1 ? " pair" : " pairs") +
                     " of COM ports joined by a null modem: see --pair");
            }
            check->run(stage);
            Step("unloading the plug-in");
        }
        Pass();
    } catch (const cPelkitErrorIF& error) {
        Fail(std::string("the plug-in refuses what it must not: ") + pelkit::TextOf(error));
    } catch (const HostError& error) {
        Fail(std::string("tracehost: ") + error.what());
    } catch (const std::exception& error) {
        Fail(std::string("a standard exception came out of the plug-in: ") + error.what());
    } catch (...) {
        Fail("an exception of an unknown type came out of the plug-in");
    }
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
