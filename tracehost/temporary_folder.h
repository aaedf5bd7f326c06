#pragma once

#include <string>

#include "tracehost/folder_hold.h"

namespace Korr::Plim::Trace::Tracehost {

/// A folder of this process for files that nobody needs afterwards; removed with its content. One whose
/// process was killed is removed by the next process that makes one.
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
    /// Makes a folder in it and returns its path. \throws HostError
    std::string MakeFolder(const std::string& name) const;

  private:
    std::string folder;
    FolderHold hold;
};

}  // namespace Korr::Plim::Trace::Tracehost
