#include "source_utilities/local_time.h"

#include <windows.h>

namespace KORR_PLIM::platform {

LocalTime ReadLocalTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,          now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds, now.wDayOfWeek};
}

}  // namespace KORR_PLIM::platform
