#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

#include "source_utilities/printf_check.h"
#include "source_utilities/uFile.h"
#include "source_utilities/uMutex.h"

namespace KORR_PLIM {

/// Kinds of log lines; the letters stand at the head of a line. Bits may be combined.
enum LogMask : uint32_t {
    kLogMessage = 1,   ///< "M", ordinary
    kLogWarning = 2,   ///< "W"
    kLogFunction = 4,  ///< "F", function traces
    kLogAll = 8,       ///< "A"
    kLogError = 16,    ///< "E"
};

/// Writes lines to one text file, and to the console and the debugger when told to. One line is written as a
/// whole under the logger's lock. The file is opened with the first line.
class uLogger {
  public:
    /// \param path full path of the log file \param append true: mode "a+", false: "w+"
    uLogger(const std::string& path, bool append);
    virtual ~uLogger();
    uLogger(const uLogger&) = delete;
    uLogger& operator=(const uLogger&) = delete;

    /// Writes one line: head, time stamp, message, exactly one line feed. A line of any length comes out
    /// whole. Any thread.
    /// \param mask LogMask bits; 0 writes nothing
    /// \param timeFormat 0 none, 1 date, 2 time, 3 both; other values as 0
    void Log(uint32_t mask, uint32_t timeFormat, const char* format, ...) KORR_PRINTF(4, 5);
    void LogV(uint32_t mask, uint32_t timeFormat, const char* format, std::va_list arguments)
        KORR_PRINTF(4, 0);

    /// Switches the logger on or off; off also closes the file, which the next line then opens again in the
    /// same mode. \return the previous value
    bool SetEnabled(bool on);
    /// Also prints each line on standard output.
    void SetConsole(bool on) { toConsole = on; }
    /// Also hands each line to the debugger.
    void SetDebugger(bool on) { toDebugger = on; }
    /// 0 drops every line.
    void SetMaskFilter(uint32_t filter) { maskFilter = filter; }

  private:
    static constexpr std::size_t kBufferSize = 4096;

    std::size_t WriteHead(uint32_t mask, uint32_t timeFormat);
    void WriteLine(const char* line);

    uFile file;
    std::string path;
    std::atomic<bool> enabled{true};
    std::atomic<bool> toConsole{false};
    std::atomic<bool> toDebugger{false};
    bool append;
    bool fileOpen = false;
    uMutex lock;  ///< one whole line
    std::unique_ptr<char[]> buffer;
    std::atomic<uint32_t> maskFilter{31};
};

}  // namespace KORR_PLIM
