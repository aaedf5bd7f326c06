#include "tracehost/board_editor.h"

#include <cstdlib>

#include "simulator/board/board_file.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

using Json = nlohmann::ordered_json;

namespace {

/// The object in which the key's last name stands.
Json& Parent(Json& board, const std::vector<std::string>& names, const std::string& key) {
    Json* object = &board;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        object = &(*object)[names[i]];
        if (object->is_null()) *object = Json::object();
        if (!object->is_object()) {
            throw HostError("board key \"" + key + "\": \"" + names[i] + "\" is no object");
        }
    }
    return *object;
}

Json ParseValue(const std::string& topName, const std::string& value) {
    const bool holdsTexts =
        topName == "memory" || topName == "device_information" || topName == "device_identification";
    const Json json = Json::parse(value, nullptr, false);
    const bool takeJson = !json.is_discarded() && (!holdsTexts || json.is_null() || json.is_structured());
    return takeJson ? json : Json(value);
}

}  // namespace

std::vector<std::string> SplitBoardKey(const std::string& key) {
    std::vector<std::string> names(1);
    for (std::size_t i = 0; i < key.size(); ++i) {
        const bool escapes =
            key[i] == '\\' && i + 1 < key.size() && (key[i + 1] == '.' || key[i + 1] == '\\');
        if (escapes) {
            names.back() += key[++i];
        } else if (key[i] == '.') {
            names.emplace_back();
        } else {
            names.back() += key[i];
        }
    }
    return names;
}

void EditBoard(Json& board, const std::string& key, const std::string& value) {
    const std::vector<std::string> names = SplitBoardKey(key);
    for (const std::string& name : names) {
        if (name.empty()) throw HostError("board key \"" + key + "\": a name is empty");
    }
    Json& parent = Parent(board, names, key);
    const Json json = ParseValue(names.front(), value);
    if (json.is_null()) {
        parent.erase(names.back());
    } else {
        parent[names.back()] = json;
    }
}

void EditCurrentBoard(const std::string& key, const std::string& value) {
    const char* const file = std::getenv(Simulator::kBoardVariable);
    if (file == nullptr) throw HostError("TRACEHOST_BOARD is not set: there is no board file to edit");
    try {
        Json board = Simulator::ReadBoardText(file);
        EditBoard(board, key, value);
        Simulator::ParseBoard(board, file);
        if (Simulator::ReplaceFile(file, board.dump(2) + "\n")) return;
    } catch (const Simulator::BoardError& error) {
        throw HostError(error.what());
    }
    throw HostError(std::string("board file ") + file + ": cannot be written");
}

}  // namespace Korr::Plim::Trace::Tracehost
