#include "source_utilities/environment_variables.h"

#include <windows.h>

#include <vector>

namespace KORR_PLIM::platform {
namespace {

constexpr DWORD kBufferSize = 32768;

}  // namespace

std::string GetVariable(const char* name) {
    std::vector<char> buffer(kBufferSize);
    const DWORD length = GetEnvironmentVariableA(name, buffer.data(), kBufferSize);
    // A value that does not fit gives the size it needs.
    return length < kBufferSize ? std::string(buffer.data(), length) : std::string();
}

bool SetVariable(const char* name, const char* value) { return SetEnvironmentVariableA(name, value) != 0; }

const char* HomeFallbackVariable() { return nullptr; }

}  // namespace KORR_PLIM::platform
