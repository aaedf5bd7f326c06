// The entry of a library: its static objects live from before DllMain's first call until after its last.
#include "module_start.h"

namespace {
constexpr unsigned long kProcessDetach = 0;
constexpr unsigned long kProcessAttach = 1;
}  // namespace

extern "C" {
int DllMain(void* module, unsigned long reason, void* reserved);

/// For libraries without a DllMain.
int tarnel_no_dll_main(void* /*module*/, unsigned long /*reason*/, void* /*reserved*/) { return 1; }
#pragma comment(linker, "/alternatename:DllMain=tarnel_no_dll_main")

int _DllMainCRTStartup(void* module, unsigned long reason, void* reserved) {
    if (reason == kProcessAttach && !StartModule()) return 0;
    const int result = DllMain(module, reason, reserved);
    if (reason == kProcessDetach || (reason == kProcessAttach && result == 0)) {
        EndModule();
        const bool processEnds = reason == kProcessDetach && reserved != nullptr;
        if (!processEnds) FreeThreadLocals();
    }
    return result;
}
}
