#include "source_utilities/debugger_output.h"

#include <cstdio>

namespace KORR_PLIM::platform {

void WriteToDebugger(const char* text) { std::fputs(text, stderr); }

}  // namespace KORR_PLIM::platform
