#include "simulator/board/tpiu_state.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace Korr::Plim::Trace::Simulator {
namespace {

using Json = nlohmann::json;

template <typename Number>
void Take(Number& field, const Json& value, const std::string& key) {
    if (!value.is_number_unsigned() || value.get<uint64_t>() > UINT32_MAX) {
        throw std::runtime_error("\"" + key + "\" must be a number from 0 to 4294967295");
    }
    field = value.get<Number>();
}

void Take(bool& field, const Json& value, const std::string& key) {
    if (!value.is_boolean()) throw std::runtime_error("\"" + key + "\" must be true or false");
    field = value.get<bool>();
}

}  // namespace

std::string FormatTpiuState(const TpiuState& state) {
    const Json json = {{"prescaler", state.prescaler},
                       {"pinProtocol", state.pinProtocol},
                       {"timestampPrescale", state.timestampPrescale},
                       {"programmed", state.programmed},
                       {"enabled", state.enabled}};
    return json.dump(2) + "\n";
}

TpiuState ParseTpiuState(const std::string& text) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) throw std::runtime_error("not a JSON object");
    TpiuState state;
    for (const auto& [key, value] : json.items()) {
        if (key == "prescaler") {
            Take(state.prescaler, value, key);
        } else if (key == "pinProtocol") {
            Take(state.pinProtocol, value, key);
        } else if (key == "timestampPrescale") {
            Take(state.timestampPrescale, value, key);
        } else if (key == "programmed") {
            Take(state.programmed, value, key);
        } else if (key == "enabled") {
            Take(state.enabled, value, key);
        } else {
            throw std::runtime_error("unknown key \"" + key + "\"");
        }
    }
    return state;
}

std::optional<TpiuState> ReadTpiuState(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::string text(kLargestTpiuState + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    try {
        if (text.size() > kLargestTpiuState) {
            throw std::runtime_error("longer than " + std::to_string(kLargestTpiuState) + " bytes");
        }
        return ParseTpiuState(text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

void WriteTpiuState(const std::string& path, const TpiuState& state) {
    const std::string whole = path + ".new";
    {
        std::ofstream file(whole, std::ios::binary | std::ios::trunc);
        file << FormatTpiuState(state);
        if (!file.flush()) throw std::runtime_error(whole + ": cannot be written");
    }
    std::error_code error;
    std::filesystem::rename(whole, path, error);
    if (error) throw std::runtime_error(path + ": " + error.message());
}

}  // namespace Korr::Plim::Trace::Simulator
