#pragma once

#include <cstdint>

#include "source_utilities/printf_check.h"

/// \file
/// How modules write to the process's log: with time format 2, only when the level reaches the line's
/// threshold. A call below its level formats nothing and takes no lock. The first argument is the module tag,
/// the format's first "%s".

namespace KORR_PLIM {

inline constexpr int32_t kLogOrdinary = 1;  ///< ordinary and error lines
inline constexpr int32_t kLogChatty = 2;    ///< chatty lines
inline constexpr int32_t kLogTrace = 3;     ///< function traces

/// Writes an ordinary line (mask M) when the level is at least `threshold`.
void LogMessage(int32_t threshold, const char* format, ...) KORR_PRINTF(2, 3);
/// Writes an error line (mask E) when the level is at least 1. Never throws: a line that cannot be built is
/// dropped.
void LogError(const char* format, ...) KORR_PRINTF(1, 2);

}  // namespace KORR_PLIM
