// The twin reads no options files.
#include "host_api/throw_error.h"
#include "options/options_reader.h"

namespace Korr::Plim::Trace::Tarnel {

std::optional<std::string> LoadOptionsFile(const std::string&) { return std::nullopt; }

OptionList ReadOptionsText(const std::string&, const std::string&) { RefuseUnreadableOptions(); }

void RefuseUnreadableOptions() { ThrowError("the twin reads no options files"); }

}  // namespace Korr::Plim::Trace::Tarnel
