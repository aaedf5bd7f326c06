#pragma once

#include <algorithm>
#include <array>
#include <span>

#include "trace/packet_reader.h"

namespace Korr::Plim::Trace::Swo {

/// Reads packet after packet from bytes at hand, without knowing the stimulus page: ports are 0 to 31.
class PacketWalk {
  public:
    enum class Found : uint8_t {
        Packet,
        Sync,
        Broken,  ///< no packet begins here
        End,     ///< the bytes end, or end inside a packet
    };

    PacketWalk(std::span<const uint8_t> all, const HeaderTable& headers, size_t from = 0)
        : bytes(all), table(headers), place(from) {}

    size_t Place() const { return place; }
    /// What Next has found, unless it was the end.
    const Reading& Last() const { return reading; }

    /// Reads what stands at Place. Goes behind a packet, and stays where none begins.
    Found Next() {
        if (place >= bytes.size()) return Found::End;
        if (bytes[place] == 0) return Zeros();
        reading = Read();
        if (reading.packet.length > bytes.size() - place) return Found::End;
        if (IsDamage(reading.packet.kind)) return Found::Broken;
        place += reading.packet.length;
        return Found::Packet;
    }

    /// Goes behind what Next has found broken.
    void Skip() { place += reading.packet.length; }

  private:
    Found Zeros() {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(place);
        const auto end = std::find_if(begin, bytes.end(), [](uint8_t byte) { return byte != 0; });
        if (end == bytes.end()) return Found::End;
        const auto zeros = static_cast<uint32_t>(end - begin);
        reading = {};
        reading.packet.length = zeros;
        if (*end != kLastOfSync || zeros < kFewestZeros) return Found::Broken;
        ++reading.packet.length;
        Skip();
        return Found::Sync;
    }

    Reading Read() const {
        const size_t left = bytes.size() - place;
        if (left >= kReadable) return ReadPacket(&bytes[place], table, 0);
        std::array<uint8_t, kReadable> padded{};
        std::copy_n(&bytes[place], left, padded.begin());
        return ReadPacket(padded.data(), table, 0);
    }

    std::span<const uint8_t> bytes;
    const HeaderTable& table;
    size_t place;
    Reading reading{};
};

}  // namespace Korr::Plim::Trace::Swo
