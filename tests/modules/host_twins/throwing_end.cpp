#include <stdexcept>

#include "tests/modules/module_export.h"

/// "DeviceIdentifier" that fails when it is to end.
TEST_MODULE_EXPORT void* CreateDeviceIdentifier() {
    static char identifier = 0;
    return &identifier;
}
TEST_MODULE_EXPORT void DestroyDeviceIdentifier(void* /*identifier*/, unsigned /*flag*/) {
    throw std::runtime_error("device identifier");
}
