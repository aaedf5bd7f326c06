#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace Korr::Plim::Trace::Swo {

/// How often each address was sampled. So many different ones are told apart, what comes beyond them is
/// counted together.
class PcHistogram {
  public:
    static constexpr size_t kMostOfAPart = 65536;
    static constexpr size_t kMostInAll = size_t{1} << 20;

    explicit PcHistogram(size_t mostAddresses = kMostOfAPart) : most(mostAddresses) {}
    struct Count {
        uint32_t address;
        uint32_t samples;
    };

    void Add(uint32_t address, uint32_t samples = 1);
    void Add(const PcHistogram& more);
    /// In no order until Pack, then by address.
    std::vector<Count> Counts() const;
    uint64_t Other() const { return other; }  ///< samples of addresses that are not told apart
    /// Takes less memory from now on, and more time for the next address.
    void Pack();
    size_t Bytes() const { return sizeof(*this) + (table.capacity() + packed.capacity()) * sizeof(Count); }

    uint64_t sleeping = 0;
    uint64_t prohibited = 0;

  private:
    void Unpack();
    void Grow();
    void Put(Count count);

    size_t most;
    std::vector<Count> table;   ///< open addressing; of places without samples nothing is there
    std::vector<Count> packed;  ///< instead of the table
    size_t used = 0;            ///< places in the table
    uint64_t other = 0;
};

/// Histograms of a capture's parts: of every 2^kPartShift bytes, or, when they take too much memory, of twice
/// as many and so on.
class PcHistograms {
  public:
    static constexpr unsigned kPartShift = 24;
    static constexpr size_t kMostBytes = size_t{64} << 20;

    /// The histogram for a packet; places never fall.
    PcHistogram& At(uint64_t place) {
        return !parts.empty() && parts.back().number == place >> shift ? parts.back().histogram
                                                                       : Begin(place);
    }
    /// Adds up whole parts that lie in [from, to). \return the stretch that they cover; empty when none does
    struct Stretch {
        uint64_t from;
        uint64_t to;
    };
    Stretch Sum(uint64_t from, uint64_t to, PcHistogram& all) const;
    /// Calls visit(from, to, histogram) with the whole parts that lie in a stretch, by their places.
    template <class Visit>
    void ForEachIn(const Stretch& whole, Visit&& visit) const {
        for (const Part& one : parts) {
            const uint64_t from = one.number << shift;
            const uint64_t to = (one.number + 1) << shift;
            if (from >= whole.from && to <= whole.to) visit(from, to, one.histogram);
        }
    }
    size_t Bytes() const { return bytes; }

  private:
    struct Part {
        uint64_t number;
        PcHistogram histogram;
    };
    PcHistogram& Begin(uint64_t place);
    void Double();

    unsigned shift = kPartShift;
    std::deque<Part> parts;  ///< those with samples
    size_t bytes = 0;        ///< of all but the last one
};

}  // namespace Korr::Plim::Trace::Swo
