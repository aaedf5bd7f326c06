#pragma once

#include <string_view>

#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// Adds a text as a JSON string with its quotes. Any bytes will do: what is no UTF-8 becomes U+FFFD.
void AddJsonString(RowText& row, std::string_view text);

}  // namespace Korr::Plim::Trace::Exports
