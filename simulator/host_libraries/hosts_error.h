#pragma once

namespace Korr::Plim::Trace::Simulator {

/// Ends every exported function and every operation of a simulated library: what is on its way out goes on as
/// the host's error, the one type that hosts catch; in a host of another compiler any other would end the
/// process. A cPelkitError goes on as it is. Called in a handler. \throws cPelkitError always, with the text
/// of a standard exception, severity 2
[[noreturn]] void ThrowAsHostsError();

}  // namespace Korr::Plim::Trace::Simulator
