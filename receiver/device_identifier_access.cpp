#include "receiver/device_identifier_access.h"

#include <utility>

#include "receiver/host_library.h"

namespace Korr::Plim::Trace::Tarnel {

DeviceIdentifierAccess::DeviceIdentifierAccess()
    : library(LoadHostLibrary("DeviceIdentifier")),
      create(FindEntry<CreateDeviceIdentifierFunction>(*library, "CreateDeviceIdentifier")),
      destroy(FindEntry<DestroyDeviceIdentifierFunction>(*library, "DestroyDeviceIdentifier")) {
    if (create == nullptr || destroy == nullptr) {
        ThrowReceiverError("Missing exports in device identifier dll");
    }
    identifier = create();
    if (identifier == nullptr) ThrowReceiverError("Internal error, failed to create device identifier");
}

void DeviceIdentifierAccess::Release() {
    // Forgotten first: an identifier whose destruction failed is not given back a second time.
    DeviceIdentifier* const released = std::exchange(identifier, nullptr);
    if (released != nullptr) destroy(released, 0);
}

}  // namespace Korr::Plim::Trace::Tarnel
