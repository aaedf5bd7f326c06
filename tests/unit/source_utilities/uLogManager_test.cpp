#include "source_utilities/uLogManager.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "source_utilities/log_call.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/trace_folders.h"
#include "temporary_folder.h"
#include "tests/fakes/scripted_debugger_output.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"

namespace {

using namespace KORR_PLIM;
namespace files = fakes::file_system;
namespace variables = fakes::environment_variables;
namespace debugger = fakes::debugger_output;

constexpr const char* kLevel = "KORR_TRACE_LOGGING";
constexpr const char* kFolder = "KORR_TRACE_LOGGING_DIR";

/// The manager is the process's: every test opens a file name of its own.
class uLogManagerTest : public testing::Test {
  protected:
    uLogManagerTest() {
        files::Reset();
        variables::Reset();
        debugger::Reset();
        fakes::local_time::Reset();
        variables::Put("USERPROFILE", folder.Path());
        variables::Put(kFolder, folder.Path());
        variables::Put(kLevel, "1");
        static int number = 0;
        name = "log" + std::to_string(++number) + ".txt";
    }
    ~uLogManagerTest() override {
        if (manager.CurrentLogger() != nullptr) manager.CurrentLogger()->SetEnabled(false);
    }
    bool Open() { return manager.Open(name.c_str(), kLevel, kFolder, true); }
    /// Opens with a level text, without the lines that the opening itself writes.
    void OpenQuietly(const std::optional<std::string>& text) {
        variables::Put(kLevel, text);
        testing::internal::CaptureStdout();
        EXPECT_TRUE(Open());
        testing::internal::GetCapturedStdout();
        debugger::Reset();
    }
    std::string Logged() const { return ReadText(JoinPath(folder.Path(), name)); }
    bool HasFile() const { return std::filesystem::exists(folder.File(name)); }

    TemporaryFolder folder;
    uLogManager& manager = uLogManager::Instance();
    std::string name;
};

TEST_F(uLogManagerTest, OpenWritesTheFolders) {
    EXPECT_TRUE(Open());
    std::string path;
    const std::string settings = GetSettingsFolder(path);
    const std::string data = GetDataFolder(path);
    EXPECT_EQ(Logged(), "M     12:34:56:007 | Logger : trace user settings directory is " + settings +
                            "\nM     12:34:56:007 | Logger : trace temporary data directory is " + data +
                            "\n");
}
TEST_F(uLogManagerTest, NameOfAHomeCannotForgeALine) {
    variables::Put("USERPROFILE", folder.Path() + "\n forged");
    EXPECT_TRUE(Open());
    const std::string lines = Logged();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
    EXPECT_NE(lines.find("settings directory is " + folder.Path() + "\\n forged"), std::string::npos);
    EXPECT_NE(lines.find("data directory is " + folder.Path() + "\\n forged"), std::string::npos);
}
TEST_F(uLogManagerTest, NullNamesAreRefused) {
    const int count = manager.OpenCount();
    EXPECT_FALSE(manager.Open(nullptr, kLevel, kFolder, true));
    EXPECT_FALSE(manager.Open(name.c_str(), nullptr, kFolder, true));
    EXPECT_EQ(manager.OpenCount(), count);
}
TEST_F(uLogManagerTest, LogFileIsOpenedForAppending) {
    Open();
    ASSERT_FALSE(files::OpenLog().empty());
    EXPECT_EQ(files::OpenLog().front().substr(0, 3), "a+ ");
}

struct LevelRow {
    const char* text;  ///< null: unset
    bool enabled;
    bool console;
    bool debugger;
    int32_t effective;
};
class LevelTable : public uLogManagerTest, public testing::WithParamInterface<LevelRow> {};

TEST_P(LevelTable, DecidesWhereLinesGo) {
    const LevelRow& row = GetParam();
    OpenQuietly(row.text != nullptr ? std::optional<std::string>(row.text) : std::nullopt);
    EXPECT_EQ(manager.Level(), row.effective);
    EXPECT_EQ(HasFile(), row.enabled);
    testing::internal::CaptureStdout();
    manager.CurrentLogger()->Log(1, 0, "line");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.console ? "M      line\n" : "");
    EXPECT_EQ(debugger::Texts().size(), row.debugger ? 1U : 0U);
    EXPECT_EQ(HasFile(), row.enabled);
}
INSTANTIATE_TEST_SUITE_P(
    uLogManager, LevelTable,
    testing::Values(LevelRow{"1", true, false, false, 1}, LevelRow{"2", true, true, false, 1},
                    LevelRow{"3", true, false, false, 2}, LevelRow{"4", true, true, false, 2},
                    LevelRow{"5", true, true, true, 2}, LevelRow{"6", true, true, true, 3},
                    LevelRow{"0", false, false, false, 0}, LevelRow{"7", false, false, false, 7},
                    LevelRow{"-1", false, false, false, -1}, LevelRow{nullptr, false, false, false, 0},
                    LevelRow{"", false, false, false, 0}, LevelRow{"on", false, false, false, 0},
                    LevelRow{" 3x", true, false, false, 2},
                    LevelRow{"99999999999999999999", false, false, false, 2147483647}));

TEST_F(uLogManagerTest, UnwritingLevelsWriteNoLineThroughTheLogCalls) {
    for (const char* text : {"0", "7", "-1"}) {
        name += "x";
        OpenQuietly(text);
        LogMessage(kLogOrdinary, "%s: line", "tag");
        LogError("%s: line", "tag");
        EXPECT_FALSE(HasFile()) << text;
    }
}
TEST_F(uLogManagerTest, LogCallsWriteFromTheirThresholdOn) {
    const std::array<const char*, 3> levels{"1", "3", "6"};
    for (std::size_t i = 0; i < levels.size(); ++i) {
        name += "x";
        OpenQuietly(levels[i]);
        std::filesystem::resize_file(folder.File(name), 0);
        testing::internal::CaptureStdout();
        LogMessage(kLogOrdinary, "%s: ordinary", "tag");
        LogMessage(kLogChatty, "%s: chatty", "tag");
        LogMessage(kLogTrace, "%s: trace", "tag");
        LogError("%s: error", "tag");
        testing::internal::GetCapturedStdout();
        std::string expected = "M     12:34:56:007 | tag: ordinary\n";
        expected += i >= 1 ? "M     12:34:56:007 | tag: chatty\n" : "";
        expected += i >= 2 ? "M     12:34:56:007 | tag: trace\n" : "";
        expected += "    E 12:34:56:007 | tag: error\n";
        EXPECT_EQ(Logged(), expected) << levels[i];
    }
}
TEST_F(uLogManagerTest, CallsBelowTheirLevelReadNoClock) {
    OpenQuietly("1");
    const int before = fakes::local_time::Readings();
    LogMessage(kLogChatty, "%s: chatty", "tag");
    LogMessage(kLogTrace, "%s: trace", "tag");
    EXPECT_EQ(fakes::local_time::Readings(), before);
    LogMessage(kLogOrdinary, "%s: ordinary", "tag");
    EXPECT_EQ(fakes::local_time::Readings(), before + 1);
}
TEST_F(uLogManagerTest, LogCallsSurviveANullLogger) {
    OpenQuietly("6");
    name += "x";
    files::SetFreeSpace(0);
    EXPECT_FALSE(Open());
    ASSERT_EQ(manager.CurrentLogger(), nullptr);
    ASSERT_EQ(manager.Level(), 3) << "the level of the log before stays";
    LogMessage(kLogOrdinary, "%s: line", "tag");
    LogError("%s: line", "tag");
    EXPECT_FALSE(HasFile());
}
TEST_F(uLogManagerTest, TooLittleFreeSpaceMakesNoLog) {
    for (const uint64_t bytes : {uint64_t{0}, uint64_t{4'999'999}, uint64_t{5'119'999}}) {
        files::SetFreeSpace(bytes);
        EXPECT_FALSE(Open()) << bytes;
        EXPECT_EQ(manager.CurrentLogger(), nullptr);
        EXPECT_FALSE(HasFile());
    }
    files::SetFreeSpace(5'120'000);
    EXPECT_TRUE(Open());
    EXPECT_TRUE(HasFile());
    EXPECT_EQ(files::FreeSpaceLog(), (std::vector<std::string>(4, folder.Path())));
}
TEST_F(uLogManagerTest, FailedFreeSpaceQueryMakesNoLog) {
    files::Script().Fail("FreeSpace");
    EXPECT_FALSE(Open());
    EXPECT_EQ(manager.CurrentLogger(), nullptr);
    EXPECT_EQ(files::Script().Calls("MakeFolder"), 0);
}
TEST_F(uLogManagerTest, MissingFolderVariableMakesNoLog) {
    variables::Put(kFolder, std::nullopt);
    EXPECT_FALSE(Open());
    EXPECT_FALSE(manager.Open(name.c_str(), kLevel, nullptr, true));
    EXPECT_FALSE(std::filesystem::exists(name));
}
TEST_F(uLogManagerTest, LogFolderIsMadeWithoutItsParents) {
    const std::string deep = folder.File("one");
    variables::Put(kFolder, deep);
    EXPECT_TRUE(Open());
    EXPECT_EQ(files::FolderLog().front(), "MakeFolder " + deep);
    EXPECT_TRUE(std::filesystem::exists(JoinPath(deep, name)));
}
TEST_F(uLogManagerTest, SharedLoggerIsKeptByFileName) {
    const int count = manager.OpenCount();
    Open();
    uLogger* first = manager.CurrentLogger();
    name += "x";
    Open();
    EXPECT_NE(manager.CurrentLogger(), first);
    uLogger* second = manager.CurrentLogger();
    name.pop_back();
    variables::Put(kLevel, "6");
    EXPECT_TRUE(Open());
    EXPECT_EQ(manager.CurrentLogger(), first);
    EXPECT_EQ(manager.Level(), 1) << "nothing else changes";
    EXPECT_EQ(manager.OpenCount(), count + 2);
    second->SetEnabled(false);
}
TEST_F(uLogManagerTest, NonSharedOpenKeepsTheCurrentLogger) {
    Open();
    uLogger* first = manager.CurrentLogger();
    const int count = manager.OpenCount();
    EXPECT_TRUE(manager.Open("another.txt", kLevel, kFolder, false));
    EXPECT_EQ(manager.CurrentLogger(), first);
    EXPECT_EQ(manager.OpenCount(), count);
}
TEST_F(uLogManagerTest, NonSharedLoggerIsNotKeptByFileName) {
    files::SetFreeSpace(0);
    EXPECT_FALSE(Open());
    files::SetFreeSpace(5'120'000);
    EXPECT_TRUE(manager.Open(name.c_str(), kLevel, kFolder, false));
    uLogger* first = manager.CurrentLogger();
    EXPECT_TRUE(Open()) << "a shared open does not find it";
    EXPECT_NE(manager.CurrentLogger(), first);
    first->SetEnabled(false);
}
TEST_F(uLogManagerTest, UnknownHomeThrowsWithTheLoggerOpen) {
    variables::Put("USERPROFILE", std::nullopt);
    EXPECT_THROW(Open(), source_utilities_error);
    ASSERT_NE(manager.CurrentLogger(), nullptr);
    LogMessage(kLogOrdinary, "%s: line", "tag");
    EXPECT_EQ(Logged(), "M     12:34:56:007 | tag: line\n");
}

}  // namespace
