// Any bytes as a board file: a board within its bounds, or an error that names the file and says what is
// wrong.
#include <algorithm>
#include <cmath>

#include "fuzz/targets.h"
#include "simulator/board/board_file.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Simulator;

void CheckBoard(const Board& board) {
    Require(std::isfinite(board.traceClockHz) && board.traceClockHz >= 0, "trace clock");
    for (const auto& [operation, result] : board.results) {
        const auto& known = kTargetAdapterOperations;
        Require(std::find(known.begin(), known.end(), operation) != known.end(), "operation " + operation);
    }
    Require(board.hasDeviceInformation || board.deviceInformation.empty(), "device information");
    for (const auto& [cpu, path] : board.setUpFile.byCpu) Require(board.KnowsCpu(cpu), "CPU " + cpu);
}

}  // namespace

void FuzzBoardFile(std::string_view input) {
    const std::string name = Folder::Instance().Path("board.json");
    WriteFile(name, input);
    try {
        CheckBoard(ReadBoard(name));
    } catch (const BoardError& error) {
        const std::string head = "board file " + name + ": ";
        const std::string text = error.what();
        Require(text.starts_with(head) && text.size() > head.size(), "message: " + text);
    }
}

}  // namespace fuzz
