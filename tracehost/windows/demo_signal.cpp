#include "tracehost/demo_signal.h"

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

DemoSignal::DemoSignal(const std::string&, const std::string&) {
    throw UsageError(
        "--demo plays its signal on a pseudo-terminal, which Windows does not have. Under Wine \"make "
        "demo-windows\" "
        "starts swosource on the Linux side and records its port; by hand: link the port that swosource "
        "makes as "
        "dosdevices/com1 of the Wine prefix, then \"tracehost record --board FILE --port 1\"");
}

DemoSignal::~DemoSignal() = default;

uint32_t DemoSignal::PortNumber() const { return 0; }

uint64_t DemoSignal::End() { return 0; }

}  // namespace Korr::Plim::Trace::Tracehost
