#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tracehost/check/check.h"
#include "tracehost/check/stage.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

enum class Outcome { Pass, Fail, Crash, TimeOut, Skip };
/// "pass", "fail", "crash", "timeout", "skip"
const char* NameOf(Outcome outcome);

struct CheckResult {
    const Check* check = nullptr;
    Outcome outcome = Outcome::Skip;
    std::string reason;  ///< one line; empty for most that pass
    double seconds = 0;
};

/// What a run of checks is given.
struct RunSettings {
    std::string plugin;
    std::vector<PortPair> pairs;
    uint32_t rounds = 100;
    std::chrono::milliseconds limit = std::chrono::seconds(60);  ///< for each check
};

/// Runs each check in a process of its own, as many at once as there are processors (one, when ports are
/// given, which only one can have). \param take gets the results in the order of `checks` \throws HostError
void RunChecks(const RunSettings& settings, const std::vector<const Check*>& checks,
               const std::function<void(const CheckResult&)>& take);

/// The words behind this program's name with which RunChecks starts it anew, for one check.
std::vector<std::string> ChildWords(const RunSettings& settings, const std::string& name,
                                    const std::string& folder);
/// What is done in that process. Does not return. \param settings with the folder of ChildWords
[[noreturn]] void RunInChild(const StageSettings& settings, const std::string& name);

/// The name of the hidden command that calls RunInChild.
inline constexpr const char* kChildCommand = "check-one";

}  // namespace Korr::Plim::Trace::Tracehost::Validation
