#pragma once

/// \file
/// What the scripted locks noticed. They lock for real and cannot fail.

namespace fakes::critical_section {

/// Locks of this process that went while somebody held them.
int DestroyedWhileHeld();

}  // namespace fakes::critical_section
