#include "viewer/server/parameters.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "source_utilities/real_number.h"
#include "viewer/feed.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr std::size_t kLongestNumber = 64;  // characters

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

/// Takes digits away. \return whether there was one
bool TakeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    text.remove_prefix(count);
    return count > 0;
}

bool Take(std::string_view& text, std::string_view anyOf) {
    if (text.empty() || anyOf.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

/// Whether a text is a number of the form -12.5e+3.
bool IsNumber(std::string_view text) {
    Take(text, "-");
    if (!TakeDigits(text)) return false;
    if (Take(text, ".") && !TakeDigits(text)) return false;
    if (!Take(text, "eE")) return text.empty();
    Take(text, "+-");
    return TakeDigits(text) && text.empty();
}

}  // namespace

const std::string* Parameters::Find(std::string_view name) const {
    const auto found =
        std::find_if(list.begin(), list.end(), [name](const auto& entry) { return entry.first == name; });
    return found != list.end() ? &found->second : nullptr;
}

void Parameters::RefuseAllBut(const std::vector<std::string_view>& names) const {
    for (auto entry = list.begin(); entry != list.end(); ++entry) {
        const std::string& name = entry->first;
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            throw BadQuestion("there is no such parameter here");
        }
        const bool twice =
            std::any_of(list.begin(), entry, [&name](const auto& other) { return other.first == name; });
        if (twice) throw BadQuestion("\"" + name + "\" is there twice");
    }
}

const std::string& Parameters::Text(std::string_view name) const {
    const std::string* const found = Find(name);
    if (found == nullptr) throw BadQuestion("\"" + std::string(name) + "\" is missing");
    return *found;
}

double Parameters::Number(std::string_view name) const {
    const std::string& text = Text(name);
    const bool isNumber = text.size() <= kLongestNumber && IsNumber(text);
    const double number = isNumber ? KORR_PLIM::platform::ReadRealNumber(text.c_str()) : 0;
    if (isNumber && std::isfinite(number)) return number;
    throw BadQuestion("\"" + std::string(name) + "\" is no decimal number, or too large");
}

uint64_t Parameters::Whole(std::string_view name, uint64_t smallest, uint64_t largest) const {
    const std::string& text = Text(name);
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
    const auto read = std::from_chars(text.data(), end, number);
    if (digits && read.ec == std::errc() && read.ptr == end && number >= smallest && number <= largest) {
        return number;
    }
    throw BadQuestion("\"" + std::string(name) + "\" is no whole number from " + std::to_string(smallest) +
                      " to " + std::to_string(largest));
}

bool Parameters::Flag(std::string_view name) const {
    const std::string* const found = Find(name);
    if (found == nullptr) return false;
    return Whole(name, 0, 1) == 1;
}

}  // namespace Korr::Plim::Trace::Viewer
