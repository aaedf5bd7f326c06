// The real plug-in, loaded as a host loads it, beside the simulated host libraries. TRACEHOST_BOARD names a
// board with a supported probe and device.

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "host_api/entry_points.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/dynamic_library.h"
#include "source_utilities/environment.h"
#include "tests/fakes/host_objects.h"
#include "tests/support/expect_error.h"

namespace {

namespace fs = std::filesystem;
namespace platform = KORR_PLIM::platform;
using Korr::Plim::Trace::CChannelDriver;
using Korr::Plim::Trace::CreateRcvrFunction;
using Korr::Plim::Trace::CReceiver;
using Korr::Plim::Trace::DestroyRcvrFunction;
using Korr::Plim::Trace::StatusRecord;
using KORR_PLIM::GetEnvironment;
using KORR_PLIM::SetEnvironment;

/// The plug-in while it is loaded.
class LoadedPlugin {
  public:
    LoadedPlugin() : library(platform::LoadDynamicLibrary("Tarnel")) {}
    ~LoadedPlugin() {
        if (library != platform::kNoLibrary) platform::FreeDynamicLibrary(library);
    }
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;

    template <typename Function>
    Function Find(const char* name) const {
        return reinterpret_cast<Function>(platform::FindSymbol(library, name));
    }
    CReceiver* Create() const { return Find<CreateRcvrFunction>("CreateRcvr")(); }
    void Destroy(CReceiver* receiver) const { Find<DestroyRcvrFunction>("DestroyRcvr")(receiver); }

    const platform::LibraryHandle library;
};

class Plugin : public testing::Test {
  protected:
    fs::path home = fs::temp_directory_path() / ("tarnel_plugin_" + std::to_string(std::random_device{}()));
    fakes::CallJournal journal;
    fakes::FakeTargetAdapter targetAdapter{journal};

    Plugin() {
        fs::create_directories(home);
        SetEnvironment("USERPROFILE", home.string().c_str());
        SetEnvironment("KORR_TRACE_LOGGING", "0");
        SetEnvironment("KORR_TRACE_DATA_DIR", "set by the host");
    }
    ~Plugin() override {
        std::error_code ignored;
        fs::remove_all(home, ignored);
    }
};

TEST_F(Plugin, LoadingDoesNothing) {
    const LoadedPlugin plugin;
    ASSERT_NE(plugin.library, platform::kNoLibrary);
    EXPECT_STREQ(GetEnvironment("KORR_TRACE_DATA_DIR"), "set by the host");
    EXPECT_FALSE(fs::exists(home / ".KORR-trace"));
}

TEST_F(Plugin, CreatesAndDestroysOneReceiver) {
    const LoadedPlugin plugin;
    CReceiver* const receiver = plugin.Create();
    EXPECT_EQ(plugin.Create(), receiver);
    EXPECT_EQ(receiver->GetNextAvailableChannel(), 1u);
    plugin.Destroy(receiver);
    EXPECT_EQ(receiver->GetNumCpus(), 0u);
    plugin.Destroy(receiver);
    EXPECT_EQ(fs::path(GetEnvironment("KORR_TRACE_DATA_DIR")), home / ".KORR-trace" / "data");
}

TEST_F(Plugin, ErrorsAreCaughtByTheHostAcrossTheLibraries) {
    const LoadedPlugin plugin;
    CReceiver* const receiver = plugin.Create();
    EXPECT_EQ(support::ErrorOf([&] { receiver->GetDataSource(nullptr); }), "Cannot get data source");
    EXPECT_EQ(support::ErrorOf([&] { receiver->AllocateChannelDriver("cpu", nullptr, 1, 1); }),
              "Internal error creating Channel Driver. Null parameters.");
    plugin.Destroy(receiver);
}

TEST_F(Plugin, ExportedDeleteDoesNothing) {
    const LoadedPlugin plugin;
    const auto remove = plugin.Find<void (*)(cPelkitError*)>(DELETE_EXPORT);
    ASSERT_NE(remove, nullptr);
    cPelkitError error("text", cPelkitErrorIF::eSEVERITY_ERROR);
    remove(&error);
    EXPECT_STREQ(pelkit::TextOf(error), "text");
}

TEST_F(Plugin, CanBeLoadedUsedAndUnloadedAHundredTimes) {
    for (int round = 0; round < 100; ++round) {
        SetEnvironment("KORR_TRACE_DATA_DIR", "set by the host");
        const LoadedPlugin plugin;
        ASSERT_NE(plugin.library, platform::kNoLibrary) << round;
        CReceiver* const receiver = plugin.Create();
        // Only a library that was initialised anew sets the environment up again.
        ASSERT_STRNE(GetEnvironment("KORR_TRACE_DATA_DIR"), "set by the host") << round;
        CChannelDriver* const driver = receiver->AllocateChannelDriver("cpu", &targetAdapter, 7, 1);
        StatusRecord status;
        driver->GetStatus(status);
        EXPECT_EQ(status.text, "Calibrating ...");
        plugin.Destroy(receiver);
    }
    EXPECT_EQ(journal.Count("TraceRelease"), 100u);
}

}  // namespace
