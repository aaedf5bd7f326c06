#pragma once

#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "trace/replay.h"

namespace Korr::Plim::Trace::Tracehost {

/// The bytes of a capture that stands in a file.
class FileBytes : public Swo::CaptureBytes {
  public:
    /// \param file its name \param start where the capture begins in it \throws UsageError
    FileBytes(const std::string& file, uint64_t start);
    std::size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override;

  private:
    std::string name;
    uint64_t begin;
    mutable std::mutex mutex;  ///< of the file's position
    mutable std::ifstream stream;
};

/// The bytes of a capture that comes once, through a pipe: all of them are kept.
class KeptBytes : public Swo::CaptureBytes {
  public:
    void Append(std::span<const uint8_t> bytes);
    std::size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override;

  private:
    mutable std::mutex mutex;
    std::vector<uint8_t> kept;
};

/// The bytes of a capture that moves to another place while it is read.
class MovableBytes : public Swo::CaptureBytes {
  public:
    explicit MovableBytes(std::shared_ptr<const Swo::CaptureBytes> from) : bytes(std::move(from)) {}
    /// The same bytes lie there from now on. [any thread]
    void MoveTo(std::shared_ptr<const Swo::CaptureBytes> there);
    std::size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override;

  private:
    mutable std::mutex mutex;
    std::shared_ptr<const Swo::CaptureBytes> bytes;
};

}  // namespace Korr::Plim::Trace::Tracehost
