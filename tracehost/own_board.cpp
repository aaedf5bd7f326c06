#include "tracehost/own_board.h"

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "simulator/board/board_file.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {

using Json = nlohmann::ordered_json;

namespace {

std::string WriteBoard(const TemporaryFolder& folder, Json board) {
    folder.Write("set-up.txt", kSetUpData);
    board["set_up_file"] = "set-up.txt";
    return folder.Write("board.json", board.dump(2) + "\n");
}

}  // namespace

std::string WritePlainBoard(const TemporaryFolder& folder) {
    return WriteBoard(folder, {{"device_identification", "0x0B9AF02F"}});
}

std::string WriteDemoBoard(const TemporaryFolder& folder) {
    return WriteBoard(folder, {{"device_identification", "0x0B99A02F"},
                               {"device_information", {{"MOD_SYSCLK", {{"CPUCLKDIV", "40032008"}}}}},
                               {"memory", {{"0x40032008", "0x00000001"}}},
                               {"journal", "journal.jsonl"},
                               {"tpiu", "tpiu.json"},
                               {"trace_clock_hz", static_cast<uint32_t>(kDemoClock)}});
}

void CheckBoard(const std::string& file) {
    const std::string why = WhyNotReadable(file);
    if (!why.empty()) throw UsageError("board file " + file + ": " + why);
    try {
        Simulator::ReadBoard(file);
    } catch (const Simulator::BoardError& error) {
        throw UsageError(error.what());
    }
}

bool EnvironmentNamesBoard() {
    const char* const named = std::getenv(Simulator::kBoardVariable);
    return named != nullptr && *named != '\0';
}

std::string DefaultBoard(const TemporaryFolder& folder) {
    return EnvironmentNamesBoard() ? std::getenv(Simulator::kBoardVariable) : WritePlainBoard(folder);
}

}  // namespace Korr::Plim::Trace::Tracehost
