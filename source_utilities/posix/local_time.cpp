#include "source_utilities/local_time.h"

#include <ctime>

namespace KORR_PLIM::platform {

LocalTime ReadLocalTime() {
    constexpr long kNanosecondsPerMillisecond = 1'000'000;
    std::timespec now{};
    std::tm local{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || localtime_r(&now.tv_sec, &local) == nullptr) {
        return {};
    }
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int32_t>(now.tv_nsec / kNanosecondsPerMillisecond),
            local.tm_wday};
}

}  // namespace KORR_PLIM::platform
