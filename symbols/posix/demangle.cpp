#include "symbols/demangle.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "symbols/demangled_size.h"
#include "symbols/elf_file.h"

namespace Korr::Plim::Trace::Symbols {

namespace {

constexpr double kMostAtOnce = 1 << 26;  // bytes of one name while it is made

}  // namespace

std::string Demangle(const std::string& name, uint64_t& room) {
    if (!name.starts_with("_Z")) return name;  // the demangler takes "i" for the type int
    const double most = MostDemangled(name);
    if (room == 0 || most > kMostAtOnce) return name;
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    const std::string_view shown = text ? text.get() : std::string_view();
    room -= std::min<uint64_t>(
        room, text ? shown.size() : static_cast<uint64_t>(most));  // in vain it may take as long
    return !text || shown.size() > ElfFile::kLongestText ? name : std::string(shown);
}

}  // namespace Korr::Plim::Trace::Symbols
