#pragma once

#include <string>

#include "host_api/entry_points.h"
#include "tracehost/library.h"
#include "tracehost/platform_words.h"
#include "tracehost/simulated_libraries.h"

namespace Korr::Plim::Trace::Tracehost {

inline constexpr const char* kDefaultPlugin = "Tarnel";

/// What a plug-in that is asked for stands for: the default one may lie in the folder above the program's.
std::string PluginToLoad(const std::string& path);

/// The plug-in, seen through its two exports.
class Plugin {
  public:
    /// \throws HostError when it cannot be loaded or misses an export
    explicit Plugin(const std::string& path)
        : simulated(ProgramFolder()),
          library(PluginToLoad(path)),
          createRcvr(library.Entry<CreateRcvrFunction>("CreateRcvr")),
          destroyRcvr(library.Entry<DestroyRcvrFunction>("DestroyRcvr")) {}

    /// The plug-in's own file; empty when unknown.
    std::string File() const { return library.File("CreateRcvr"); }
    CReceiver* CreateReceiver() const { return createRcvr(); }
    void DestroyReceiver(CReceiver* receiver) const { destroyRcvr(receiver); }

  private:
    SimulatedLibraries simulated;
    Library library;
    CreateRcvrFunction createRcvr;
    DestroyRcvrFunction destroyRcvr;
};

}  // namespace Korr::Plim::Trace::Tracehost
