#pragma once

#include <functional>
#include <istream>
#include <memory>
#include <string>

#include "receiver/setup_file.h"
#include "source_utilities/uDll.h"

namespace Korr::Plim::Trace::Tarnel {

/// What the host's library "SetupAdapter4" tells about a CPU: which probe is connected and how its pins are
/// set up. The library is loaded with the first question and kept. Every question makes a set-up adapter,
/// reads the CPU's set-up data file and gives the adapter back.
///
/// No operation throws. What goes wrong on the way to the file is logged, and the answer is then that of an
/// empty file. A library without "DestroySetupAdapter" keeps its adapters.
class SetupAdapterAccess {
  public:
    ProbeKind CheckProbe(const std::string& cpuName);
    /// See HasSetupProperty.
    bool QuerySetupProperty(const std::string& cpuName, const std::string& section,
                            const std::string& property, const std::string& value);
    /// Protocol SWD, with SWO on the TDO pin.
    bool CheckSwdSetup(const std::string& cpuName);
    /// Two-pin cJTAG, or SWO on another pin than TDO.
    bool CheckCjtagSetup(const std::string& cpuName);

  private:
    using Reader = std::function<void(std::istream&)>;

    void ReadSetupFile(const std::string& cpuName, const Reader& reader);
    void AskForSetupFile(const std::string& cpuName, const Reader& reader);

    std::unique_ptr<KORR_PLIM::uDll> library;  ///< null until first needed
};

}  // namespace Korr::Plim::Trace::Tarnel
