#pragma once

#include "tests/abi/strings/string_side.h"

/// The host's side: its compiler's own std::string.
extern "C" const StringSide* HostStrings();
