#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "trace/ledger.h"

namespace Korr::Plim::Trace::Swo {

/// The last bytes of a capture, for the first bytes of ledger entries.
class RecentBytes {
  public:
    static constexpr size_t kBlock = 65536;  ///< at most so many are added at a time

    RecentBytes() : bytes(kHistory + kBlock) {}
    void Add(std::span<const uint8_t> block) {
        if (size + block.size() > bytes.size()) {
            const size_t kept = std::min(size, kHistory);
            std::memmove(bytes.data(), bytes.data() + size - kept, kept);
            start += size - kept;
            size = kept;
        }
        std::memcpy(bytes.data() + size, block.data(), block.size());
        size += block.size();
    }
    /// Fills in what stands at an entry, when it is still there.
    void Show(LedgerEntry& entry) const {
        if (entry.offset < start || entry.offset >= start + size) return;
        const auto place = static_cast<size_t>(entry.offset - start);
        const size_t count = std::min(entry.bytes.size(), size - place);
        std::memcpy(entry.bytes.data(), bytes.data() + place, count);
        entry.byteCount = static_cast<uint8_t>(count);
    }

  private:
    static constexpr size_t kHistory = 16384;  // before the newest block: packets may be held back that long

    std::vector<uint8_t> bytes;
    uint64_t start = 0;
    size_t size = 0;
};

}  // namespace Korr::Plim::Trace::Swo
