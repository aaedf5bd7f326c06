// tracehost record
#include "tracehost/commands.h"
namespace Korr::Plim::Trace::Tracehost {
void AddRecordCommand(CLI::App&, int&) {}
}  // namespace Korr::Plim::Trace::Tracehost
