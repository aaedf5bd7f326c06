// A plug-in that hands every call on to the real one beside it, but for the faults that faults.h names.
#include <filesystem>
#include <memory>

#include "host_api/entry_points.h"
#include "source_utilities/dynamic_library.h"
#include "source_utilities/environment_variables.h"
#include "tests/modules/broken_receiver/broken_receiver.h"
#include "tests/modules/broken_receiver/faults.h"
#include "tests/modules/module_export.h"

using namespace Korr::Plim::Trace;
namespace platform = KORR_PLIM::platform;

namespace {

/// The real plug-in, while this one is loaded.
class RealPlugin {
  public:
    RealPlugin() : library(platform::LoadDynamicLibrary("Tarnel")) {}
    ~RealPlugin() { platform::FreeDynamicLibrary(library); }
    RealPlugin(const RealPlugin&) = delete;
    RealPlugin& operator=(const RealPlugin&) = delete;

    CReceiver* Create() const { return Entry<CreateRcvrFunction>("CreateRcvr")(); }
    void Destroy(CReceiver* receiver) const { Entry<DestroyRcvrFunction>("DestroyRcvr")(receiver); }

  private:
    template <typename Function>
    Function Entry(const char* name) const {
        return reinterpret_cast<Function>(platform::FindSymbol(library, name));
    }
    platform::LibraryHandle library;
};

const RealPlugin plugin;
std::unique_ptr<BrokenReceiver> receiver;
uint32_t references = 0;

const bool madeSomething = [] {
    if (Has("load-quiet"))
        std::filesystem::create_directory(platform::GetVariable("USERPROFILE") + "/.receiver");
    return true;
}();

}  // namespace

TEST_MODULE_EXPORT CReceiver* CreateRcvr() {
    CReceiver* const real = plugin.Create();
    if (references == 0) receiver = std::make_unique<BrokenReceiver>(real);
    ++references;
    return receiver.get();
}

TEST_MODULE_EXPORT void DestroyRcvr(CReceiver* given) {
    if (receiver == nullptr || given != receiver.get()) {
        plugin.Destroy(given);
        return;
    }
    plugin.Destroy(receiver->real);
    if (--references == 0) receiver.reset();
}
