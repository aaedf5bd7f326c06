#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: asks the desktop to open an address in the user's browser, and waits for nothing.
class BrowserCall {
  public:
    explicit BrowserCall(const std::string& address);
    ~BrowserCall();
    BrowserCall(const BrowserCall&) = delete;
    BrowserCall& operator=(const BrowserCall&) = delete;

    /// Why no browser can be opened, as far as that is known by now; told once. Absent: nothing is known of a
    /// failure
    std::optional<std::string> Problem();

  private:
    [[maybe_unused]] std::intptr_t process = 0;  ///< that opens it, while it runs; 0: none
    std::optional<std::string> problem;
};

}  // namespace Korr::Plim::Trace::Tracehost
