#include "source_utilities/debugger_output.h"

#include <windows.h>

namespace KORR_PLIM::platform {

void WriteToDebugger(const char* text) { OutputDebugStringA(text); }

}  // namespace KORR_PLIM::platform
