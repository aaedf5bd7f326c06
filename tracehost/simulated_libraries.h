#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tracehost/library.h"

namespace Korr::Plim::Trace::Tracehost {

/// The simulated host libraries of an installed tracehost. They lie apart from the plug-in, in the folder
/// `simulated` below the program's, so that no debugger that loads the plug-in can find them. They are loaded
/// by path while this object lives: when the plug-in then asks for a library by its name, the platform
/// answers with the one that is loaded already.
class SimulatedLibraries {
  public:
    /// Loads what lies in `folder`/simulated, but for a library that stands in `folder` itself, as the host's
    /// own ones do. What is missing or does not load is left out: the plug-in then looks for it, and says
    /// what it found. \param folder the program's, see ProgramFolder; empty loads nothing
    explicit SimulatedLibraries(const std::string& folder);

  private:
    std::vector<std::unique_ptr<Library>> libraries;
};

}  // namespace Korr::Plim::Trace::Tracehost
