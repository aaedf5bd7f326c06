#include "tracehost/json_output.h"

#include <CLI/CLI.hpp>

namespace Korr::Plim::Trace::Tracehost {

void AddJsonFlag(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "Print one JSON object instead of text");
}

Json OrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

void PrintJson(std::FILE* output, const Json& object) {
    const std::string text = object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    std::fwrite(text.data(), 1, text.size(), output);
}

}  // namespace Korr::Plim::Trace::Tracehost
