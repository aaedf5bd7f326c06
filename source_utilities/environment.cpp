#include "source_utilities/environment.h"

#include <map>
#include <string>

#include "source_utilities/critical_section.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/uMutex.h"

namespace KORR_PLIM {
namespace {

/// The last result of each thread. Never destroyed: threads may ask while the process ends.
struct ThreadResults {
    uMutex mutex;
    std::map<uint32_t, std::string> texts;
};
ThreadResults& Results() {
    static auto* results = new ThreadResults;
    return *results;
}

}  // namespace

const char* GetEnvironment(const char* name) {
    if (name == nullptr) throw source_utilities_error("failed set an environment variable name to null");
    std::string value = platform::GetVariable(name);
    ThreadResults& results = Results();
    const uMutexLock guard(results.mutex);
    std::string& kept = results.texts[platform::CurrentThreadId()];
    kept = std::move(value);
    return kept.c_str();
}

void SetEnvironment(const char* name, const char* value) {
    if (name == nullptr) throw source_utilities_error("failed set an environment variable name to null");
    if (value == nullptr) throw source_utilities_error("failed set an environment variable value to null");
    if (!platform::SetVariable(name, value)) {
        throw source_utilities_error(std::string("failed to set environment variable \"") + name + "\"");
    }
}

}  // namespace KORR_PLIM
