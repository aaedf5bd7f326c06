#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "host_api/CChannelDriver.h"
#include "tracehost/capture_follower.h"
#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// Where a recording goes. A file on a disk is saved by the plug-in once the recording has ended. Standard
/// output ("-",
/// "/dev/stdout"), a FIFO and a device get the captured bytes alone, as they come.
class OutputFile : private CaptureObserver {
  public:
    /// \param wanted names the file; without a name it is "swo-<date>-<time>.tdf" or ".bin" in the working
    /// folder. Without a format the name's extension decides: .bin and .raw are raw, else it is a TDF file
    /// \param standardOutput the stream for "-"
    OutputFile(const RecordRequest& wanted, std::FILE* standardOutput);
    /// Removes a file that Prepare made when nothing was saved into it.
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Makes sure, before anything is recorded, that the output can be written and that nothing is replaced
    /// unasked. \throws UsageError, HostError
    void Prepare();
    /// Refuses to be the plug-in's capture file, whose bytes would be destroyed. \param captures its path,
    /// whether it is there yet or not \throws UsageError
    void KeepApartFrom(const std::string& captures);
    /// What sees the bytes while they come; null for a file on a disk.
    CaptureObserver* Observer() { return IsStream() ? this : nullptr; }
    /// Saves a stopped capture. \param padded bytes of the capture in whole samples \param most bytes to
    /// save, rounded up to a sample; absent: all. \throws HostError that says what is missing; what the
    /// plug-in throws
    void Save(CChannelDriver& driver, uint64_t padded, std::optional<uint64_t> most);
    /// Makes the next output of the same recording ready: a TDF file and a stream go on, a raw file gets a
    /// numbered name of its own. \throws UsageError, HostError
    void NextPart();

    const std::string& Name() const { return name; }
    bool Raw() const { return raw; }
    bool IsStream() const { return kind != Kind::File; }
    bool IsStandardOutput() const { return kind == Kind::StandardOutput; }
    /// Whether the reader of a stream has closed it.
    bool ReaderHasGone() const { return readerGone; }
    /// Whether a stream takes no more for another reason, which FinishStream tells.
    bool StreamHasFailed() const { return !streamFailure.empty(); }
    /// Gives a stream the number of bytes that may still go into it.
    void LimitStream(std::optional<uint64_t> bytes) { streamLeft = bytes; }
    /// Ends a stream. \return what to tell when something of it could not be written, else empty
    std::string FinishStream();

  private:
    enum class Kind { File, Device, StandardOutput };

    void Take(std::span<const uint8_t> bytes) override;
    void NoteStreamFailure();
    void OpenDevice();
    void PrepareFile();
    void RefuseWhatIsThere() const;
    void BeginTdf();
    void CheckSaved(uint64_t bytes);
    void CutTo(uint64_t bytes);

    Kind kind;
    std::string name;
    std::string captureFile;  ///< the plug-in's; empty: not known yet
    std::string firstName;    ///< the name of part 1
    uint32_t part = 1;
    bool raw;
    bool force;
    std::FILE* stream = nullptr;  ///< of standard output or a device; the latter is closed with the object
    std::optional<uint64_t> streamLeft;
    std::string streamFailure;
    bool readerGone = false;
    uint64_t sizeBefore = 0;  ///< of a TDF file, with its header
    bool made = false;        ///< by Prepare, and nothing is in it yet
};

}  // namespace Korr::Plim::Trace::Tracehost
