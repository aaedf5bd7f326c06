#pragma once

namespace Korr::Plim::Trace::Simulator {

/// Name under which the simulated target adapter library writes its journal lines.
inline constexpr const char* kTargetAdapterLibrary = "ICETargetAdapter";

}  // namespace Korr::Plim::Trace::Simulator
