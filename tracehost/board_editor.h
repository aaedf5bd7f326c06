#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// Splits a key at its dots: "results.EnableTpiu" names EnableTpiu in the object "results". A backslash
/// before a dot or a backslash makes it part of the name.
std::vector<std::string> SplitBoardKey(const std::string& key);

/// Sets one key of a board; objects on the way are made. The value is taken as JSON when it is JSON, else as
/// text; below "memory", "device_information" and "device_identification", which hold texts alone, it is
/// always taken as text. The JSON value null removes the key. \throws HostError for an empty name in the key,
/// and when something on the way is no object
void EditBoard(nlohmann::ordered_json& board, const std::string& key, const std::string& value);

/// Edits the board file that the environment names: reads it, sets the key, checks the whole board and
/// replaces the file in one step. \throws HostError; the file is then unchanged
void EditCurrentBoard(const std::string& key, const std::string& value);

}  // namespace Korr::Plim::Trace::Tracehost
