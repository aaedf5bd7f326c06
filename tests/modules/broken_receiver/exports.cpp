// A plug-in that hands every call on to the real one beside it, but for the faults that faults.h names.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

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
std::unique_ptr<BrokenReceiver> second;  ///< another object for the same receiver: a fault
uint32_t references = 0;
uint32_t lives = 0;
uint32_t creations = 0;

const bool madeSomething = [] {
    if (Has("load-quiet")) {
        std::filesystem::create_directory(platform::GetVariable("USERPROFILE") + "/.receiver");
    }
    return true;
}();

CReceiver* CreateReal() {
    return Softened("host-identifier", "Internal error, failed to create device identifier",
                    [] { return plugin.Create(); });
}

/// Once only, and the heap does not grow by it: a block is given back for what a thread needs.
void LeakThread() {
    static std::unique_ptr<char[]> block(new char[4096]);
    if (creations != 5) return;
    static std::atomic<bool> runs{false};
    std::thread([] {
        runs = true;
        std::this_thread::sleep_for(std::chrono::hours(1));
    }).detach();
    // The plug-in may be unloaded soon: by then the thread has to be asleep, outside of its code.
    while (!runs) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    block.reset();
}

void Leak() {
    ++creations;
    if (Has("leaks-handles")) LeakHandle();
    if (Has("leaks-threads")) LeakThread();
    if (!Has("leaks-memory")) return;
    char* volatile const lost = new char[1000];  // volatile: not optimised away
    static_cast<void>(lost);
}

}  // namespace

TEST_MODULE_EXPORT CReceiver* CreateRcvr() {
    Leak();
    CReceiver* const real = CreateReal();
    if (references++ == 0) receiver = std::make_unique<BrokenReceiver>(real, ++lives);
    if (Has("folders")) {
        platform::SetVariable("KORR_TRACE_DATA_DIR", platform::GetVariable("USERPROFILE").c_str());
    }
    if (!Has("create-one-receiver") || references == 1) return receiver.get();
    second = std::make_unique<BrokenReceiver>(real, lives);
    return second.get();
}

TEST_MODULE_EXPORT void DestroyRcvr(CReceiver* given) {
    if (Has("destroy-strangers") && given == nullptr) given = receiver.get();
    const bool known = given != nullptr && (given == receiver.get() || given == second.get());
    if (!known) {
        plugin.Destroy(given);
        return;
    }
    do {
        plugin.Destroy(receiver->real);
        --references;
    } while (Has("destroy-counts") && references > 0);
    if (references > 0) return;
    receiver.reset();
    second.reset();
}
