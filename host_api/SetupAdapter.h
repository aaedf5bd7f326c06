#pragma once

#include <HostString.h>

namespace Korr::Plim::Trace {

/// The host's set-up adapter, made by CreateSetupAdapter and given back with DestroySetupAdapter. All
/// operations are called [plug-in]. Only slots 0 and 9 are known; the others keep their places.
class SetupAdapter {
  public:
    /// Must succeed before anything else is asked. \param errorText out: why it failed
    virtual bool Initialise(HostString& errorText) = 0;
    ///@{
    /// Unknown, and never called.
    virtual void Reserved1() = 0;
    virtual void Reserved2() = 0;
    virtual void Reserved3() = 0;
    virtual void Reserved4() = 0;
    virtual void Reserved5() = 0;
    virtual void Reserved6() = 0;
    virtual void Reserved7() = 0;
    virtual void Reserved8() = 0;
    ///@}
    /// Path of the target set-up data file of a CPU, written to `path` and returned. May throw.
    virtual HostString& GetSetupFile(const HostString& cpuName, HostString& path) = 0;

  protected:
    ~SetupAdapter() = default;
};

}  // namespace Korr::Plim::Trace
