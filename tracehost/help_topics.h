#pragma once

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// The text of "tracehost help TOPIC"; null when there is no such topic.
const char* HelpTopic(const std::string& name);

}  // namespace Korr::Plim::Trace::Tracehost
