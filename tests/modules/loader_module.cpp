#include "source_utilities/dynamic_library.h"
#include "tests/modules/module_export.h"

// Loads by name as the plug-in does, out of a folder that is not the program's. The caller unloads.
TEST_MODULE_EXPORT KORR_PLIM::platform::LibraryHandle TarnelTestLoad(const char* name) {
    return KORR_PLIM::platform::LoadDynamicLibrary(name);
}
