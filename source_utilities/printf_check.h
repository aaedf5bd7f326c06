#pragma once

#include <cstdio>

/// Lets the compiler check the arguments of a printf-like member or function; empty where the compiler
/// cannot. Positions count from 1, a member's hidden object argument included.
#if defined(__GNUC__)
#define KORR_PRINTF(formatPosition, firstArgument) \
    __attribute__((format(printf, formatPosition, firstArgument)))
#else
#define KORR_PRINTF(formatPosition, firstArgument)
#endif
