#pragma once

#include <cstdint>
#include <string>

#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// The file that a recording is saved into.
class OutputFile {
  public:
    /// \param wanted names the file; without a name it is "swo-<date>-<time>.tdf" or ".bin" in the working
    /// folder
    explicit OutputFile(const RecordRequest& wanted);
    /// Removes the file when Prepare made it and nothing was saved into it.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Makes sure, before anything is recorded, that the file can be written, and writes the header of a new
    /// TDF file. \throws UsageError, HostError
    void Prepare();
    /// Checks that the file holds `bytes` captured bytes after SaveFile. \throws HostError that says what is
    /// missing
    void CheckSaved(uint64_t bytes);
    const std::string& Name() const { return name; }
    /// The host's format number: 2 raw, 1 TDF.
    int32_t Format() const { return raw ? 2 : 1; }
    bool Raw() const { return raw; }

  private:
    std::string name;
    bool raw;
    uint64_t sizeBefore = 0;  ///< of a TDF file, with its header
    bool made = false;
};

}  // namespace Korr::Plim::Trace::Tracehost
