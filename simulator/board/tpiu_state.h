#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Simulator {

/// What the simulated target adapter has told the simulated TPIU so far. Kept in a small JSON file, so that
/// the process that programs it and the one that plays the SWO pin need not know each other. Keys of the
/// file: "prescaler", "pinProtocol", "timestampPrescale" (numbers), "programmed", "enabled" (booleans); an
/// absent key has the value below, an unknown one is an error.
struct TpiuState {
    uint32_t prescaler = 0;  ///< the pin's rate is trace clock / (prescaler + 1)
    uint32_t pinProtocol = 0;
    uint32_t timestampPrescale = 1;
    bool programmed = false;
    bool enabled = false;  ///< the pin is silent until this is true

    bool operator==(const TpiuState&) const = default;
};

inline constexpr std::size_t kLargestTpiuState = 4096;  ///< bytes of the file

/// The state as the text of its file.
std::string FormatTpiuState(const TpiuState& state);
/// \throws std::runtime_error that says what is wrong with the text
TpiuState ParseTpiuState(const std::string& text);

/// Reads the file; a file that is not there is nothing. \throws std::runtime_error that names the file, also
/// when it is longer than kLargestTpiuState
std::optional<TpiuState> ReadTpiuState(const std::string& path);
/// Replaces the file in one step: a reader sees the old state or the new one, whole. \throws
/// std::runtime_error
void WriteTpiuState(const std::string& path, const TpiuState& state);

}  // namespace Korr::Plim::Trace::Simulator
