#include "symbols/demangle.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Korr::Plim::Trace::Symbols {

std::string Demangle(const std::string& name) {
    if (!name.starts_with("_Z")) return name;  // the demangler takes "i" for the type int
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    return text ? text.get() : name;
}

}  // namespace Korr::Plim::Trace::Symbols
