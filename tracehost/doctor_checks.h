#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// One thing that a recording needs.
struct Check {
    std::string name;  ///< "port 5", "free space"
    bool ok = false;
    std::string found;   ///< what was seen
    std::string advice;  ///< what to do; empty when all is well
};

/// What the environment said before the plug-in was loaded, which sets some of it itself.
struct DoctorEnvironment {
    std::string home;                    ///< empty: not known
    std::string homeVariable;            ///< the variable that names it, or that should
    std::vector<std::string> variables;  ///< "NAME=value" of those that are read and set
};
DoctorEnvironment ReadEnvironment();

/// All checks in the order in which they are shown. Loads the plug-in and makes a receiver of it, which makes
/// its folders. \param port as --port takes it; empty: the ports of probes \throws UsageError for what is no
/// port
std::vector<Check> RunChecks(const std::string& plugin, const std::string& port);

/// The parts of it. Each gives one line or several.
std::vector<Check> CheckPlugin(const std::string& plugin);
std::vector<Check> CheckHome(const DoctorEnvironment& environment);
std::vector<Check> CheckEnvironment(const DoctorEnvironment& environment);
std::vector<Check> CheckPorts(std::optional<uint32_t> port);

}  // namespace Korr::Plim::Trace::Tracehost
