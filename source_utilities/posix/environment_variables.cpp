#include "source_utilities/environment_variables.h"

#include <cstdlib>
#include <mutex>

namespace KORR_PLIM::platform {
namespace {

constexpr std::size_t kLongestValue = 32767;

/// Reading and setting the environment are not safe against each other in the C library.
std::mutex& EnvironmentLock() {
    static auto* lock = new std::mutex;
    return *lock;
}

}  // namespace

std::string GetVariable(const char* name) {
    const std::lock_guard guard(EnvironmentLock());
    const char* text = std::getenv(name);
    std::string value = text != nullptr ? text : "";
    return value.size() <= kLongestValue ? value : std::string();
}

bool SetVariable(const char* name, const char* value) {
    const std::lock_guard guard(EnvironmentLock());
    return setenv(name, value, 1) == 0;
}

const char* HomeFallbackVariable() { return "HOME"; }

}  // namespace KORR_PLIM::platform
