#include "options/module_log.h"

#include "host_api/throw_error.h"
#include "source_utilities/log_call.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tarnel {

void RefuseOptions(const OptionsRefusal& refusal, cPelkitErrorIF::Severity_Type severity) {
    const std::string shown = refusal.before + KORR_PLIM::Visible(refusal.value).Text() + refusal.after;
    KORR_PLIM::LogError("%s: %.500s", kOptionsModuleTag, shown.c_str());
    ThrowError((refusal.before + refusal.value + refusal.after).c_str(), severity);
}

void RefuseOptions(const char* message) { RefuseOptions(OptionsRefusal{message}); }

}  // namespace Korr::Plim::Trace::Tarnel
