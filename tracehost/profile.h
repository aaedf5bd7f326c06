#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "exports/sample_counter.h"
#include "tracehost/json_output.h"

namespace Korr::Plim::Trace::Tracehost {

enum class ProfileBy { Function, Line, Address };

struct ProfileRow {
    std::string name;  ///< "delay", "main.c:12", "delay+0x4"; an address where nothing is known
    std::optional<uint32_t> address;  ///< of the function, or the sample; none of lines
    uint64_t samples = 0;
};

/// Where the processor was, as the PC samples of a capture tell.
struct Profile {
    std::vector<ProfileRow> rows;  ///< most samples first
    uint64_t placed = 0;           ///< samples in the rows
    uint64_t sleeping = 0;
    uint64_t prohibited = 0;
    uint64_t unplaced = 0;  ///< samples whose places were too many to be kept
    uint64_t suspects = 0;  ///< left out
};

/// \param symbols null: addresses have no names \param elf of the same firmware, for ProfileBy::Line
/// \throws HostError when source lines cannot be had
Profile MakeProfile(const Exports::SampleCounter& samples, const Symbols::ElfSymbols* symbols, ProfileBy by,
                    const std::string& elf);

/// As a table for people, under the capture's name.
std::string FormatProfile(const std::string& name, const Profile& profile, ProfileBy by);
/// As a JSON object.
Json ProfileAsJson(const std::string& name, const Profile& profile, ProfileBy by);

}  // namespace Korr::Plim::Trace::Tracehost
