#pragma once

#include <stdexcept>

namespace Korr::Plim::Trace::Tracehost {

/// Exit statuses of the program.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;  ///< the plug-in refused or failed, or something around it did
inline constexpr int kWrongUsage = 2;

/// A failure of tracehost itself, not of the plug-in: what went wrong and the way out.
class HostError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What the user asked for cannot be understood or carried out as asked (exit status 2).
class UsageError : public HostError {
  public:
    using HostError::HostError;
};

}  // namespace Korr::Plim::Trace::Tracehost
