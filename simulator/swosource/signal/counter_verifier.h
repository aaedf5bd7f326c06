#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Korr::Plim::Trace::Simulator {

/// Compares received bytes with the numbered pattern from its beginning and counts what became of it, in
/// bytes. After a fault it finds its place again at the next two whole blocks that follow each other; from
/// how far the place has moved it knows exactly how many bytes are missing or came twice. Bytes lost at the
/// very end do not show: the caller compares the number of bytes.
class CounterVerifier {
  public:
    /// Takes the next bytes, in pieces of any size.
    void Feed(const uint8_t* bytes, size_t count);
    /// Nothing more will come: bytes whose place could not be found count as changed.
    void Finish();

    uint64_t Bytes() const { return bytes; }      ///< fed so far
    uint64_t Lost() const { return lost; }        ///< missing
    uint64_t Doubled() const { return doubled; }  ///< came again
    uint64_t Changed() const { return changed; }  ///< came with another value, or from nowhere
    uint64_t Faults() const { return faults; }    ///< places at which something was lost, doubled or changed
    bool Clean() const { return faults == 0; }

  private:
    void Search();
    void Resume(uint64_t foundPlace, size_t skipped);
    size_t FewestChanges(uint64_t foundPlace, size_t skipped) const;

    uint64_t bytes = 0;
    uint64_t lost = 0;
    uint64_t doubled = 0;
    uint64_t changed = 0;
    uint64_t faults = 0;
    uint64_t place = 0;           ///< of the next byte when nothing is wrong
    std::vector<uint8_t> unsure;  ///< bytes since a fault whose place is not known yet; empty while in step
};

}  // namespace Korr::Plim::Trace::Simulator
