#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tracehost/line_settings.h"

namespace Korr::Plim::Trace::Tracehost {

/// The plug-in's log of a recording, followed line by line: it holds the platform's error numbers, which the
/// plug-in's messages leave out. When the user wants no log (KORR_TRACE_LOGGING asks for none) the plug-in is
/// given a home of its own and level 1 for the moment in which it opens its log, so that the log lands there
/// and the user's folders stay as they are.
class RecordingLog {
  public:
    /// \param privateHome existing folder for a log that the user did not ask for
    explicit RecordingLog(std::string privateHome) : home(std::move(privateHome)) {}

    /// To be called before the plug-in's first CreateRcvr.
    void BeforeTheReceiver();
    /// To be called right after it, also when it failed.
    void AfterTheReceiver();

    /// The texts of the error lines since the last call: "Tarnel_UARTCollector: Reading COM port failed with
    /// error code 5". Lines of other programs that share the log (one debug client, several processes) come
    /// as well. Empty, too, when there is no log.
    std::vector<std::string> NewErrors();
    /// The settings of the last line that was set up since the receiver was made; absent without a log.
    std::optional<LineSettings> Settings() const;
    /// Bytes of one look; the rest comes with the next. Of a log of tracehost's own no more than twice as
    /// much stays on the disk, where the platform can give room back.
    static constexpr std::size_t kMostAtOnce = std::size_t{1} << 20;
    /// Whether a log is there.
    bool IsKept() const { return !file.empty(); }

  private:
    void FindFile(const std::string& folder);
    std::string ReadFrom(uint64_t offset) const;
    void ForgetWhatWasRead();

    std::string home;
    bool isPrivate = false;
    std::string userHome;  ///< the variables as they were, empty: unset
    std::string userLevel;
    std::vector<std::string> userFolders;
    std::string file;                 ///< path of the log, empty: none
    uint64_t start = 0;               ///< length of the log when the receiver had been made
    uint64_t forgetAt = kMostAtOnce;  ///< position from which on a private log's read part is forgotten
    uint64_t position = 0;            ///< of the first byte that was not looked at
};

}  // namespace Korr::Plim::Trace::Tracehost
