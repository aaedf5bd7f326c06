#include "tracehost/check/check_adapter.h"

#include <functional>
#include <thread>

#include "host_api/cPelkitError.h"
#include "tracehost/check/verdict.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

uint64_t ThisThread() { return std::hash<std::thread::id>()(std::this_thread::get_id()); }

/// The operation's name in front of a call.
std::string NameIn(const std::string& call) { return call.substr(0, call.find(' ')); }

}  // namespace

CheckAdapter::CheckAdapter(uint32_t id) : cpuId(id), hostThread(ThisThread()) {}

std::string CheckAdapter::CallsFrom(std::size_t first) const {
    std::string text;
    for (std::size_t i = first; i < calls.size(); ++i) text += (text.empty() ? "" : ", ") + calls[i];
    return text;
}

uint32_t CheckAdapter::Count(const std::string& operation) const {
    uint32_t count = 0;
    for (const std::string& call : calls) count += NameIn(call) == operation ? 1 : 0;
    return count;
}

uint32_t CheckAdapter::Note(const std::string& operation, uint32_t id, const uint32_t* argument) {
    if (id != cpuId) {
        Fail("the target adapter's " + operation + " got the CPU id " + Shown(id) + " instead of " +
             Shown(cpuId));
    }
    if (ThisThread() != hostThread) {
        Fail("the target adapter's " + operation + " was called on a thread of the plug-in");
    }
    calls.push_back(operation + (argument != nullptr ? " " + std::to_string(*argument) : ""));
    if (operation == throwing) throw cPelkitError(kThrownText, cPelkitErrorIF::eSEVERITY_ERROR);
    return operation == failing ? 1 : 0;
}

uint32_t CheckAdapter::GetExportStatus(uint32_t id, uint32_t& status) {
    status = exportStatus;
    return Note("GetExportStatus", id);
}

uint32_t CheckAdapter::ClearExportStatus(uint32_t id, uint32_t status) {
    exportStatus &= ~status;
    return Note("ClearExportStatus", id, &status);
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
