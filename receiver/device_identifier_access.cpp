#include "receiver/device_identifier_access.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "receiver/host_library.h"
#include "source_utilities/on_failure.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

/// Keeps a library loaded until the process ends. Never destroyed, so that nothing is unloaded while the
/// plug-in itself is.
void KeepForever(std::unique_ptr<KORR_PLIM::uDll> library) noexcept {
    try {
        static auto* const kept = new std::vector<std::unique_ptr<KORR_PLIM::uDll>>;
        kept->reserve(kept->size() + 1);
        kept->push_back(std::move(library));
    } catch (const std::bad_alloc&) {
        static_cast<void>(library.release());
    }
}

}  // namespace

DeviceIdentifierAccess::DeviceIdentifierAccess()
    : library(LoadHostLibrary("DeviceIdentifier")),
      create(FindEntry<CreateDeviceIdentifierFunction>(*library, "CreateDeviceIdentifier")),
      destroy(FindEntry<DestroyDeviceIdentifierFunction>(*library, "DestroyDeviceIdentifier")) {
    if (create == nullptr || destroy == nullptr) ThrowError("Missing exports in device identifier dll");
    // An exception on its way to the host is the library's: its type and code must not go before it.
    KORR_PLIM::OnFailure keepLibrary([this] { KeepForever(std::move(library)); });
    identifier = create();
    keepLibrary.Dismiss();
    if (identifier == nullptr) ThrowError("Internal error, failed to create device identifier");
}

void DeviceIdentifierAccess::Release() {
    // Forgotten first: an identifier whose destruction failed is not given back a second time.
    DeviceIdentifier* const released = std::exchange(identifier, nullptr);
    if (released != nullptr) destroy(released, 0);
}

}  // namespace Korr::Plim::Trace::Tarnel
