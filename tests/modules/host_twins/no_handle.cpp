#include "tests/modules/module_export.h"

/// "ICETargetAdapter" whose accessor is there, but not stored where the caller looks for it.
TEST_MODULE_EXPORT void* NewTargetAdapter(const char* /*cpuName*/, void** handle) {
    static char adapter = 0;
    *handle = nullptr;
    return &adapter;
}
TEST_MODULE_EXPORT void* CreateTargetAdapter(const char* /*cpuName*/, unsigned /*cpuId*/) { return nullptr; }
TEST_MODULE_EXPORT void DestroyTargetAdapter(void* /*adapter*/) {}
