#include "symbols/demangled_size.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace Korr::Plim::Trace::Symbols {

namespace {

constexpr double kLongestCode = 24;  // bytes that a byte which refers to nothing stands for
constexpr double kEnough = 1e18;     // from here on it matters to nobody how many more they are

/// Whether a reference such as "S_", "S0_" or "T_" begins at `place`; letters in identifiers may look like
/// one. \param end of the number in it: kept from call to call, for one place after the other
bool IsReference(std::string_view name, std::size_t place, std::size_t& end) {
    constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    if (end <= place) end = std::min(name.find_first_not_of(kDigits, place + 1), name.size());
    return (name[place] == 'S' || name[place] == 'T') && end < name.size() && name[end] == '_';
}

}  // namespace

/// Part after part the most that all up to there can come to. What is referred to stands before the first
/// reference to it, and is no longer than all that does.
double MostDemangled(std::string_view name) {
    const auto length = static_cast<double>(name.size());
    double most = 0;
    double packs = 1;  // what is written once for each member of a pack
    int conversions = 0;
    bool hasParameters = false;
    std::map<std::string_view, double> parts;  // by how they are referred to
    std::size_t end = 0;
    for (std::size_t place = 0; place < name.size() && most < kEnough; ++place) {
        const std::string_view code = name.substr(place, 2);
        most += kLongestCode;
        if (code[0] == 'C' || code[0] == 'D') most += length;  // constructors repeat the name of their class
        if (code == "Dp" || code == "sp") packs *= length;
        if (code == "cv") ++conversions;
        if (!IsReference(name, place, end)) continue;
        if (code[0] == 'T') {
            hasParameters = true;
            most *= 2;  // one may have others in it, of the template around its own
        } else {
            most += parts.emplace(name.substr(place, end - place), most).first->second;
        }
    }
    if (!hasParameters) return most;
    // The type of a conversion may have parameters of a list that follows it.
    return std::pow(most, 1 + conversions) * packs;
}

}  // namespace Korr::Plim::Trace::Symbols
