// tracehost check, and the hidden command with which it starts itself anew for one check
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "source_utilities/visible_text.h"
#include "tracehost/check/check_run.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/json_output.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/record_settings.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Validation::CheckResult;
using Validation::Outcome;

constexpr NumberOption kTimeLimit{"--time-limit", Measure::Time, 0.1, 3600};
constexpr NumberOption kRounds{"--rounds", Measure::Count, 1, 100000, true};
constexpr std::array kOutcomes = {Outcome::Pass, Outcome::Fail, Outcome::Crash, Outcome::TimeOut,
                                  Outcome::Skip};

struct CheckRequest {
    Validation::RunSettings settings{kDefaultPlugin, {}};
    std::string only;
    bool list = false;
    bool json = false;
    std::string file;    ///< the plug-in, when it is given without --plugin
    std::string folder;  ///< of the hidden command
    std::string name;    ///< the same
};

using Counts = std::array<std::size_t, kOutcomes.size()>;
std::size_t& CountOf(Counts& counts, Outcome outcome) { return counts[static_cast<std::size_t>(outcome)]; }

const char* SubjectOf(const Validation::Check& check) {
    for (const auto& subject : Validation::Subjects()) {
        for (const auto& other : subject.checks()) {
            if (&other == &check) return subject.name;
        }
    }
    return "";
}

/// Those of a word of --only: a check's name, or a subject's, which stands for all its checks.
std::vector<const Validation::Check*> Named(const std::string& word) {
    std::vector<const Validation::Check*> checks;
    for (const auto& subject : Validation::Subjects()) {
        for (const auto& check : subject.checks()) {
            if (word == check.name || word == subject.name) checks.push_back(&check);
        }
    }
    if (!checks.empty()) return checks;
    throw UsageError("--only \"" + word + "\" is no check: see \"tracehost check --list\"");
}

/// In the catalogue's order, each once. \param only empty: all
std::vector<const Validation::Check*> Chosen(const std::string& only) {
    std::vector<const Validation::Check*> wanted;
    for (std::size_t begin = 0; begin <= only.size() && !only.empty();) {
        const std::size_t end = std::min(only.find(',', begin), only.size());
        const auto named = Named(only.substr(begin, end - begin));
        wanted.insert(wanted.end(), named.begin(), named.end());
        begin = end + 1;
    }
    std::vector<const Validation::Check*> chosen;
    for (const auto& subject : Validation::Subjects()) {
        for (const auto& check : subject.checks()) {
            if (only.empty() || std::find(wanted.begin(), wanted.end(), &check) != wanted.end()) {
                chosen.push_back(&check);
            }
        }
    }
    return chosen;
}

void PrintList(std::FILE* output, const std::vector<const Validation::Check*>& checks) {
    const char* subject = "";
    for (const auto* check : checks) {
        if (SubjectOf(*check) != subject) {
            std::fprintf(output, "%s%s\n", *subject != '\0' ? "\n" : "", SubjectOf(*check));
            subject = SubjectOf(*check);
        }
        std::fprintf(output, "  %s\n      %s.\n      Why: %s.\n", check->name, check->asks, check->why);
    }
}

Json ToJson(const std::vector<const Validation::Check*>& checks) {
    Json list = Json::array();
    for (const auto* check : checks) {
        list.push_back({{"name", check->name},
                        {"subject", SubjectOf(*check)},
                        {"asks", check->asks},
                        {"why", check->why}});
    }
    return {{"checks", list}};
}

Json ToJson(const CheckResult& result) {
    return {{"name", result.check->name},
            {"subject", SubjectOf(*result.check)},
            {"result", NameOf(result.outcome)},
            {"reason", OrNull(result.reason)},
            {"seconds", result.seconds}};
}

void PrintResult(std::FILE* output, const CheckResult& result) {
    std::fprintf(output, "%-8s %s\n", NameOf(result.outcome), result.check->name);
    if (!result.reason.empty()) std::fprintf(output, "%9s%s\n", "", KORR_PLIM::Visible(result.reason).Text());
    const bool tellsMore = result.outcome != Outcome::Pass && result.outcome != Outcome::Skip;
    if (tellsMore) {
        std::fprintf(output, "%9sasked: %s\n%9swhy:   %s\n", "", result.check->asks, "", result.check->why);
    }
    std::fflush(output);
}

void PrintCounts(std::FILE* output, Counts& counts, std::size_t all) {
    std::fprintf(output, "%zu %s: %zu passed", all, all == 1 ? "check" : "checks",
                 CountOf(counts, Outcome::Pass));
    constexpr std::pair<Outcome, const char*> kOthers[] = {{Outcome::Fail, "failed"},
                                                           {Outcome::Crash, "crashed"},
                                                           {Outcome::TimeOut, "timed out"},
                                                           {Outcome::Skip, "skipped"}};
    for (const auto& [outcome, words] : kOthers) {
        if (CountOf(counts, outcome) > 0) std::fprintf(output, ", %zu %s", CountOf(counts, outcome), words);
    }
    std::fprintf(output, "\n");
}

Json ToJson(Counts& counts) {
    Json object;
    for (const Outcome outcome : kOutcomes) object[NameOf(outcome)] = CountOf(counts, outcome);
    return object;
}

int List(const CheckRequest& request) {
    const auto checks = Chosen(request.only);
    std::FILE* const output = TakeStandardOutput();
    if (request.json) {
        PrintJson(output, ToJson(checks));
    } else {
        PrintList(output, checks);
    }
    FinishStandardOutput(output);
    return kDone;
}

int Run(const CheckRequest& request) {
    if (request.list) return List(request);
    const auto checks = Chosen(request.only);
    std::FILE* const output = TakeStandardOutput();
    Counts counts{};
    Json results = Json::array();
    Validation::RunChecks(request.settings, checks, [&](const CheckResult& result) {
        ++CountOf(counts, result.outcome);
        if (request.json) {
            results.push_back(ToJson(result));
        } else {
            PrintResult(output, result);
        }
    });
    const std::size_t good = CountOf(counts, Outcome::Pass);
    const bool ok = good > 0 && good + CountOf(counts, Outcome::Skip) == checks.size();
    if (request.json) {
        PrintJson(output, {{"plugin", request.settings.plugin},
                           {"ok", ok},
                           {"counts", ToJson(counts)},
                           {"checks", results}});
    } else {
        PrintCounts(output, counts, checks.size());
    }
    FinishStandardOutput(output);
    return ok ? kDone : kFailed;
}

/// "5=6": the plug-in's port, then tracehost's own.
Validation::PortPair ParsePair(const std::string& text) {
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos) throw UsageError("--pair \"" + text + "\": give two ports, such as 5=6");
    const Validation::PortPair pair{ParsePort(text.substr(0, sign)), ParsePort(text.substr(sign + 1))};
    if (pair.plugin == pair.own) {
        throw UsageError("--pair \"" + text + "\": give two different ports, such as 5=6");
    }
    return pair;
}

/// The options that the hidden command takes, too.
void AddCommonOptions(CLI::App& command, CheckRequest& request) {
    AddNumber(command, kRounds, "Rounds of the checks that look for leaks (default: 100)",
              [&request](std::optional<double> rounds) {
                  request.settings.rounds = static_cast<uint32_t>(*rounds);
              });
    command
        .add_option_function<std::vector<std::string>>(
            "--pair",
            [&request](const std::vector<std::string>& texts) {
                request.settings.pairs.clear();
                for (const std::string& text : texts) request.settings.pairs.push_back(ParsePair(text));
            },
            "Two COM ports joined by a null modem, 5=6: the plug-in's, then tracehost's own; give it twice "
            "for the checks "
            "of two CPUs (default: pseudo-terminals on Linux, none on Windows, where what records is skipped "
            "then)")
        ->type_name("PAIR")
        ->allow_extra_args(false);
    AddPluginOption(command, request.settings.plugin);
}

void AddChildCommand(CLI::App& program) {
    auto request = std::make_shared<CheckRequest>();
    CLI::App* const command = program.add_subcommand(Validation::kChildCommand, "One check, in this process");
    command->group("");  // hidden
    AddCommonOptions(*command, *request);
    command->add_option("--folder", request->folder)->required();
    command->add_option("name", request->name)->required();
    command->callback([request] {
        const Validation::RunSettings& settings = request->settings;
        Validation::RunInChild({request->folder, settings.plugin, settings.pairs, settings.rounds},
                               request->name);
    });
}

}  // namespace

void AddCheckCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<CheckRequest>();
    CLI::App* const command =
        program.add_subcommand("check",
                               "Check a trace receiver plug-in: each check in a "
                               "process of its own; status 1 when one fails or none passes");
    command->add_option("PLUGIN", request->file, "Plug-in to check, the same as --plugin")->type_name("");
    AddText(*command, "--only", "NAME",
            "Checks, or subjects of checks, to run; several with commas between them", request->only);
    command->add_flag("--list", request->list, "Show what the checks ask, and why, instead of running them");
    AddNumber(*command, kTimeLimit, "Time that one check may take (default: 60 s)",
              [request](std::optional<double> seconds) {
                  request->settings.limit = std::chrono::milliseconds(static_cast<int64_t>(*seconds * 1000));
              });
    AddCommonOptions(*command, *request);
    AddJsonFlag(*command, request->json);
    command->footer(
        "Examples:\n"
        "  tracehost check ./libReceiver.so\n"
        "  tracehost check --only recording,data receiver.dll --pair 5=6\n");
    command->callback([request, command, &status] {
        if (!request->file.empty() && command->count("--plugin") > 0) {
            throw UsageError("two plug-ins are given: check one after the other");
        }
        if (!request->file.empty()) request->settings.plugin = request->file;
        status = Run(*request);
    });
    AddChildCommand(program);
}

}  // namespace Korr::Plim::Trace::Tracehost
