#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Viewer {

/// How a stimulus port is to be shown.
struct PortChoice {
    uint8_t port = 0;
    std::string type;  ///< "text", "f32", as `--port-type` has them; unchecked
};

/// What a page may change about the recording that it shows. Called by any thread, several at once.
class Controls {
  public:
    virtual ~Controls() = default;
    /// Ends the recording that is being made, in good order. \return false: none is being made
    virtual bool Stop() = 0;
    /// Shows ports so from soon on, to everybody; the others as before. \throws BadQuestion when a type is
    /// none; then nothing changes
    virtual void ShowPorts(const std::vector<PortChoice>& choices) = 0;
};

}  // namespace Korr::Plim::Trace::Viewer
