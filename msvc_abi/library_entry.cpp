// The entry of a library: its static objects live from before DllMain's first call until after its last.
#include "module_start.h"

namespace {
constexpr unsigned long kProcessDetach = 0;
constexpr unsigned long kProcessAttach = 1;
}  // namespace

extern "C" int DllMain(void* module, unsigned long reason, void* reserved);

extern "C" int _DllMainCRTStartup(void* module, unsigned long reason, void* reserved) {
    if (reason == kProcessAttach && !StartModule()) return 0;
    const int result = DllMain(module, reason, reserved);
    if (reason == kProcessDetach || (reason == kProcessAttach && result == 0)) EndModule();
    return result;
}
