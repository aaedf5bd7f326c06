#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "tracehost/exit_status.h"

namespace Korr::Plim::Trace::Tracehost {

/// A failure of tracehost itself, not of the plug-in: what went wrong and the way out.
class HostError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A refusal of the plug-in, in its own words: what it threw must not outlive it.
class PluginError : public HostError {
  public:
    /// \param text the plug-in's message, shown as it stands
    /// \param furtherWords what tracehost knows about it, shown on a line of its own; may be empty
    explicit PluginError(const std::string& text, std::string furtherWords = {})
        : HostError(text), further(std::move(furtherWords)) {}
    const std::string& Further() const { return further; }

  private:
    std::string further;
};

/// The reader of standard output closed it, as "head" does when it has seen enough: nobody has to be told.
class ReaderEnded : public HostError {
  public:
    using HostError::HostError;
};

/// What the user asked for cannot be understood or carried out as asked (exit status 2).
class UsageError : public HostError {
  public:
    using HostError::HostError;
};

}  // namespace Korr::Plim::Trace::Tracehost
