#pragma once

#include <string>

namespace Korr::Plim::Trace::Symbols {

/// The name as the source has it, when the tool chain's runtime can tell; else the name as it stands. Any
/// thread.
std::string Demangle(const std::string& name);

}  // namespace Korr::Plim::Trace::Symbols
