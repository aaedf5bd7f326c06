#pragma once

#include "tests/abi/strings/string_side.h"

/// Told each expectation. \param holds false: it was not met \param what names the expectation
/// \param length of the text at hand, in bytes
using ExchangeReport = void (*)(bool holds, const char* what, size_t length);

/// Has each side make, read, change, copy, move, return and destroy strings of the other side, at the lengths
/// where the host's string changes how it holds its text, up to 1 MiB.
void ExchangeStrings(const StringSide& one, const StringSide& other, ExchangeReport report);
