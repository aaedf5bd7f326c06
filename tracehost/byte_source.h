#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Where captured bytes are read from.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// The next bytes, at least one unless there are no more. \return how many; 0 at the end
    /// \throws HostError when the rest cannot be read
    virtual std::size_t Read(std::span<uint8_t> buffer) = 0;
    /// Passes over bytes without reading them, where that is possible. \return how many; 0: they have to be
    /// read
    virtual uint64_t Skip(uint64_t) { return 0; }
    /// Bytes that there are in all, when that is known.
    virtual std::optional<uint64_t> Size() const { return std::nullopt; }
};

/// A file. A regular one is read up to the size that it has when it is opened: what is added meanwhile is
/// not read, and one that became shorter is refused there. Any other kind is read up to its end.
class FileSource : public ByteSource {
  public:
    /// \throws UsageError when it cannot be read
    explicit FileSource(const std::string& name);
    std::size_t Read(std::span<uint8_t> buffer) override;
    uint64_t Skip(uint64_t count) override;
    std::optional<uint64_t> Size() const override { return size; }

  private:
    std::string name;
    std::ifstream file;
    std::optional<uint64_t> size;
    uint64_t done = 0;
};

/// Standard input: gives what is there as soon as something is there.
class StandardInputSource : public ByteSource {
  public:
    StandardInputSource();
    std::size_t Read(std::span<uint8_t> buffer) override;
};

/// Seam: standard input without translation of line ends.
void PrepareStandardInput();
/// Seam: waits for bytes on standard input and takes what is there. \return how many, 0 at the end, below 0
/// when it cannot be read
std::ptrdiff_t ReadStandardInput(std::span<uint8_t> buffer);

}  // namespace Korr::Plim::Trace::Tracehost
