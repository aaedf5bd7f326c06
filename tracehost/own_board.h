#pragma once

#include <cstdint>
#include <string>

#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

inline constexpr double kDemoClock = 24e6;  ///< Hz, trace clock of the simulated target

/// The target set-up file of these boards: a probe and a pin that can send SWO.
inline constexpr const char* kSetUpData =
    "$ brantor\n"
    "$ product\n"
    "name=\"Brantor\"\n"
    "$ swd\n"
    "swd_debug=enabled\n"
    "swo_data=tdo_pin\n"
    "$ dot7\n"
    "ts_pin_width=only_two\n";

/// Boards that tracehost brings itself. Both are written into `folder`; the path of the board file is
/// returned. \throws HostError

/// For a real target whose firmware sets up its own TPIU: probe and device pass every check, nothing is known
/// of the device's clock.
std::string WritePlainBoard(const TemporaryFolder& folder);
/// A simulated target with kDemoClock in a clock register; keeps a journal and a TPIU.
std::string WriteDemoBoard(const TemporaryFolder& folder);

/// The board file that the environment names; without one the plain board. \throws HostError
std::string DefaultBoard(const TemporaryFolder& folder);
/// \throws UsageError that says why, for what is no board file
void CheckBoard(const std::string& file);
/// Whether the environment names a board file.
bool EnvironmentNamesBoard();

}  // namespace Korr::Plim::Trace::Tracehost
