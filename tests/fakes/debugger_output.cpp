#include "source_utilities/debugger_output.h"

#include <mutex>
#include <utility>

#include "tests/fakes/scripted_debugger_output.h"

namespace fakes::debugger_output {
namespace {

std::mutex mutex;
std::vector<std::string> texts;
std::function<void()> whileWriting;

std::function<void()> Action() {
    const std::lock_guard guard(mutex);
    return whileWriting;
}

}  // namespace

void Reset() {
    const std::lock_guard guard(mutex);
    texts.clear();
    whileWriting = nullptr;
}

std::vector<std::string> Texts() {
    const std::lock_guard guard(mutex);
    return texts;
}

void WhileWriting(std::function<void()> action) {
    const std::lock_guard guard(mutex);
    whileWriting = std::move(action);
}

}  // namespace fakes::debugger_output

namespace KORR_PLIM::platform {

void WriteToDebugger(const char* text) {
    if (const auto action = fakes::debugger_output::Action()) action();
    const std::lock_guard guard(fakes::debugger_output::mutex);
    fakes::debugger_output::texts.emplace_back(text);
}

}  // namespace KORR_PLIM::platform
