#include <string>
#include <vector>

#include "tests/unit/tracehost/faults/scripted_host_seams.h"
#include "tracehost/log_space.h"
#include "tracehost/own_process.h"
#include "tracehost/platform_words.h"
#include "tracehost/port_presence.h"

scripted_host::Host scripted_host::host;

namespace Korr::Plim::Trace::Tracehost {

using scripted_host::host;

std::string PortIdentity(uint32_t) { return host.identity; }
std::string PortDevice(uint32_t number) { return "/dev/port" + std::to_string(number); }
bool HeldDeviceVanished(const std::string& device) { return host.deviceVanished && device == "/dev/port7"; }
std::string PortName(uint32_t number) { return "COM" + std::to_string(number); }

std::string ErrorWords(uint32_t number) { return "words of " + std::to_string(number); }
std::string LoaderWords(const std::string&, const std::string&) { return {}; }
std::string ModuleFile(const void*) { return {}; }
std::string ProgramFile() { return {}; }
std::string ProgramFolder() { return {}; }

std::vector<uint64_t> OwnThreads() { return host.threads; }
std::optional<uint64_t> FileSizeLimit() { return host.fileSizeLimit; }

bool ForgetBeginning(const std::string&, uint64_t bytes) {
    host.forgotten.push_back(bytes);
    return host.logsCanForget;
}

}  // namespace Korr::Plim::Trace::Tracehost
