#include "source_utilities/trace_environment.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "source_utilities/source_utilities_error.h"
#include "source_utilities/trace_folders.h"
#include "source_utilities/uLogManager.h"
#include "temporary_folder.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"
#include "tests/fakes/scripted_process.h"

namespace {

using namespace KORR_PLIM;
namespace variables = fakes::environment_variables;
namespace files = fakes::file_system;
namespace processes = fakes::process;
namespace clock_script = fakes::local_time;

constexpr const char* kPid = "KORR_TRACE_DEBUGCLIENT_PID";

class TraceEnvironmentTest : public testing::Test {
  protected:
    TraceEnvironmentTest() {
        files::Reset();
        variables::Reset();
        processes::Reset();
        clock_script::Reset();
        variables::Put("USERPROFILE", home.Path());
    }
    /// The id that the set-up keeps or takes when the variable holds `text`.
    std::string PidFor(const char* text) {
        variables::Put(kPid, text);
        TraceEnvironment fresh;
        SetUpTraceEnvironment(fresh);
        EXPECT_EQ(variables::Peek(kPid), fresh.debugClientPid);
        return fresh.debugClientPid;
    }
    TemporaryFolder home;
    TraceEnvironment environment;
};

TEST_F(TraceEnvironmentTest, FillsTheRecord) {
    SetUpTraceEnvironment(environment);
    const std::string base = JoinPath(home.Path(), ".KORR-trace");
    EXPECT_TRUE(environment.ready);
    EXPECT_EQ(environment.debugClientPid, "4321");
    EXPECT_EQ(environment.loggingFolder, base);
    EXPECT_EQ(environment.dataFolder, JoinPath(base, "data"));
    EXPECT_EQ(environment.settingsFolder, JoinPath(base, "settings"));
    EXPECT_EQ(environment.logFileName, "korr_trace_log_11162026_4321.txt");
    EXPECT_TRUE(std::filesystem::is_directory(environment.dataFolder));
    EXPECT_TRUE(std::filesystem::is_directory(environment.settingsFolder));
}
TEST_F(TraceEnvironmentTest, OverwritesTheVariablesInOrder) {
    variables::Put("KORR_TRACE_LOGGING_DIR", "host's own");
    variables::Put("KORR_TRACE_DATA_DIR", "host's own");
    SetUpTraceEnvironment(environment);
    EXPECT_EQ(variables::SetLog(),
              (std::vector<std::string>{std::string(kPid) + "=4321",
                                        "KORR_TRACE_LOGGING_DIR=" + environment.loggingFolder,
                                        "KORR_TRACE_DATA_DIR=" + environment.dataFolder,
                                        "KORR_TRACE_SETTINGS_DIR=" + environment.settingsFolder}));
}
TEST_F(TraceEnvironmentTest, EachFolderIsMadeByItsGetterAndOnceMore) {
    SetUpTraceEnvironment(environment);
    const std::vector<std::string> made = files::FolderLog();
    std::vector<std::string> whole;
    for (const std::string& call : made) {
        for (const std::string& folder :
             {environment.loggingFolder, environment.dataFolder, environment.settingsFolder}) {
            if (call == "MakeTreeFolder " + folder) whole.push_back(folder);
        }
    }
    const auto& [logging, data, settings] =
        std::tie(environment.loggingFolder, environment.dataFolder, environment.settingsFolder);
    // The way to a folder below the logging folder leads through that.
    EXPECT_EQ(whole, (std::vector<std::string>{logging, logging, data, logging, settings, logging, logging,
                                               data, logging, settings}));
}
TEST_F(TraceEnvironmentTest, LivingDebugClientIsKeptAndNotRewritten) {
    processes::SetLivingProcesses({77});
    variables::Put(kPid, "77");
    SetUpTraceEnvironment(environment);
    EXPECT_EQ(environment.debugClientPid, "77");
    EXPECT_EQ(variables::SetLog().size(), 3U);
    EXPECT_EQ(environment.logFileName, "korr_trace_log_11162026_77.txt");
}
TEST_F(TraceEnvironmentTest, DeadDebugClientIsReplaced) { EXPECT_EQ(PidFor("77"), "4321"); }
TEST_F(TraceEnvironmentTest, HexadecimalAndOctalIdsAreUnderstood) {
    processes::SetLivingProcesses({31, 15});
    EXPECT_EQ(PidFor("0x1F"), "0x1F");
    EXPECT_EQ(PidFor("0X1f"), "0X1f");
    EXPECT_EQ(PidFor("017"), "017");
    EXPECT_EQ(PidFor("17"), "4321");
}
TEST_F(TraceEnvironmentTest, TextThatIsNoLivingIdIsReplaced) {
    for (const char* text : {"not a number", "0", "0x", "", " ", "99999999999999999999"}) {
        EXPECT_EQ(PidFor(text), "4321") << text;
    }
}
TEST_F(TraceEnvironmentTest, TextThatOnlyBeginsWithALivingIdIsReplaced) {
    processes::SetLivingProcesses({7, 77, 31});
    for (const char* text :
         {"77/../../x", "77\\..\\..\\x", "77/",   "77\\",          "77:x",  "77.", "77 ",
          " 77",        "\t77",          "77\n",  "77x",           "77L",   "+77", "77.0",
          "77e0",       "0x1F/../x",     "0x1Fg", "0X1f ",         "0x 1F", "079", "07/../x",
          "07 ",        "0 7",           "77,31", "77\xEF\xBC\x8F"}) {
        EXPECT_EQ(PidFor(text), "4321") << text;
    }
}
TEST_F(TraceEnvironmentTest, AnIdIsKeptUpToALengthThatAFileNameTakes) {
    processes::SetLivingProcesses({7, 31});
    const std::string octal = std::string(31, '0') + "7";
    const std::string hexadecimal = "0x" + std::string(28, '0') + "1F";
    EXPECT_EQ(PidFor(octal.c_str()), octal);
    EXPECT_EQ(PidFor(hexadecimal.c_str()), hexadecimal);
    EXPECT_EQ(PidFor(("0" + octal).c_str()), "4321");
    EXPECT_EQ(PidFor(("0x0" + hexadecimal.substr(2)).c_str()), "4321");
    EXPECT_EQ(PidFor(std::string(32767, '0').append("7").c_str()), "4321");
}
TEST_F(TraceEnvironmentTest, AnIdBeyond32BitsIsNoLivingOne) {
    processes::SetLivingProcesses({7});
    for (const char* text : {"4294967303", "0x100000007", "040000000007", "18446744073709551623"}) {
        EXPECT_EQ(PidFor(text), "4321") << text;
    }
}
TEST_F(TraceEnvironmentTest, UnreadableProcessListCountsAsDead) {
    processes::SetLivingProcesses({77});
    processes::Script().Fail("ProcessExists");
    EXPECT_EQ(PidFor("77"), "4321");
}
TEST_F(TraceEnvironmentTest, DateInTheLogFileNameIsUnpadded) {
    clock_script::Set({2027, 1, 5, 0, 0, 0, 0, 2});
    SetUpTraceEnvironment(environment);
    EXPECT_EQ(environment.logFileName, "korr_trace_log_152027_4321.txt");
}
TEST_F(TraceEnvironmentTest, DateComesFromThreeReadingsOfTheClock) {
    clock_script::SetReadings({{2026, 12, 31, 0, 0, 0, 0, 0}, {2027, 1, 1, 0, 0, 0, 0, 0}});
    SetUpTraceEnvironment(environment);
    EXPECT_EQ(clock_script::Readings(), 3);
    EXPECT_EQ(environment.logFileName, "korr_trace_log_1212027_4321.txt");
}
TEST_F(TraceEnvironmentTest, ReadyRecordIsLeftAlone) {
    SetUpTraceEnvironment(environment);
    variables::Put("KORR_TRACE_DATA_DIR", "moved");
    SetUpTraceEnvironment(environment);
    EXPECT_EQ(variables::Peek("KORR_TRACE_DATA_DIR"), "moved");
}
TEST_F(TraceEnvironmentTest, SecondRecordFindsTheFirstOnesId) {
    SetUpTraceEnvironment(environment);
    TraceEnvironment second;
    SetUpTraceEnvironment(second);
    EXPECT_EQ(second.debugClientPid, "4321");
    EXPECT_EQ(second.logFileName, environment.logFileName);
}
TEST_F(TraceEnvironmentTest, UnknownHomeLeavesTheRecordNotReadyAndTheNextCallRunsAll) {
    variables::Put("USERPROFILE", std::nullopt);
    EXPECT_THROW(SetUpTraceEnvironment(environment), source_utilities_error);
    EXPECT_FALSE(environment.ready);
    EXPECT_EQ(variables::SetLog(), std::vector<std::string>{std::string(kPid) + "=4321"})
        << "the id is published before the folders are looked for";
    variables::Put("USERPROFILE", home.Path());
    SetUpTraceEnvironment(environment);
    EXPECT_TRUE(environment.ready);
    EXPECT_EQ(environment.logFileName, "korr_trace_log_11162026_4321.txt");
}
TEST_F(TraceEnvironmentTest, FailedFolderLeavesTheRecordNotReady) {
    files::Script().Fail("MakeTreeFolder");
    try {
        SetUpTraceEnvironment(environment);
        FAIL() << "nothing thrown";
    } catch (const source_utilities_error& failure) {
        EXPECT_EQ(failure.what(), "failed to create folder \"" + environment.loggingFolder + "\"");
    }
    EXPECT_FALSE(environment.ready);
}
TEST_F(TraceEnvironmentTest, NoFolderIsPublishedBeforeAllAreMade) {
    // The second round makes the three folders with all that lead to them: five calls, the last of ten.
    for (int first = 1; first <= 10; ++first) {
        files::Reset();
        variables::Reset();
        variables::Put("USERPROFILE", home.Path());
        files::Script().Fail("MakeTreeFolder", first);
        TraceEnvironment fresh;
        EXPECT_THROW(SetUpTraceEnvironment(fresh), source_utilities_error) << first;
        EXPECT_EQ(variables::SetLog(), std::vector<std::string>{std::string(kPid) + "=4321"}) << first;
        EXPECT_FALSE(fresh.ready);
        EXPECT_EQ(fresh.logFileName, "");
    }
}
TEST_F(TraceEnvironmentTest, FoldersArePublishedOneAfterTheOther) {
    const std::vector<std::string> names = {kPid, "KORR_TRACE_LOGGING_DIR", "KORR_TRACE_DATA_DIR",
                                            "KORR_TRACE_SETTINGS_DIR"};
    for (int nth = 1; nth <= 4; ++nth) {
        variables::Reset();
        variables::Put("USERPROFILE", home.Path());
        variables::Script().Fail("SetVariable", nth, nth);
        TraceEnvironment fresh;
        EXPECT_THROW(SetUpTraceEnvironment(fresh), source_utilities_error) << nth;
        for (int name = 1; name <= 4; ++name) {
            EXPECT_EQ(variables::Peek(names[static_cast<std::size_t>(name - 1)]).has_value(), name < nth)
                << names[static_cast<std::size_t>(name - 1)] << " when call " << nth << " failed";
        }
        EXPECT_EQ(fresh.logFileName, "") << "the name comes after the variables";
    }
}
TEST_F(TraceEnvironmentTest, RefusedVariableLeavesTheRecordNotReady) {
    for (int nth = 1; nth <= 4; ++nth) {
        variables::Reset();
        variables::Put("USERPROFILE", home.Path());
        variables::Script().Fail("SetVariable", nth, nth);
        TraceEnvironment fresh;
        EXPECT_THROW(SetUpTraceEnvironment(fresh), source_utilities_error) << nth;
        EXPECT_FALSE(fresh.ready) << nth;
    }
}
TEST_F(TraceEnvironmentTest, ProcessLogIsOpenedInTheLoggingFolder) {
    variables::Put("KORR_TRACE_LOGGING", "1");
    SetUpTraceEnvironment(environment);
    OpenProcessLog(environment);
    ASSERT_NE(uLogManager::Instance().CurrentLogger(), nullptr);
    const std::string log = ReadText(JoinPath(environment.loggingFolder, environment.logFileName));
    EXPECT_EQ(log, "M     12:34:56:007 | Logger : trace user settings directory is " +
                       environment.settingsFolder +
                       "\nM     12:34:56:007 | Logger : trace temporary data directory is " +
                       environment.dataFolder + "\n");
    uLogManager::Instance().CurrentLogger()->SetEnabled(false);
}

}  // namespace
