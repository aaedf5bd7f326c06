#include "options/module_log.h"

#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

void RefuseOptions(const std::string& message, cPelkitErrorIF::Severity_Type severity) {
    KORR_PLIM::LogError("%s: %.500s", kOptionsModuleTag, message.c_str());
    throw cPelkitError(message, severity);
}

}  // namespace Korr::Plim::Trace::Tarnel
