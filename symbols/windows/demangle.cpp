// The runtime of this platform does not know the names of the targets' compilers: they are shown as they
// stand.
#include "symbols/demangle.h"

namespace Korr::Plim::Trace::Symbols {

std::string Demangle(const std::string& name, uint64_t&) { return name; }

}  // namespace Korr::Plim::Trace::Symbols
