#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tracehost/plugin.h"
#include "tracehost/target_adapters.h"

namespace Korr::Plim::Trace::Tracehost {

/// A channel driver as the host remembers it.
struct HostedDriver {
    std::string name;  ///< "d1", "d2", … in the order of allocation
    std::string cpuName;
    CChannelDriver* driver;         ///< the plug-in's; dangling once released
    TargetAdapters::Owned adapter;  ///< outlives the driver
    bool released = false;
};

/// One host: the plug-in, its receiver and the drivers allocated from it. Exceptions of the plug-in pass
/// through unchanged.
class HostSession {
  public:
    /// \param pluginPath see Library \throws HostError
    explicit HostSession(const std::string& pluginPath) : plugin(pluginPath) {}
    /// Gives back every reference to the receiver that Destroy did not.
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    std::string PluginFile() const { return plugin.File(); }
    /// CreateRcvr. \return the receiver's name: "r1", "r2", …; the same for the same living receiver
    std::string Create();
    /// DestroyRcvr with the last created pointer, living or not. \return its name
    std::string Destroy();
    /// The living receiver. \throws HostError when there is none
    CReceiver& Receiver();

    /// AllocateChannelDriver. \param cpuName may be null, the plug-in refuses it
    HostedDriver& Allocate(const char* cpuName, uint32_t cpuId, uint32_t channel);
    /// ReleaseChannelDriver of the latest living driver under that name, else of the latest released one
    /// (which the plug-in refuses). \throws HostError when none was ever allocated
    std::string Release(const std::string& cpuName);
    /// The latest living driver under that name. \throws HostError when there is none
    HostedDriver& Find(const std::string& cpuName);
    /// The name of a driver that the plug-in gave; null for a null pointer.
    const std::string* NameOf(const CChannelDriver* driver) const;
    /// 1 more than the drivers that live.
    uint32_t NextChannel() const;

  private:
    HostedDriver* Latest(const std::string& cpuName, bool released);
    void ForgetReceiver();

    Plugin plugin;
    TargetAdapters adapters;
    CReceiver* receiver = nullptr;  ///< the last created; dangling when no reference is left
    uint32_t references = 0;
    uint32_t receiversMade = 0;
    uint32_t driversMade = 0;
    std::vector<HostedDriver> drivers;
};

}  // namespace Korr::Plim::Trace::Tracehost
