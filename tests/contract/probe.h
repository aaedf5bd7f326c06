#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// The far end of a serial port under test. One program of the contract test is built with each body of the
/// port, and with a probe that fits it.
class Probe {
  public:
    /// A freshly plugged one; null, with a reason printed, when there can be none.
    static std::unique_ptr<Probe> Plug();
    virtual ~Probe() = default;

    /// COM port number of the port.
    virtual uint32_t PortNumber() const = 0;
    /// Sends bytes to the port; returns when they are under way.
    virtual void Send(const std::string& bytes) = 0;
    /// Goes away, as when a probe is pulled out.
    virtual void Unplug() = 0;
    /// Whether the platform lets reads fail from then on.
    virtual bool UnpluggingIsSeen() const { return true; }
};
