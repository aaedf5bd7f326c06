#pragma once

extern "C" {
/// Makes the module's static objects. \return false when the C runtime refuses
bool StartModule();
/// Ends them, the latest first.
void EndModule();
/// Gives back what all threads have in thread-local variables of the module, whose code ends with it.
void FreeThreadLocals();
}
