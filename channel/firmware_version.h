#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

/// Lowest probe firmware of the `Brantor` family with SWO, 1.0.0.5.
inline constexpr uint32_t kFirmwareWithSwo = 0x01000005;
/// Lowest probe firmware that wants a break on the line at the end of a capture, 1.0.0.8.
inline constexpr uint32_t kFirmwareWithBreak = 0x01000008;

/// Packs a version text "word a.b.c.d" as a<<24 | b<<16 | c<<8 | d, in 32 bits. Everything up to the last
/// blank before the first full stop is dropped; without such a blank the first character is. Fewer than three
/// full stops give 0.
uint32_t ParseFirmwareVersion(std::string text);

}  // namespace Korr::Plim::Trace::Tarnel
