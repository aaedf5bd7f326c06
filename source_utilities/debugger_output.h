#pragma once

namespace KORR_PLIM::platform {

/// Seam: hands a line to an attached debugger (OutputDebugStringA); standard error where there is no such
/// channel.
void WriteToDebugger(const char* text);

}  // namespace KORR_PLIM::platform
