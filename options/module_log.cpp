#include "options/module_log.h"

#include "host_api/throw_error.h"
#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

void RefuseOptions(const std::string& message, cPelkitErrorIF::Severity_Type severity) {
    KORR_PLIM::LogError("%s: %.500s", kOptionsModuleTag, message.c_str());
    ThrowError(message.c_str(), severity);
}

}  // namespace Korr::Plim::Trace::Tarnel
