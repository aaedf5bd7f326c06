#include "tracehost/capture_watch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

#include "tests/fakes/scripted_file_system.h"
#include "tests/unit/tracehost/faults/log_folder.h"
#include "tests/unit/tracehost/faults/scripted_host_seams.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using scripted_host::host;
constexpr const char* kRead = "Tarnel_UARTCollector: Reading COM port failed with error code ";
constexpr const char* kWrite = "Tarnel_UARTCollector: Writing to binary file failed with error code ";

constexpr const char* kRefused = "Bad file descriptor";  // what a scripted write fails with
constexpr const char* kGone = "COM7 vanished: is the probe plugged in?";

class CaptureWatchFaults : public testing::Test {
  protected:
    CaptureWatchFaults() : log("") {
        host = {};
        fakes::file_system::Reset();
        log.BeforeTheReceiver();
        log.AfterTheReceiver();
        capture = folder.Path() + "/capture.bin";
    }
    ~CaptureWatchFaults() override { fakes::file_system::Reset(); }

    CaptureWatch Watch() { return {log, 7, capture}; }
    /// Of a capture whose thread is number 2 and lives.
    CaptureWatch WatchWithThread() {
        CaptureThread thread;
        host.threads = {1};
        thread.BeforeStart();
        host.threads = {1, 2};
        thread.AfterStart();
        return {log, 7, capture, thread};
    }
    static std::string What(const std::optional<CaptureFault>& fault) {
        return fault ? fault->what : "nothing";
    }
    std::string NotWritten(const std::string& why, const std::string& room) const {
        return "the capture file \"" + capture + "\" takes no more (" + why + "; " + room +
               " on its disk): make room there, or lift the limit on file sizes";
    }

    log_folder::LogFolder folder;
    RecordingLog log;
    std::string capture;
};

TEST_F(CaptureWatchFaults, RunningCaptureHasNone) {
    CaptureWatch watch = Watch();
    for (int look = 0; look < 30; ++look) {
        EXPECT_EQ(What(watch.Look(look * 0.1, static_cast<uint64_t>(look) * 100)), "nothing");
    }
}

TEST_F(CaptureWatchFaults, PortThatIsGoneForAMomentIsToldThen) {
    CaptureWatch watch = Watch();
    host.identity.clear();
    EXPECT_EQ(What(watch.Look(1.0, 8)), "nothing");
    EXPECT_EQ(What(watch.Look(1.29, 8)), "nothing");
    const auto fault = watch.Look(1.31, 8);
    EXPECT_EQ(What(fault), "COM7 vanished: is the probe plugged in?");
    EXPECT_TRUE(fault->ofThePort);
    EXPECT_EQ(fault->readError, std::nullopt);
}

TEST_F(CaptureWatchFaults, OtherPortInItsPlaceIsNotThePort) {
    CaptureWatch watch = Watch();
    host.identity = "1:2:4";
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.4, 8)), "COM7 vanished: is the probe plugged in?");
}

TEST_F(CaptureWatchFaults, DeviceThatIsHeldAndVanishedIsGoneWhateverStandsInItsPlace) {
    CaptureWatch watch = Watch();
    host.deviceVanished = true;
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.4, 8)), "COM7 vanished: is the probe plugged in?");
}

TEST_F(CaptureWatchFaults, PortThatComesBackAtOnceIsNotGone) {
    CaptureWatch watch = Watch();
    host.identity.clear();
    watch.Look(1.0, 8);
    host.identity = "1:2:3";
    EXPECT_EQ(What(watch.Look(1.2, 8)), "nothing");
    host.identity.clear();
    EXPECT_EQ(What(watch.Look(1.4, 8)), "nothing");
}

TEST_F(CaptureWatchFaults, PortThatWasNeverSeenIsNotMissed) {
    host.identity.clear();
    CaptureWatch watch = Watch();
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(2.0, 16)), "nothing");
}

TEST_F(CaptureWatchFaults, PortThatVanishedBeforeTheWatchBeganIsToldWhenItIsNotReadAnyMore) {
    host.identity.clear();
    CaptureWatch watch = Watch();
    folder.Error(std::string(kRead) + "5");
    EXPECT_NE(What(watch.Look(1.0, 8)).find("vanished"), std::string::npos);
}

TEST_F(CaptureWatchFaults, UnknownPortIsCalledThePort) {
    CaptureWatch watch(log, std::nullopt, capture);
    folder.Error(std::string(kRead) + "5");
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.4, 8)),
              "the COM port could not be read any more (error 5: words of 5): is the probe plugged in?");
}

TEST_F(CaptureWatchFaults, FailedReadOfAGonePortIsToldAtOnce) {
    CaptureWatch watch = Watch();
    host.identity.clear();
    folder.Error(std::string(kRead) + "5");
    const auto fault = watch.Look(1.0, 8);
    EXPECT_EQ(What(fault), "COM7 vanished (error 5: words of 5): is the probe plugged in?");
    EXPECT_EQ(fault->readError, 5u);
}

TEST_F(CaptureWatchFaults, FailedReadOfAPortThatStaysIsToldAfterAMoment) {
    CaptureWatch watch = Watch();
    folder.Error(std::string(kRead) + "995");
    EXPECT_EQ(What(watch.Look(1.0, 8)), "nothing");
    const auto fault = watch.Look(1.31, 8);
    EXPECT_EQ(What(fault),
              "COM7 could not be read any more (error 995: words of 995): is the probe plugged in?");
    EXPECT_TRUE(fault->ofThePort);
    EXPECT_EQ(fault->readError, 995u);
}

TEST_F(CaptureWatchFaults, FailedWriteIsToldWithPathReasonAndRoom) {
    fakes::file_system::SetFreeSpace(12'000);
    folder.Error(std::string(kWrite) + "28");
    CaptureWatch watch = Watch();
    const auto fault = watch.Look(1.0, 8);
    EXPECT_EQ(What(fault), NotWritten("error 28: words of 28", "12.0 kB free"));
    EXPECT_FALSE(fault->ofThePort);
}

TEST_F(CaptureWatchFaults, RoomThatIsNotToldIsCalledUnknown) {
    fakes::file_system::Script().Fail("FreeSpace");
    folder.Error(std::string(kWrite) + "27");
    CaptureWatch watch = Watch();
    EXPECT_EQ(What(watch.Look(1.0, 8)), NotWritten("error 27: words of 27", "free space unknown"));
}

TEST_F(CaptureWatchFaults, FullDiskIsFoundByAWriteWhenTheCaptureStandsStill) {
    fakes::file_system::SetFreeSpace(0);
    fakes::file_system::Script().Fail("Write");
    CaptureWatch watch = Watch();
    EXPECT_EQ(What(watch.Look(1.0, 8)), "nothing");
    EXPECT_EQ(What(watch.Look(1.49, 8)), "nothing");
    EXPECT_EQ(What(watch.Look(1.51, 8)), NotWritten(kRefused, "0 bytes free"));
}

TEST_F(CaptureWatchFaults, FullDiskIsFoundWhenItsRoomIsNotTold) {
    fakes::file_system::Script().Fail("FreeSpace");
    fakes::file_system::Script().Fail("Write");
    CaptureWatch watch = Watch();
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.6, 8)), NotWritten(kRefused, "free space unknown"));
}

TEST_F(CaptureWatchFaults, GrowingCaptureAsksNothingOfTheDisk) {
    fakes::file_system::SetFreeSpace(0);
    fakes::file_system::Script().Fail("Write");
    CaptureWatch watch = Watch();
    for (int look = 1; look < 30; ++look) {
        EXPECT_EQ(What(watch.Look(look * 0.1, static_cast<uint64_t>(look))), "nothing");
    }
    EXPECT_TRUE(fakes::file_system::FreeSpaceLog().empty());
}

TEST_F(CaptureWatchFaults, DiskWithLittleRoomThatTakesBytesIsNotFullAndNothingIsLeftOnIt) {
    fakes::file_system::SetFreeSpace(100);
    CaptureWatch watch = Watch();
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.6, 8)), "nothing");
    EXPECT_EQ(fakes::file_system::OpenLog().back(), "wb " + folder.Path() + "/tracehost-room.tmp");
    EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/tracehost-room.tmp"));
}

TEST_F(CaptureWatchFaults, ProbeThatCannotBeOpenedTellsNothing) {
    std::ofstream(capture) << "x";  // which leaves errno as it is
    fakes::file_system::SetFreeSpace(0);
    CaptureWatch watch = Watch();
    watch.Look(1.0, 8);
    fakes::file_system::Script().Fail("OpenShared");
    errno = EMFILE;
    EXPECT_EQ(What(watch.Look(1.6, 8)), "nothing");
    errno = ENOSPC;
    EXPECT_EQ(What(watch.Look(2.2, 8)), NotWritten("the disk is full", "0 bytes free"));
}

TEST_F(CaptureWatchFaults, CaptureFileThatBecameShorterIsTold) {
    CaptureWatch watch = Watch();
    watch.Look(1.0, 800);
    const auto fault = watch.Look(1.1, 792);
    EXPECT_EQ(What(fault), "the capture file \"" + capture + "\" was removed or shortened");
    EXPECT_FALSE(fault->ofThePort);
}

TEST_F(CaptureWatchFaults, CaptureFileThatIsRemovedBeforeItsFirstByteIsTold) {
    std::ofstream(capture) << "";
    CaptureWatch watch = Watch();
    EXPECT_EQ(What(watch.Look(1.0, 0)), "nothing");
    std::filesystem::remove(capture);
    EXPECT_EQ(What(watch.Look(1.1, 0)), "the capture file \"" + capture + "\" was removed or shortened");
}

TEST_F(CaptureWatchFaults, OtherFileInTheCaptureFilesPlaceIsNotTakenForIt) {
    std::ofstream(capture) << "captured";
    std::ifstream held(capture);  // as by the plug-in
    CaptureWatch watch = Watch();
    EXPECT_EQ(What(watch.Look(1.0, 8)), "nothing");
    std::ofstream(capture + ".other") << "of another";
    std::filesystem::rename(capture + ".other", capture);
    const auto fault = watch.Look(1.1, 16);
    EXPECT_EQ(What(fault), "the capture file \"" + capture + "\" was removed or shortened");
    EXPECT_FALSE(fault->ofThePort);
}

TEST_F(CaptureWatchFaults, LogThatCannotBeReadForAMomentLosesNoLine) {
    CaptureWatch watch = Watch();
    folder.Error(std::string(kWrite) + "28");
    fakes::file_system::Script().Fail("OpenShared", 1, 1);
    EXPECT_EQ(What(watch.Look(1.0, 8)), "nothing");
    EXPECT_EQ(What(watch.Look(1.1, 16)), NotWritten("error 28: words of 28", "1.00 GB free"));
}

TEST_F(CaptureWatchFaults, RefusedBytesAreToldHoweverMuchRoomThereIs) {
    fakes::file_system::Script().Fail("Write");
    CaptureWatch watch = Watch();
    watch.Look(1.0, 8);
    EXPECT_EQ(What(watch.Look(1.51, 8)), NotWritten(kRefused, "1.00 GB free"));
}

TEST_F(CaptureWatchFaults, LimitOnFileSizesIsToldWhenTheCaptureHasReachedIt) {
    std::ofstream(capture) << std::string(4000, 'x');
    host.fileSizeLimit = 4001;
    CaptureWatch watch = Watch();
    watch.Look(1.0, 4000);
    EXPECT_EQ(What(watch.Look(1.51, 4000)), "nothing");
    host.fileSizeLimit = 4000;
    EXPECT_EQ(What(watch.Look(2.02, 4000)),
              NotWritten("a file may have no more than 4000 bytes", "1.00 GB free"));
}

TEST_F(CaptureWatchFaults, SilentCaptureWhoseThreadLivesHasNone) {
    std::ofstream(capture) << std::string(4000, 'x');
    host.fileSizeLimit = 4000;
    fakes::file_system::Script().Fail("Write");
    CaptureWatch watch = WatchWithThread();
    for (int look = 0; look < 30; ++look) EXPECT_EQ(What(watch.Look(look * 0.1, 4000)), "nothing");
    EXPECT_EQ(What(watch.LastLook(3.1, 4000)), "nothing");
}

TEST_F(CaptureWatchFaults, ThreadThatEndedIsToldWithinASecond) {
    CaptureWatch watch = WatchWithThread();
    watch.Look(1.0, 8);
    host.threads = {1};
    EXPECT_EQ(What(watch.Look(1.1, 8)), "nothing");
    EXPECT_EQ(What(watch.Look(1.21, 8)), "nothing");
    const auto fault = watch.Look(1.52, 8);
    EXPECT_EQ(What(fault), "the capture thread ended by itself");
    EXPECT_FALSE(fault->ofThePort);
}

TEST_F(CaptureWatchFaults, ThreadThatEndedBecauseOfTheDiskOrThePortIsToldAsThat) {
    std::ofstream(capture) << std::string(4000, 'x');
    host.fileSizeLimit = 4000;
    CaptureWatch full = WatchWithThread();
    full.Look(1.0, 4000);
    host.threads = {1};
    full.Look(1.21, 4000);
    EXPECT_EQ(What(full.Look(1.52, 4000)),
              NotWritten("a file may have no more than 4000 bytes", "1.00 GB free"));
    CaptureWatch gone = WatchWithThread();
    gone.Look(1.0, 8);
    host.threads = {1};
    gone.Look(1.21, 8);
    host.identity.clear();
    EXPECT_EQ(What(gone.Look(1.52, 8)), kGone);
}

TEST_F(CaptureWatchFaults, ThreadThatEndedBeforeItWasSeenIsTold) {
    CaptureThread thread;
    host.threads = {1};
    thread.BeforeStart();
    thread.AfterStart();
    CaptureWatch watch(log, 7, capture, thread);
    EXPECT_EQ(What(watch.LastLook(0.1, 0)), "the capture thread ended by itself");
}

TEST_F(CaptureWatchFaults, ThreadsThatAreNotToldAreNotMissed) {
    for (const bool before : {false, true}) {
        CaptureThread thread;
        host.threads.clear();
        if (before) host.threads = {1};
        thread.BeforeStart();
        if (!before) host.threads = {1, 2};
        if (before) host.threads.clear();
        thread.AfterStart();
        EXPECT_EQ(thread.Lives(), std::nullopt);
    }
    CaptureWatch watch = WatchWithThread();
    host.threads.clear();
    EXPECT_EQ(What(watch.LastLook(2.0, 8)), "nothing");
}

TEST_F(CaptureWatchFaults, LastLookWaitsForNothing) {
    CaptureWatch unread = Watch();
    folder.Error(std::string(kRead) + "5");
    EXPECT_EQ(What(unread.LastLook(1.0, 8)),
              "COM7 could not be read any more (error 5: words of 5): is the probe plugged in?");
    CaptureWatch gone = Watch();
    host.identity.clear();
    EXPECT_EQ(What(gone.LastLook(1.0, 8)), kGone);
    host.identity = "1:2:3";
    CaptureWatch ended = WatchWithThread();
    host.threads = {1};
    EXPECT_EQ(What(ended.LastLook(1.0, 8)), "the capture thread ended by itself");
}

TEST_F(CaptureWatchFaults, WhatTheStopBringsIntoTheLogIsTold) {
    CaptureWatch watch = WatchWithThread();
    EXPECT_EQ(What(watch.LastLook(1.0, 8)), "nothing");
    host.threads = {1};  // stopped
    EXPECT_EQ(What(watch.AfterStop(1.01)), "nothing");
    folder.Error(std::string(kWrite) + "28");
    EXPECT_EQ(What(watch.AfterStop(1.02)), NotWritten("error 28: words of 28", "1.00 GB free"));
    folder.Error(std::string(kRead) + "5");
    EXPECT_EQ(What(watch.AfterStop(1.03)),
              "COM7 could not be read any more (error 5: words of 5): is the probe plugged in?");
    CaptureWatch gone = Watch();
    host.identity.clear();
    EXPECT_EQ(What(gone.AfterStop(1.0)), kGone);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
