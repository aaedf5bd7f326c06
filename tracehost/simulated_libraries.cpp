#include "tracehost/simulated_libraries.h"

#include <filesystem>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;
namespace platform = KORR_PLIM::platform;

constexpr const char* kHostLibraries[] = {"SetupAdapter4", "DeviceIdentifier", "ICETargetAdapter"};

bool HoldsLibrary(const fs::path& folder, const std::string& name) {
    const std::string extension = std::string(".") + platform::LibraryExtension();
    std::error_code ignored;
    return fs::exists(folder / (name + extension), ignored) ||
           fs::exists(folder / ("lib" + name + extension), ignored);
}

}  // namespace

SimulatedLibraries::SimulatedLibraries(const std::string& folder) {
    if (folder.empty()) return;
    const fs::path simulated = fs::path(folder) / "simulated";
    for (const char* const name : kHostLibraries) {
        if (!HoldsLibrary(simulated, name) || HoldsLibrary(folder, name)) continue;
        try {
            libraries.push_back(std::make_unique<Library>((simulated / name).string()));
        } catch (const HostError&) {  // the plug-in tells what is missing when it needs it
        }
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
