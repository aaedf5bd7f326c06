#pragma once

#include <string_view>

namespace Korr::Plim::Trace::Symbols {

/// More bytes than the text has that a mangled name of C++ (Itanium ABI) stands for. A name may refer back to
/// its own parts, and so double the text with each few bytes more: what is too much is known before it is
/// made.
double MostDemangled(std::string_view name);

}  // namespace Korr::Plim::Trace::Symbols
