#include "host_api/throw_error.h"

#include <cstdio>

namespace Korr::Plim::Trace {
namespace {

thread_local ThrownText* keeper = nullptr;

}  // namespace

ThrownText::ThrownText() noexcept : text{"Error of the host"}, outer(keeper) { keeper = this; }

ThrownText::~ThrownText() { keeper = outer; }

void ThrowError(const char* text, cPelkitErrorIF::Severity_Type severity) {
    if (keeper != nullptr && text != nullptr) {
        std::snprintf(keeper->text.data(), keeper->text.size(), "%s", text);
    }
    throw cPelkitError(text, severity);
}

}  // namespace Korr::Plim::Trace
