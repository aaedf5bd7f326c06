// A program of its own: the library prepares the trace environment once in a process.

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "receiver/exports.h"
#include "source_utilities/environment.h"
#include "source_utilities/process.h"
#include "source_utilities/uLogManager.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using KORR_PLIM::GetEnvironment;
using KORR_PLIM::SetEnvironment;
namespace fs = std::filesystem;

class ExportsEnvironment : public testing::Test {
  protected:
    receiver_tests::ScriptedHost host;
    fs::path home = fs::temp_directory_path() / ("tarnel_home_" + std::to_string(std::random_device{}()));

    ExportsEnvironment() {
        fs::create_directories(home);
        SetEnvironment("KORR_TRACE_DEBUGCLIENT_PID", "");
        SetEnvironment("KORR_TRACE_LOGGING", "1");
        for (const char* name : kFolders) SetEnvironment(name, "set by the host");
    }
    ~ExportsEnvironment() override {
        std::error_code ignored;
        fs::remove_all(home, ignored);
    }
    static std::string OwnPid() { return std::to_string(KORR_PLIM::platform::CurrentProcessId()); }
    static void SetHome(const std::string& path) {
        SetEnvironment("USERPROFILE", path.c_str());
        SetEnvironment("HOME", path.c_str());
    }
    static constexpr const char* kFolders[] = {"KORR_TRACE_LOGGING_DIR", "KORR_TRACE_DATA_DIR",
                                               "KORR_TRACE_SETTINGS_DIR"};
};

/// The only one: the environment is ready only once.
TEST_F(ExportsEnvironment, FailingSetUpIsSwallowedAndTriedAgainUntilItSucceeds) {
    SetHome("");
    auto* receiver = CreateRcvr();
    ASSERT_NE(receiver, nullptr);
    EXPECT_STREQ(GetEnvironment("KORR_TRACE_LOGGING_DIR"), "set by the host");
    EXPECT_EQ(KORR_PLIM::uLogManager::Instance().CurrentLogger(), nullptr);

    SetHome(home.string());
    EXPECT_EQ(CreateRcvr(), receiver);
    const fs::path base = home / ".KORR-trace";
    EXPECT_EQ(fs::path(GetEnvironment("KORR_TRACE_LOGGING_DIR")), base);
    EXPECT_EQ(fs::path(GetEnvironment("KORR_TRACE_DATA_DIR")), base / "data");
    EXPECT_EQ(fs::path(GetEnvironment("KORR_TRACE_SETTINGS_DIR")), base / "settings");
    EXPECT_EQ(GetEnvironment("KORR_TRACE_DEBUGCLIENT_PID"), OwnPid());
    EXPECT_TRUE(fs::is_directory(base / "settings"));
    EXPECT_NE(KORR_PLIM::uLogManager::Instance().CurrentLogger(), nullptr);

    DestroyRcvr(receiver);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
    EXPECT_NE(KORR_PLIM::uLogManager::Instance().CurrentLogger(), nullptr) << "the log stays open";
}

}  // namespace
