#pragma once

// The compiler has this function built in, and refuses Wine's inline body.
#define _InterlockedCompareExchange128 tarnel_InterlockedCompareExchange128
#include_next <winnt.h>
#undef _InterlockedCompareExchange128
