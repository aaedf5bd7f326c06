#pragma once

#include <memory>

#include "host_api/DeviceIdentifier.h"
#include "host_api/entry_points.h"
#include "source_utilities/uDll.h"

namespace Korr::Plim::Trace::Tarnel {

/// The host's library "DeviceIdentifier" and the one device identifier made by it.
class DeviceIdentifierAccess {
  public:
    /// Loads the library and makes the identifier. \throws cPelkitError, and what the library throws; the
    /// library then stays loaded
    DeviceIdentifierAccess();

    /// The identifier; null after Release.
    DeviceIdentifier* Get() const { return identifier; }
    /// Gives the identifier back, once; the library stays loaded while this object lives. Lets out what the
    /// library throws.
    void Release();

  private:
    DeviceIdentifier* identifier = nullptr;
    std::unique_ptr<KORR_PLIM::uDll> library;
    CreateDeviceIdentifierFunction create;
    DestroyDeviceIdentifierFunction destroy;
};

}  // namespace Korr::Plim::Trace::Tarnel
