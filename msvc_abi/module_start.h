#pragma once

extern "C" {
/// Makes the module's static objects. \return false when the C runtime refuses
bool StartModule();
/// Ends them, the latest first.
void EndModule();
}
