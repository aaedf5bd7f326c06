#pragma once

#include <string>

#include "exports/output.h"
#include "trace/ledger.h"

namespace Korr::Plim::Trace::Tracehost {

/// What an entry of a ledger means, in words: "bytes missing: 1 packet before it (8,190) is suspect".
std::string DescribeLoss(const Swo::LedgerEntry& entry);

/// What was lost, in one sentence without its full stop: "3 places: 9 bytes damaged, 1 packet suspect";
/// "nothing" when nothing was.
std::string SummariseLosses(const Swo::LedgerTotals& totals);

/// For a progress line: "lost: 3 overflows, 0 damaged".
std::string LiveLosses(const Swo::LedgerTotals& totals);

/// One entry as a JSON object on a line.
std::string LossAsJson(const Swo::LedgerEntry& entry, const Exports::TimeScale& scale);

}  // namespace Korr::Plim::Trace::Tracehost
