#include "tracehost/profile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

#include "exports/names.h"
#include "source_utilities/visible_text.h"
#include "tracehost/human_numbers.h"
#include "tracehost/source_lines.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr std::size_t kMostRows = 50;  // of a table for people
constexpr const char* kTitles[] = {"function", "line", "address"};

using Exports::HexadecimalText;
using Rows = std::map<std::string, ProfileRow>;  // by what they have in common

void Count(Rows& rows, const std::string& key, const ProfileRow& row) {
    rows.try_emplace(key, ProfileRow{row.name, row.address, 0}).first->second.samples += row.samples;
}

/// Functions of the same name at different places are different ones.
void CountFunction(Rows& rows, const Symbols::Symbol* function, uint32_t pc, uint64_t count) {
    const uint32_t address = function != nullptr ? function->address : pc;
    Count(rows, HexadecimalText(address),
          {function != nullptr ? function->name : HexadecimalText(pc), address, count});
}

void CountAddress(Rows& rows, const Symbols::Symbol* function, uint32_t pc, uint64_t count) {
    std::string name = HexadecimalText(pc);
    if (function != nullptr) {
        const uint32_t distance = pc - function->address;
        name += " " + function->name + (distance == 0 ? "" : "+" + HexadecimalText(distance));
    }
    Count(rows, HexadecimalText(pc), {name, pc, count});
}

std::map<uint32_t, uint64_t> ByAddress(const Exports::SampleCounter& samples) {
    std::map<uint32_t, uint64_t> counts;
    for (const auto& [place, count] : samples.Places()) counts[place.pc] += count;
    return counts;
}

Json RowAsJson(const ProfileRow& row) {
    return {{"name", row.name},
            {"address", row.address ? Json(*row.address) : Json(nullptr)},
            {"samples", row.samples}};
}

}  // namespace

Profile MakeProfile(const Exports::SampleCounter& samples, const Symbols::ElfSymbols* symbols, ProfileBy by,
                    const std::string& elf) {
    const auto counts = ByAddress(samples);
    std::map<uint32_t, std::string> lines;
    if (by == ProfileBy::Line && !counts.empty()) {
        std::vector<uint32_t> addresses;
        addresses.reserve(counts.size());
        for (const auto& [pc, count] : counts) addresses.push_back(pc);
        lines = FindSourceLines(elf, addresses);
    }
    Rows rows;
    Profile profile;
    for (const auto& [pc, count] : counts) {
        const auto* const function = symbols != nullptr ? symbols->FunctionAt(pc) : nullptr;
        const auto line = lines.find(pc);
        profile.placed += count;
        if (by == ProfileBy::Address) {
            CountAddress(rows, function, pc, count);
        } else if (line != lines.end()) {
            Count(rows, ":" + line->second, {line->second, std::nullopt, count});
        } else {
            CountFunction(rows, function, pc, count);
        }
    }
    for (auto& [key, row] : rows) profile.rows.push_back(std::move(row));
    std::stable_sort(
        profile.rows.begin(), profile.rows.end(),
        [](const ProfileRow& one, const ProfileRow& other) { return one.samples > other.samples; });
    profile.sleeping = Exports::SampleCounter::Sum(samples.Sleeping());
    profile.prohibited = Exports::SampleCounter::Sum(samples.Prohibited());
    profile.unplaced = Exports::SampleCounter::Sum(samples.Unplaced());
    profile.suspects = samples.Suspects();
    return profile;
}

std::string FormatProfile(const std::string& name, const Profile& profile, ProfileBy by) {
    const uint64_t all = profile.placed + profile.sleeping + profile.prohibited + profile.unplaced;
    std::string text = KORR_PLIM::Visible(name).Text();
    text += ": " + CountOf(all, "PC sample");
    if (profile.sleeping > 0) text += ", " + FormatCount(profile.sleeping) + " of them sleeping";
    if (profile.prohibited > 0) text += ", " + FormatCount(profile.prohibited) + " where trace is prohibited";
    if (profile.suspects > 0) text += "; " + CountOf(profile.suspects, "suspect one") + " left out";
    text += "\n";
    if (profile.rows.empty()) return text;
    text += "     samples     share  " + std::string(kTitles[static_cast<int>(by)]) + "\n";
    std::array<char, 64> numbers{};
    const auto add = [&](uint64_t samples, const char* what) {
        const double share = 100 * static_cast<double>(samples) / static_cast<double>(all);
        std::snprintf(numbers.data(), numbers.size(), "%12s  %6.2f %%  ", FormatCount(samples).c_str(),
                      share);
        text.append(numbers.data()).append(what).append("\n");
    };
    uint64_t left = profile.unplaced;
    for (std::size_t i = 0; i < profile.rows.size(); ++i) {
        const ProfileRow& row = profile.rows[i];
        if (i < kMostRows) {
            add(row.samples, KORR_PLIM::Visible(row.name).Text());
        } else {
            left += row.samples;
        }
    }
    if (left > 0) add(left, "(others; --json has more of them)");
    if (profile.sleeping > 0) add(profile.sleeping, "(sleeping)");
    if (profile.prohibited > 0) add(profile.prohibited, "(prohibited)");
    return text;
}

Json ProfileAsJson(const std::string& name, const Profile& profile, ProfileBy by) {
    Json rows = Json::array();
    for (const ProfileRow& row : profile.rows) rows.push_back(RowAsJson(row));
    return {{"capture", name},
            {"by", kTitles[static_cast<int>(by)]},
            {"placed", profile.placed},
            {"sleeping", profile.sleeping},
            {"prohibited", profile.prohibited},
            {"unplaced", profile.unplaced},
            {"suspects", profile.suspects},
            {"rows", rows}};
}

}  // namespace Korr::Plim::Trace::Tracehost
