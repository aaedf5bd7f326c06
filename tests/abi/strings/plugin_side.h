#pragma once

#include "tests/abi/strings/string_side.h"

#if defined(_WIN32) && defined(TARNEL_STRING_LIBRARY)
#define TARNEL_STRING_EXPORT __declspec(dllexport)
#else
#define TARNEL_STRING_EXPORT
#endif

/// The plug-in's side: HostString.
extern "C" TARNEL_STRING_EXPORT const StringSide* PluginStrings();
