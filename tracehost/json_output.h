#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include "tracehost/cli_names.h"

namespace Korr::Plim::Trace::Tracehost {

using Json = nlohmann::ordered_json;

/// "--json", which makes a command print one JSON object in place of its text (docs/json.md).
void AddJsonFlag(CLI::App& command, bool& json);
/// A text, null for an empty one.
Json OrNull(const std::string& text);
/// Prints an object on a line of its own. Bytes that are no UTF-8 are replaced.
void PrintJson(std::FILE* output, const Json& object);

}  // namespace Korr::Plim::Trace::Tracehost
