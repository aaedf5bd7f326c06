#include "tracehost/recording_log.h"

#include <gtest/gtest.h>

#include "source_utilities/environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/unit/tracehost/faults/log_folder.h"
#include "tests/unit/tracehost/faults/scripted_host_seams.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using KORR_PLIM::platform::GetVariable;
using scripted_host::host;
using Lines = std::vector<std::string>;

class RecordingLogFaults : public testing::Test {
  protected:
    RecordingLogFaults() : home(folder.Path() + "/private") {
        host = {};
        fakes::file_system::Reset();
        std::filesystem::create_directories(home);
    }
    ~RecordingLogFaults() override { fakes::file_system::Reset(); }

    /// A log that is there, and of the user's own wish.
    RecordingLog Open() const {
        RecordingLog log(home);
        log.BeforeTheReceiver();
        log.AfterTheReceiver();
        return log;
    }
    /// What the plug-in does when it makes its log: its folders are below the home of that moment.
    static void MakeReceiver() {
        const std::string root = GetVariable("USERPROFILE") + "/.KORR-trace";
        std::filesystem::create_directories(root);
        log_folder::LogFolder::Set("KORR_TRACE_LOGGING_DIR", root);
        std::ofstream(root + "/korr_trace_log_11222026_77.txt") << "M     00:00:00:000 | Logger : begun\n";
    }
    RecordingLog OpenPrivate() const {
        log_folder::LogFolder::Set("KORR_TRACE_LOGGING", "0");
        RecordingLog log(home);
        log.BeforeTheReceiver();
        EXPECT_EQ(GetVariable("USERPROFILE"), home);
        EXPECT_EQ(GetVariable("KORR_TRACE_LOGGING"), "1");
        MakeReceiver();
        log.AfterTheReceiver();
        return log;
    }

    log_folder::LogFolder folder;
    std::string home;
};

TEST_F(RecordingLogFaults, LinesFromBeforeTheReceiverAreNotTold) {
    folder.Error("old");
    RecordingLog log = Open();
    folder.Error("new");
    EXPECT_EQ(log.NewErrors(), Lines{"new"});
    EXPECT_EQ(log.NewErrors(), Lines{});
}

TEST_F(RecordingLogFaults, HalfALineIsToldOnceItIsWhole) {
    RecordingLog log = Open();
    folder.Append("    E 00:00:01:000 | ha");
    EXPECT_EQ(log.NewErrors(), Lines{});
    folder.Append("lf\r\nM     00:00:01:000 | message\n");
    EXPECT_EQ(log.NewErrors(), Lines{"half"});
}

TEST_F(RecordingLogFaults, LineWithoutAnEndIsPassedOver) {
    RecordingLog log = Open();
    folder.Append(std::string(RecordingLog::kMostAtOnce + 100, 'x'));
    EXPECT_EQ(log.NewErrors(), Lines{});
    folder.Append("\n");
    folder.Error("after");
    EXPECT_EQ(log.NewErrors(), Lines{"after"});
}

TEST_F(RecordingLogFaults, LinesWithoutTheirFormAreNoErrors) {
    RecordingLog log = Open();
    folder.Append("\n    E\n    E without a time\nE 00:00:01:000 | in the wrong column\n");
    EXPECT_EQ(log.NewErrors(), Lines{});
}

TEST_F(RecordingLogFaults, EachFailedCallLeavesTheLinesForTheNextLook) {
    for (const char* const call : {"OpenShared", "StreamLength", "SeekStream"}) {
        RecordingLog log = Open();
        folder.Error(call);
        fakes::file_system::Script().Reset();
        fakes::file_system::Script().Fail(call, 1, 1);
        EXPECT_EQ(log.NewErrors(), Lines{}) << call;
        EXPECT_EQ(log.Settings(), std::nullopt) << call;
        EXPECT_EQ(fakes::file_system::Script().Failures(call), 1);
        EXPECT_EQ(log.NewErrors(), Lines{call});
    }
}

TEST_F(RecordingLogFaults, LogThatIsGoneOrShorterTellsNothing) {
    RecordingLog log = Open();
    std::ofstream(folder.Log(), std::ios::trunc) << "x";
    EXPECT_EQ(log.NewErrors(), Lines{});
    std::filesystem::remove(folder.Log());
    EXPECT_EQ(log.NewErrors(), Lines{});
    EXPECT_EQ(log.Settings(), std::nullopt);
}

TEST_F(RecordingLogFaults, WithoutALogNothingIsTold) {
    std::filesystem::remove(folder.Log());
    RecordingLog log = Open();
    EXPECT_FALSE(log.IsKept());
    EXPECT_EQ(log.NewErrors(), Lines{});
    EXPECT_EQ(log.Settings(), std::nullopt);
    EXPECT_TRUE(fakes::file_system::OpenLog().empty());
}

TEST_F(RecordingLogFaults, FolderThatCannotBeListedIsNoLog) {
    log_folder::LogFolder::Set("KORR_TRACE_LOGGING_DIR", folder.Path() + "/none");
    EXPECT_FALSE(Open().IsKept());
}

TEST_F(RecordingLogFaults, SettingsAreThoseOfThisReceiver) {
    const std::string line = " | Tarnel_UARTCollector: UART configuration: Target: Trace Clock = ";
    folder.Append("M     00:00:00:000" + line + "1.000000, Baud rate=1, Prescalar=0\n");
    RecordingLog log = Open();
    EXPECT_EQ(log.Settings(), std::nullopt);
    folder.Append("M     00:00:00:000" + line + "24000000.500000, Baud rate=2000000, Prescalar=11\n");
    ASSERT_TRUE(log.Settings());
    EXPECT_EQ(log.Settings()->traceClock, 24000000.5);
    EXPECT_EQ(log.Settings()->baudRate, 2000000u);
}

TEST_F(RecordingLogFaults, PrivateLogLeavesTheUsersVariablesAndFolders) {
    RecordingLog log = OpenPrivate();
    EXPECT_TRUE(log.IsKept());
    EXPECT_EQ(GetVariable("USERPROFILE"), folder.Path());
    EXPECT_EQ(GetVariable("KORR_TRACE_LOGGING"), "0");
    EXPECT_EQ(GetVariable("KORR_TRACE_LOGGING_DIR"), folder.Path() + "/.KORR-trace");
}

TEST_F(RecordingLogFaults, FoldersOfTheUserThatCannotBeMadeStayAsTheyWereNamed) {
    fakes::file_system::Script().Fail("MakeTreeFolder");
    RecordingLog log = OpenPrivate();
    EXPECT_EQ(GetVariable("KORR_TRACE_LOGGING_DIR"), folder.Path());
    EXPECT_EQ(GetVariable("KORR_TRACE_DATA_DIR"), "data");
    EXPECT_EQ(GetVariable("KORR_TRACE_SETTINGS_DIR"), "settings");
}

TEST_F(RecordingLogFaults, UserWithoutAHomeHasNoneAfterwards) {
    ClearProcessVariable("USERPROFILE");
    ClearProcessVariable("HOME");
    RecordingLog log = OpenPrivate();
    EXPECT_EQ(GetVariable("USERPROFILE"), "");
    EXPECT_EQ(GetVariable("KORR_TRACE_DATA_DIR"), "data");
}

TEST_F(RecordingLogFaults, PrivateLogForgetsWhatWasRead) {
    RecordingLog log = OpenPrivate();
    const std::string file = home + "/.KORR-trace/korr_trace_log_11222026_77.txt";
    const std::string lines(RecordingLog::kMostAtOnce / 2, '\n');
    for (int look = 0; look < 8; ++look) {
        std::ofstream(file, std::ios::app | std::ios::binary) << lines;
        log.NewErrors();
    }
    ASSERT_GE(host.forgotten.size(), 3u);
    EXPECT_LE(host.forgotten.size(), 4u);
    EXPECT_GE(host.forgotten.front(), RecordingLog::kMostAtOnce);
    EXPECT_GE(host.forgotten.back(), 3 * RecordingLog::kMostAtOnce);
}

TEST_F(RecordingLogFaults, LogThatCannotForgetIsReadOn) {
    host.logsCanForget = false;
    RecordingLog log = OpenPrivate();
    const std::string file = home + "/.KORR-trace/korr_trace_log_11222026_77.txt";
    std::ofstream(file, std::ios::app | std::ios::binary)
        << std::string(RecordingLog::kMostAtOnce, '\n') << "    E 00:00:01:000 | later\n";
    EXPECT_EQ(log.NewErrors(), Lines{});
    EXPECT_EQ(log.NewErrors(), Lines{"later"});
}

TEST_F(RecordingLogFaults, TheUsersOwnLogIsLeftWhole) {
    RecordingLog log = Open();
    folder.Append(std::string(2 * RecordingLog::kMostAtOnce, '\n'));
    log.NewErrors();
    log.NewErrors();
    EXPECT_TRUE(host.forgotten.empty());
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
