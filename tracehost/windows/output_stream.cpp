#include "tracehost/output_stream.h"

#include <cerrno>

#include "source_utilities/file_system.h"

namespace Korr::Plim::Trace::Tracehost {

bool IsStandardOutputName(const std::string& name) { return name == "-"; }

bool IsDeviceName(const std::string& name) { return KORR_PLIM::platform::IsDeviceName(name); }

std::FILE* OpenStream(const std::string& name) { return std::fopen(name.c_str(), "wb"); }

/// The runtime library tells a broken pipe as an invalid argument.
bool IsClosedPipe(int error) { return error == EPIPE || error == EINVAL; }

}  // namespace Korr::Plim::Trace::Tracehost
