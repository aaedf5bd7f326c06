#pragma once

/// Marks an entry point of a test module, exported by its plain name.
#if defined(_WIN32)
#define TEST_MODULE_EXPORT extern "C" __declspec(dllexport)
#else
#define TEST_MODULE_EXPORT extern "C" __attribute__((visibility("default")))
#endif
