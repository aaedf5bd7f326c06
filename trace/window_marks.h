#pragma once

#include <functional>

#include "trace/ledger.h"
#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Swo {

/// The `entry` of a mark that is not listed in the ledger.
inline constexpr uint32_t kNotListed = UINT32_MAX;

/// When something was lost, on the axis. \param timed whether positions are ticks
double TimeOf(const LedgerEntry& entry, const RecordingAxis& axis, bool timed);

/// What was lost in a window: of each class at most one mark a column, which counts all that it stands for
/// and is a hint when all of those are. What is not listed is marked at the beginning of the part of the
/// capture in which it is counted. \param timeOf when a place of the capture was, about
std::vector<NamedArray> MarksOf(const Ledger& ledger, const WindowFrame& frame,
                                const std::function<double(uint64_t)>& timeOf);

}  // namespace Korr::Plim::Trace::Swo
