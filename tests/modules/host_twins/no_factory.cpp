#include "tests/modules/module_export.h"

/// "ICETargetAdapter" with what a host of its own needs, but without the plug-in's entry point.
TEST_MODULE_EXPORT void* CreateTargetAdapter(const char* /*cpuName*/, unsigned /*cpuId*/) { return nullptr; }
TEST_MODULE_EXPORT void DestroyTargetAdapter(void* /*adapter*/) {}
