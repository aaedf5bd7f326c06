#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// Tells from the threads of this process whether those live that a start of the plug-in has made: its
/// interfaces do not. One that ends by itself has stopped to read the port, whatever the reason.
class CaptureThread {
  public:
    /// To be called right before StartRecording and right after it.
    void BeforeStart();
    void AfterStart();
    /// Whether one of them lives; absent when that is not known.
    std::optional<bool> Lives() const;

  private:
    std::vector<uint64_t> before;   ///< ids; empty: not known
    std::vector<uint64_t> started;  ///< ids
};

}  // namespace Korr::Plim::Trace::Tracehost
