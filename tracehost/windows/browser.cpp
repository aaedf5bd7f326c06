#include "tracehost/browser.h"

#include <windows.h>
// Behind it.
#include <shellapi.h>

#include <utility>

#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

BrowserCall::BrowserCall(const std::string& address) {
    SHELLEXECUTEINFOA call{};
    call.cbSize = sizeof call;
    call.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
    call.lpVerb = "open";
    call.lpFile = address.c_str();
    call.nShow = SW_SHOWNORMAL;
    if (!ShellExecuteExA(&call)) problem = ErrorWords(GetLastError());
}

BrowserCall::~BrowserCall() = default;

std::optional<std::string> BrowserCall::Problem() { return std::exchange(problem, std::nullopt); }

}  // namespace Korr::Plim::Trace::Tracehost
