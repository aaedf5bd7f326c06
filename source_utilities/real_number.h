#pragma once

namespace KORR_PLIM::platform {

/// The real number that the text begins with: decimal or, behind "0x", hexadecimal. The decimal
/// point is a full stop whatever locale the host has set. 0 when the text begins with no number or with one
/// that is too small; infinity when it is too large. \param text not null [any thread]
double ReadRealNumber(const char* text);

}  // namespace KORR_PLIM::platform
