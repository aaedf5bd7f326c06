#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: a mark in a folder that somebody lives in it. It ends with the process that made it, however that
/// ends.
class FolderHold {
  public:
    FolderHold() = default;
    ~FolderHold();
    FolderHold(const FolderHold&) = delete;
    FolderHold& operator=(const FolderHold&) = delete;

    /// Marks an existing folder that nobody has marked before. \return false when that failed
    bool Take(const std::string& folder);
    /// Takes the mark away, so that the folder can be removed.
    void Release();
    /// Whether the folder has a mark whose process lives no more.
    static bool IsLeftBehind(const std::string& folder);

  private:
    static constexpr std::intptr_t kNone = -1;
    std::intptr_t handle = kNone;
};

}  // namespace Korr::Plim::Trace::Tracehost
