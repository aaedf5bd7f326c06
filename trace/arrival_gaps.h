#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace Korr::Plim::Trace::Swo {

/// How many bytes had arrived how long after the start. Both numbers never fall from one to the next.
struct Arrival {
    uint64_t milliseconds = 0;
    uint64_t bytes = 0;
};

/// A busy line that was silent.
struct Silence {
    uint64_t offset = 0;        ///< bytes that had arrived before it
    uint64_t milliseconds = 0;  ///< that nothing came, about
};

/// Shorter ones are not told.
inline constexpr uint64_t kShortestSilence = 50;  // milliseconds

/// The silences between arrivals of a line that was steadily busy before and behind: of at least four looks
/// on each side every one brought as many bytes as it took time, within 25 ms.
std::vector<Silence> FindSilences(std::span<const Arrival> arrivals);

}  // namespace Korr::Plim::Trace::Swo
