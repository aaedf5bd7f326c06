#pragma once

namespace Korr::Plim::Trace::Tracehost {

/// Which losses give the exit status kTraceLost: between pin and file, in the target too, or none.
enum class FailOn { Line, Any, Never };

}  // namespace Korr::Plim::Trace::Tracehost
