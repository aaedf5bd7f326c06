#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "exports/output.h"

namespace Korr::Plim::Trace::Exports {

/// Writes captured bytes as what a logic analyser would have seen on the pin: a sigrok session file with one
/// channel "SWO", 8 data bits, no parity, one stop bit, no pause between bytes. A foreign decoder can look at
/// the same bytes. Each takes 40 samples, so whoever calls cuts a window out.
class SigrokWriter {
  public:
    static constexpr uint32_t kSamplesPerBit = 4;
    static constexpr uint64_t kMostBytes = 65536;  ///< of a window

    /// \param baud of the line, at least 1
    SigrokWriter(Output& target, uint64_t baud);
    void Write(std::span<const uint8_t> bytes);
    /// Ends the line's picture with a pause, and the file.
    void Finish();

  private:
    struct Entry {
        std::string name;
        uint32_t checksum;
        uint32_t size;
        uint32_t offset;
    };

    void AddLevel(bool high, uint32_t bits);
    void EndChunk();
    void AddFile(const std::string& name, std::string_view content);
    void Put(std::string_view bytes);

    Output& output;
    std::string samples;
    std::vector<Entry> entries;
    uint32_t chunks = 0;
    uint32_t position = 0;
    std::array<uint32_t, 256> crcTable;
};

}  // namespace Korr::Plim::Trace::Exports
