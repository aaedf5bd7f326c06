#pragma once

#include <cstdint>
#include <string>

#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

/// Boards that tracehost brings itself. Both are written into `folder`; the path of the board file is
/// returned. \throws HostError

/// For a real target whose firmware sets up its own TPIU: probe and device pass every check, nothing is known
/// of the device's clock.
std::string WritePlainBoard(const TemporaryFolder& folder);
/// A simulated target with a 24 MHz trace clock in a clock register; keeps a journal and a TPIU.
std::string WriteDemoBoard(const TemporaryFolder& folder);

}  // namespace Korr::Plim::Trace::Tracehost
