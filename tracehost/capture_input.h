#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tracehost/byte_source.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

/// The captures in a stream of bytes, one after another: a raw stream is one capture, a TDF file holds one in
/// each section "BinTraceData". Nothing is read twice, so that a pipe will do; memory is constant.
class CaptureInput {
  public:
    /// \param bytes where they come from
    /// \param only number of the one section "BinTraceData" wanted, from 1; absent: all of them
    explicit CaptureInput(std::unique_ptr<ByteSource> bytes, std::optional<uint32_t> only = std::nullopt);

    /// Goes to the next capture, passing over what is left of this one. \return whether there is one
    /// \throws HostError when bytes cannot be read
    bool Next();
    /// The next bytes of the capture. \return how many; 0 at its end. \throws HostError
    std::size_t Read(std::span<uint8_t> buffer);

    /// Whether the bytes are a TDF file's. Known after Next.
    bool IsTdf() const { return tdf; }
    /// Number of the capture's section "BinTraceData", from 1; 0 in a raw stream.
    uint32_t Section() const { return section; }
    /// Bytes of the whole capture, when that is known beforehand; a damaged file may hold fewer.
    std::optional<uint64_t> Length() const { return length; }
    /// Where the capture begins in the stream, in bytes.
    uint64_t Offset() const { return start; }
    /// What is wrong with the TDF file behind what was read; empty when nothing is. A capture that the file's
    /// end cuts short is given as far as it goes.
    const std::string& Damage() const { return damage; }

  private:
    bool Begin();
    bool NextSection();
    bool ReadHeader();
    bool Skip(uint64_t count);
    std::size_t ReadSome(std::span<uint8_t> buffer);
    std::size_t ReadFully(std::span<uint8_t> buffer);
    bool Damaged(const std::string& what);

    std::unique_ptr<ByteSource> source;
    std::optional<uint32_t> wanted;
    std::array<uint8_t, kTdfHeaderSize> head{};  ///< the stream's first bytes
    std::size_t headSize = 0;
    std::size_t headTaken = 0;
    uint64_t position = 0;       ///< in the stream
    uint64_t sectionOffset = 0;  ///< of the section being read
    uint64_t start = 0;          ///< of the capture
    uint64_t left = 0;           ///< bytes of the section that were not read yet
    bool begun = false;
    bool tdf = false;
    bool ended = false;
    uint32_t section = 0;
    uint64_t sectionsSeen = 0;
    bool isCapture = false;
    std::optional<uint64_t> length;
    std::string damage;
};

}  // namespace Korr::Plim::Trace::Tracehost
