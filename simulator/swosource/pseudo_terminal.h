#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace Korr::Plim::Trace::Simulator {

/// A pseudo-terminal that stands for the probe's COM port. Its far end is reached through a symbolic link,
/// which is removed with the object. Readers may come and go: the far end is also held open here, so that its
/// line settings and what waits in it stay.
///
/// The kernel keeps up to 4095 bytes for the reader and, behind them, some 18 KB in transit (measured: 22,048
/// bytes in all). Only the former can be counted and taken back, so nothing is written beyond it (see Write).
class PseudoTerminal {
  public:
    /// Bytes that the kernel holds ready for the reader at most.
    static constexpr size_t kMostReady = 4095;

    /// \param link path of the link; a link that is there already is replaced, anything else is not
    /// \throws std::runtime_error
    explicit PseudoTerminal(const std::string& link);
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Hands bytes to the far end without blocking. \return how many were taken. \throws std::runtime_error
    size_t Write(std::span<const uint8_t> bytes);
    /// Bytes that were written and not read yet. \throws std::runtime_error
    size_t Unread();
    /// Waits until the kernel has carried everything to the reading side; then Unread is exact.
    void Settle();
    /// Takes back what nobody has read; nobody can read it any more. \return how many bytes
    size_t TakeBack();
    /// The rate to which the far end is set, in baud. 38400 until a reader sets it.
    uint32_t FarEndBaud();
    /// Whether a reader has the far end open. Opens and closes are counted; two readers that open it between
    /// two calls can be counted as one.
    bool Attended();

  private:
    void Open();
    void MakeRaw();
    void WatchReaders(const std::string& device);
    void MakeLink(const std::string& device);
    void CountReaders();
    void Close();

    std::string link;
    int nearEnd = -1;
    int farEnd = -1;
    int watch = -1;
    bool linked = false;
    uint64_t opens = 0;
    uint64_t closes = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
