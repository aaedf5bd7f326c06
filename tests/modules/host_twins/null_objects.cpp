#include "tests/modules/module_export.h"

/// Entry points of all of the host's libraries; what they make is null.
TEST_MODULE_EXPORT void* CreateSetupAdapter() { return nullptr; }
TEST_MODULE_EXPORT void DestroySetupAdapter(void* /*adapter*/) {}
TEST_MODULE_EXPORT void* CreateDeviceIdentifier() { return nullptr; }
TEST_MODULE_EXPORT void DestroyDeviceIdentifier(void* /*identifier*/, unsigned /*flag*/) {}
TEST_MODULE_EXPORT void* NewTargetAdapter(const char* /*cpuName*/, void** handle) {
    *handle = nullptr;
    return nullptr;
}
