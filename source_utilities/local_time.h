#pragma once

#include <cstdint>

namespace KORR_PLIM::platform {

/// A reading of the local clock.
struct LocalTime {
    int32_t year = 0;
    int32_t month = 0;  ///< 1 to 12
    int32_t day = 0;    ///< 1 to 31
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
    int32_t millisecond = 0;
    int32_t dayOfWeek = 0;  ///< 0 is Sunday
};

/// Seam: reads the local clock. All fields are 0 when the platform cannot tell the time.
LocalTime ReadLocalTime();

}  // namespace KORR_PLIM::platform
