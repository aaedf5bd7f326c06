#pragma once

#include <vector>

#include "source_utilities/local_time.h"

/// \file
/// Controls of the scripted clock. It cannot fail.

namespace fakes::local_time {

/// 16 November 2026, a Monday, 12:34:56.007.
KORR_PLIM::platform::LocalTime UsualTime();
/// Stands at UsualTime, no readings.
void Reset();
/// The time that each reading gives from now on.
void Set(const KORR_PLIM::platform::LocalTime& time);
/// The next readings, one after the other; afterwards the last one stays.
void SetReadings(const std::vector<KORR_PLIM::platform::LocalTime>& times);
/// Readings so far.
int Readings();

}  // namespace fakes::local_time
