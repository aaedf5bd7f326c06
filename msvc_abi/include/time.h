#pragma once

#include_next <time.h>

#ifndef TARNEL_TIMESPEC
#define TARNEL_TIMESPEC
struct timespec {
    time_t tv_sec;
    long tv_nsec;
};
#ifdef __cplusplus
extern "C" {
#endif
long* __timezone(void);
inline errno_t localtime_s(struct tm* result, const time_t* seconds) {
    return (errno_t)_localtime64_s(result, seconds);
}
#ifdef __cplusplus
}
#endif
#undef _timezone
#define _timezone (*__timezone())
#endif
