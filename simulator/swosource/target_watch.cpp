#include "simulator/swosource/target_watch.h"

#include <algorithm>
#include <stdexcept>

#include "simulator/board/board_file.h"
#include "simulator/board/tpiu_state.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

constexpr uint32_t kBitsPerByte = 10;
constexpr uint32_t kHighestPrescaler = 0xFFFF;  // the TPIU's register has 16 bits

}  // namespace

TargetWatch::TargetWatch(const Settings& given) : settings(given) { Refresh(); }

void TargetWatch::Refresh() {
    if (!settings.board.empty()) ReadBoardFile();
    if (settings.clock) clock = *settings.clock;
    TpiuState state;
    if (!tpiuFile.empty()) state = ReadTpiuState(tpiuFile).value_or(TpiuState{});
    const uint32_t prescaler = settings.prescaler.value_or(state.prescaler);
    target.enabled = settings.enabled || state.enabled;
    target.lineBaud = clock / (static_cast<double>(prescaler) + 1);
    target.byteTime = kBitsPerByte * (std::min(prescaler, kHighestPrescaler) + 1);
}

/// A board that knows several CPUs is played for the first of them.
void TargetWatch::ReadBoardFile() {
    const Board board = ReadBoard(settings.board);
    clock = board.traceClockHz;
    tpiuFile = board.tpiu.common;
    if (tpiuFile.empty() && !board.tpiu.byCpu.empty()) tpiuFile = board.tpiu.byCpu.begin()->second;
    if (tpiuFile.empty() && !settings.enabled) {
        throw std::runtime_error(settings.board + ": \"tpiu\" is missing, so nothing would ever be played");
    }
    if (clock <= 0 && !settings.clock && settings.pace == Settings::Pace::kLine) {
        throw std::runtime_error(settings.board + ": \"trace_clock_hz\" is missing; it gives the line rate");
    }
}

}  // namespace Korr::Plim::Trace::Simulator
