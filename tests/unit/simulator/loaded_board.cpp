#include "loaded_board.h"

#include <filesystem>
#include <fstream>
#include <random>

#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Simulator {

namespace platform = KORR_PLIM::platform;

LoadedBoard::LoadedBoard()
    : folder((std::filesystem::temp_directory_path() /
              ("loaded_board_" + std::to_string(std::random_device()())))
                 .string()) {
    std::filesystem::create_directory(folder);
    Write(board);
    Tracehost::SetProcessVariable("TRACEHOST_BOARD", File("board.json").c_str());
}

LoadedBoard::~LoadedBoard() {
    for (const auto library : libraries) platform::FreeDynamicLibrary(library);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void LoadedBoard::Write(const Json& text) { std::ofstream(File("board.json")) << text; }

std::vector<LoadedBoard::Json> LoadedBoard::Journal() const {
    std::vector<Json> lines;
    std::ifstream file(File("journal"));
    for (std::string line; std::getline(file, line);) lines.push_back(Json::parse(line));
    return lines;
}

std::string LoadedBoard::Violation() const {
    const auto lines = Journal();
    return lines.empty() ? "no journal" : lines.back().value("violation", "");
}

void* LoadedBoard::Address(const char* library, const char* name) {
    const auto handle = platform::LoadDynamicLibrary(library);
    if (handle == platform::kNoLibrary) throw std::runtime_error(std::string("cannot load ") + library);
    libraries.push_back(handle);
    void* const address = platform::FindSymbol(handle, name);
    if (address == nullptr) throw std::runtime_error(std::string("no export ") + name);
    return address;
}

}  // namespace Korr::Plim::Trace::Simulator
