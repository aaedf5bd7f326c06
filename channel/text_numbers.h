#pragma once

#include <cstdint>
#include <string>

/// \file
/// Numbers in texts that users wrote. Every text has one defined result, the same on all platforms and in
/// every locale: leading blanks are skipped, reading stops at the first character that does not belong to the
/// number, and a text without a number gives 0.

namespace Korr::Plim::Trace::Tarnel {

/// Decimal integer with an optional sign; beyond the range the nearest value of it.
int32_t ParseInteger(const char* text);

/// Unsigned decimal integer with an optional sign, as a conversion to 32 bits: "-1" is 4294967295. A
/// magnitude above 4294967295 gives 4294967295, whatever its sign.
uint32_t ParseUnsigned(const char* text);

/// Decimal ("4.8e7") or hexadecimal ("0x1p4") number, "inf" or "nan" with an optional sign; the decimal point
/// is a full stop. Too large gives infinity, too small gives 0.
double ParseReal(const char* text);

/// General notation with 6 significant digits: 48000000 is "4.8e+07", 115200 is "115200".
std::string FormatReal(double value);

}  // namespace Korr::Plim::Trace::Tarnel
