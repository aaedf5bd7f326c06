#include "receiver/device_identifier_access.h"

#include <memory>
#include <utility>
#include <vector>

#include "receiver/host_library.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

/// Keeps a library loaded until the process ends. Never destroyed, so that nothing is unloaded while the
/// plug-in itself is.
void KeepForever(std::unique_ptr<KORR_PLIM::uDll> library) {
    static auto* const kept = new std::vector<std::unique_ptr<KORR_PLIM::uDll>>;
    kept->push_back(std::move(library));
}

}  // namespace

DeviceIdentifierAccess::DeviceIdentifierAccess()
    : library(LoadHostLibrary("DeviceIdentifier")),
      create(FindEntry<CreateDeviceIdentifierFunction>(*library, "CreateDeviceIdentifier")),
      destroy(FindEntry<DestroyDeviceIdentifierFunction>(*library, "DestroyDeviceIdentifier")) {
    if (create == nullptr || destroy == nullptr) ThrowError("Missing exports in device identifier dll");
    try {
        identifier = create();
    } catch (...) {
        // The exception on its way to the host is the library's: its type and code must not go before it.
        KeepForever(std::move(library));
        throw;
    }
    if (identifier == nullptr) ThrowError("Internal error, failed to create device identifier");
}

void DeviceIdentifierAccess::Release() {
    // Forgotten first: an identifier whose destruction failed is not given back a second time.
    DeviceIdentifier* const released = std::exchange(identifier, nullptr);
    if (released != nullptr) destroy(released, 0);
}

}  // namespace Korr::Plim::Trace::Tarnel
