#pragma once

/// Marks an exported function of a simulated host library.
#if defined(_WIN32)
#define SIMULATED_EXPORT extern "C" __declspec(dllexport)
#else
#define SIMULATED_EXPORT extern "C" __attribute__((visibility("default")))
#endif
