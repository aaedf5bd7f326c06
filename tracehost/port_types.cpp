#include "tracehost/port_types.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kForm =
    "give a port from 0 to 255 and its type (text, u8, i8, u16, i16, u32, i32 or f32), and a name for it if "
    "you like, such as 3=f32:speed";

std::optional<uint8_t> ReadPort(std::string_view text) {
    uint8_t port = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return port;
}

bool IsName(std::string_view text) {
    const auto isControl = [](char character) {
        return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
    };
    return !text.empty() && text.size() <= kLongestPortName &&
           std::none_of(text.begin(), text.end(), isControl);
}

}  // namespace

std::optional<Swo::PortType> ReadPortType(std::string_view text) {
    for (int i = 0; i < Swo::kPortTypes; ++i) {
        const auto type = static_cast<Swo::PortType>(i);
        if (Swo::PortTypeName(type) == text) return type;
    }
    return std::nullopt;
}

void AddPortFormat(Swo::PortFormats& ports, const std::string& text) {
    const std::string_view all = text;
    const std::size_t equals = std::min(all.find('='), all.size());
    const std::size_t colon = std::min(all.find(':', equals), all.size());
    const auto port = ReadPort(all.substr(0, equals));
    const auto type = ReadPortType(equals < all.size() ? all.substr(equals + 1, colon - equals - 1) : "");
    const bool isNamed = colon < all.size();
    const std::string_view name = isNamed ? all.substr(colon + 1) : "";
    if (!port || !type || (isNamed && !IsName(name))) {
        throw UsageError("--port-type \"" + text + "\": " + kForm);
    }
    if (!ports.try_emplace(*port, Swo::PortFormat{*type, std::string(name)}).second) {
        throw UsageError("--port-type \"" + text + "\": port " + std::to_string(*port) +
                         " has its type already");
    }
}

void AddPortTypes(CLI::App& command, Swo::PortFormats& ports) {
    command
        .add_option_function<std::vector<std::string>>(
            "--port-type",
            [&ports](const std::vector<std::string>& texts) {
                for (const std::string& text : texts) AddPortFormat(ports, text);
            },
            "What a stimulus port says, such as 3=f32:speed: text, u8, i8, u16, i16, u32, i32 or f32 "
            "(default: "
            "text); once for each port")
        ->type_name("TYPE")
        ->allow_extra_args(false);
}

}  // namespace Korr::Plim::Trace::Tracehost
