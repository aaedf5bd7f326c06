#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// "1,234,567".
std::string FormatCount(uint64_t number);
/// "1 place", "2 places": the word gets an "s".
std::string CountOf(uint64_t number, const std::string& word);
/// "0.003123 s": three, six or nine decimals, as many as tell something.
std::string FormatNanoseconds(uint64_t nanoseconds);

}  // namespace Korr::Plim::Trace::Tracehost
