#pragma once

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// A folder of this process for files that nobody needs afterwards; removed with its content.
class TemporaryFolder {
  public:
    /// \throws HostError
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Path of a file in it.
    std::string Path(const std::string& name) const;
    /// Writes a file and returns its path. \throws HostError
    std::string Write(const std::string& name, const std::string& text) const;

  private:
    std::string folder;
};

}  // namespace Korr::Plim::Trace::Tracehost
