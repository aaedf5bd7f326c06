// Any bytes as an ITM set-up file, beside a second reading of its documented form.
#include "channel/itm_setup.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "fuzz/targets.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Tarnel;

constexpr std::size_t kLongestLine = 1 << 20;

int64_t NumberIn(const std::string& text) {
    return std::clamp<int64_t>(std::strtoll(text.c_str(), nullptr, 10), INT32_MIN, INT32_MAX);
}

ItmTypes Expected(const std::string& file) {
    ItmTypes types;
    types.fill(-1);
    std::istringstream lines(file);
    int64_t next = 0;
    for (std::string line; std::getline(lines, line);) {
        line.resize(std::min(line.size(), kLongestLine));
        const std::size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::size_t mark = key.find('_');
        if (NumberIn(mark == std::string::npos ? key : key.substr(mark + 1)) != next) continue;
        const std::string type = equals == std::string::npos ? line : line.substr(equals + 1);
        if (next < 32) types[static_cast<std::size_t>(next)] = static_cast<int32_t>(NumberIn(type));
        ++next;
    }
    return types;
}

}  // namespace

void FuzzItmSetup(std::string_view input) {
    const std::string name = Folder::Instance().Path("itm.ini");
    WriteFile(name, input);
    Require(ReadItmTypes(name) == Expected(std::string(input)), "ITM channel types");
}

}  // namespace fuzz
