#pragma once

#include <HostString.h>
#include <cstdint>

namespace Korr::Plim::Trace {

/// One module of a device: register names with their addresses. Owned by the device information.
class DeviceModule {
  public:
    /// Address of a register as hexadecimal text ("400FE060", with or without "0x"); empty for an unknown
    /// name. [plug-in]
    virtual HostString GetRegisterAddress(const char* registerName) = 0;

  protected:
    ~DeviceModule() = default;
};

/// What is known of a device. Owned by the device identifier; valid until DestroyDeviceIdentifier.
class DeviceInformation {
  public:
    /// A module by name, for example "MOD_SYSCLK"; null when the device has none of that name.
    /// [plug-in]
    virtual DeviceModule* GetModule(const char* moduleName) = 0;

  protected:
    ~DeviceInformation() = default;
};

/// The host's device identifier, made by CreateDeviceIdentifier and given back with
/// DestroyDeviceIdentifier(handle, 0). All operations are called [plug-in]. Only slots 10 and 11 are known;
/// the others keep their places.
class DeviceIdentifier {
  public:
    ///@{
    /// Unknown, and never called.
    virtual void Reserved0() = 0;
    virtual void Reserved1() = 0;
    virtual void Reserved2() = 0;
    virtual void Reserved3() = 0;
    virtual void Reserved4() = 0;
    virtual void Reserved5() = 0;
    virtual void Reserved6() = 0;
    virtual void Reserved7() = 0;
    virtual void Reserved8() = 0;
    virtual void Reserved9() = 0;
    ///@}
    /// Whether (identification AND mask) = (value AND mask) holds for the connected device.
    virtual bool Match(uint32_t value, uint32_t mask) = 0;
    /// What is known of the device by this name (the CPU name); null when nothing is.
    virtual DeviceInformation* GetDeviceInformation(const char* deviceName) = 0;

  protected:
    ~DeviceIdentifier() = default;
};

}  // namespace Korr::Plim::Trace
