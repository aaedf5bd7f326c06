#include "source_utilities/debugger_output.h"

#include <mutex>

#include "tests/fakes/scripted_debugger_output.h"

namespace fakes::debugger_output {
namespace {

std::mutex mutex;
std::vector<std::string> texts;

}  // namespace

void Reset() {
    const std::lock_guard guard(mutex);
    texts.clear();
}

std::vector<std::string> Texts() {
    const std::lock_guard guard(mutex);
    return texts;
}

}  // namespace fakes::debugger_output

namespace KORR_PLIM::platform {

void WriteToDebugger(const char* text) {
    const std::lock_guard guard(fakes::debugger_output::mutex);
    fakes::debugger_output::texts.emplace_back(text);
}

}  // namespace KORR_PLIM::platform
