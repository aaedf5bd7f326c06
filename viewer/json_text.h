#pragma once

#include <nlohmann/json.hpp>

namespace Korr::Plim::Trace::Viewer {

using Json = nlohmann::ordered_json;

/// Bytes that are no UTF-8 become U+FFFD.
inline std::string TextOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <class Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

}  // namespace Korr::Plim::Trace::Viewer
