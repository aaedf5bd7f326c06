#pragma once

#include <cstdint>

#include "host_api/CChannelDriver.h"
#include "host_api/CTargetStateNotification.h"
#include "host_api/TargetAdapter.h"

namespace Korr::Plim::Trace {

/// The process's trace receiver, as the host holds it. Made by CreateRcvr, given back through DestroyRcvr;
/// never deleted by the host itself. It owns the channel drivers that it allocates.
class CReceiver : public CTargetStateNotification {
  public:
    /// Number of allocated channel drivers. [host thread]
    virtual uint32_t GetNumCpus() = 0;
    /// Copies the CPU name of driver i, in allocation order, into buffer i. The caller owns the buffers and
    /// must make each large enough; null does nothing. [host thread]
    virtual void GetCpuNames(char** buffers) = 0;
    /// Makes the channel driver of a CPU. [host thread]
    /// \param cpuName full name, for example "board/cpu"; copied; null is refused. The part behind "/" of two
    /// parts, otherwise the whole name, is part of the capture file's name, separators included; a name that
    /// leads out of the data folder is taken, but its recordings fail (see StaysInDataFolder)
    /// \param targetAdapter not owned; must outlive the driver; null is refused
    /// \param cpuId passed to every call of the target adapter
    /// \param channelIndex stored, not interpreted
    /// \return the driver, owned by the receiver until ReleaseChannelDriver; never null
    /// \throws cPelkitError when probe or device do not support SWO
    virtual CChannelDriver* AllocateChannelDriver(const char* cpuName, TargetAdapter* targetAdapter,
                                                  uint32_t cpuId, uint32_t channelIndex) = 0;
    /// Destroys a driver; null does nothing. [host thread]
    /// \throws cPelkitError for a pointer that is no driver of this receiver
    virtual void ReleaseChannelDriver(CChannelDriver* driver) = 0;
    /// Always 1. [host thread]
    virtual uint32_t ConstantQueryA() = 0;
    /// Not supported. [host thread] \throws cPelkitError always
    virtual void* GetDataSource(void* request) = 0;
    /// The first driver, in allocation order, with exactly this CPU name, or null; a null name gives null.
    /// Not owned. [host thread]
    virtual CChannelDriver* GetChannelDriver(const char* cpuName) = 0;
    /// Number of drivers plus 1. [host thread]
    virtual uint32_t GetNextAvailableChannel() = 0;
    /// Always 0. [host thread]
    virtual uint32_t ConstantQueryB(uint32_t argument) = 0;
    /// Ignored. [host thread]
    virtual void ProgressNotice() = 0;
    /// Always 0. [host thread]
    virtual uint32_t ConstantQueryC() = 0;
};

}  // namespace Korr::Plim::Trace
