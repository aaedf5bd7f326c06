#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "trace/tpiu_alignment.h"

namespace Korr::Plim::Trace::Swo {

enum class FramingKind : uint8_t {
    Auto,  ///< as the bytes show
    Itm,   ///< an ITM stream and nothing else
    Tpiu,  ///< frames, one stream of which is the ITM's
};

struct FramingOptions {
    FramingKind kind = FramingKind::Auto;
    std::optional<uint8_t> stream;  ///< the ITM's in frames; none: the one that decodes best
};

/// What was found, or given.
struct Framing {
    bool framed = false;
    uint8_t stream = kNoStream;  ///< of frames
    PhaseScore first;     ///< of the very first bytes taken for frames; `phase` is where the first one begins
    Validity raw;         ///< of the first bytes taken for an ITM stream
    Alignment alignment;  ///< of the first bytes taken for frames; not looked at as long as there was no need

    /// Offset of the first byte that is decoded.
    uint64_t FirstFrame() const { return framed ? first.phase : 0; }
};

/// Collects the first bytes of a capture until they show how it is framed. Allocates its memory at once.
class FramingFinder {
  public:
    explicit FramingFinder(const FramingOptions& options);
    /// Has decided already, and needs no memory.
    explicit FramingFinder(const Framing& known) : found(known), decided(true), nextLook(0) {}

    /// Takes bytes until it has decided. Returns how many.
    size_t Feed(std::span<const uint8_t> bytes);
    /// Decides by what has come: the capture has ended, or is too slow to wait for.
    void Decide();

    bool Decided() const { return decided; }
    const Framing& Found() const { return found; }
    std::span<const uint8_t> Head() const { return {head.get(), held}; }
    /// Frees the memory.
    void Release() { head.reset(), scratch.reset(), held = 0; }

  private:
    void Look(bool last);
    bool LooksLikeItm(bool last) const;
    PhaseScore ScoreFirst();
    std::span<uint8_t> Scratch() { return {scratch.get(), kMostAligned}; }

    FramingOptions options;
    Framing found;
    bool decided = false;
    size_t held = 0;
    size_t nextLook;
    std::unique_ptr<uint8_t[]> head;
    std::unique_ptr<uint8_t[]> scratch;
};

}  // namespace Korr::Plim::Trace::Swo
