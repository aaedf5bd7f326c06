#include "source_utilities/uLogger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "temporary_folder.h"
#include "tests/fakes/scripted_debugger_output.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"

namespace {

using namespace KORR_PLIM;
namespace files = fakes::file_system;
namespace debugger = fakes::debugger_output;

class uLoggerTest : public testing::Test {
  protected:
    uLoggerTest() {
        files::Reset();
        debugger::Reset();
        fakes::local_time::Reset();
    }
    std::string Logged() const { return ReadText(path); }
    /// What the file holds after one line in a fresh logger.
    std::string Line(uint32_t mask, uint32_t timeFormat, const std::string& text) {
        uLogger fresh(path, false);
        fresh.Log(mask, timeFormat, "%s", text.c_str());
        return Logged();
    }
    TemporaryFolder folder;
    const std::string path = folder.File("log.txt");
    uLogger logger{path, true};
};

TEST_F(uLoggerTest, MaskLettersStandAtTheHead) {
    EXPECT_EQ(Line(1, 0, "x"), "M      x\n");
    EXPECT_EQ(Line(2, 0, "x"), " W     x\n");
    EXPECT_EQ(Line(4, 0, "x"), "  F    x\n");
    EXPECT_EQ(Line(8, 0, "x"), "   A   x\n");
    EXPECT_EQ(Line(16, 0, "x"), "    E  x\n");
    EXPECT_EQ(Line(31, 0, "x"), "MWFAE  x\n");
    EXPECT_EQ(Line(32, 0, "x"), "       x\n") << "a bit without a letter";
}
TEST_F(uLoggerTest, TimeFormats) {
    EXPECT_EQ(Line(1, 0, "x"), "M      x\n");
    EXPECT_EQ(Line(1, 1, "x"), "M     11/16/26 | x\n");
    EXPECT_EQ(Line(1, 2, "x"), "M     12:34:56:007 | x\n");
    EXPECT_EQ(Line(1, 3, "x"), "M     11/16/26 12:34:56:007 | x\n");
    EXPECT_EQ(Line(1, 4, "x"), "M      x\n");
    EXPECT_EQ(Line(1, 0xFFFFFFFF, "x"), "M      x\n");
}
TEST_F(uLoggerTest, EachLineEndsInExactlyOneLineFeed) {
    for (const char* end : {"", "\n", "\r", "\r\n", "\n\r"}) {
        EXPECT_EQ(Line(1, 0, std::string("x") + end), "M      x\n");
    }
    EXPECT_EQ(Line(1, 0, "x\n\n"), "M      x\n\n") << "only one line end is taken away";
    EXPECT_EQ(Line(1, 0, ""), "M      \n");
}
TEST_F(uLoggerTest, MaskZeroWritesNothing) {
    logger.Log(0, 2, "x");
    EXPECT_FALSE(std::filesystem::exists(path));
}
TEST_F(uLoggerTest, MaskFilterZeroDropsEveryLine) {
    logger.SetMaskFilter(0);
    logger.Log(31, 2, "x");
    EXPECT_FALSE(std::filesystem::exists(path));
    logger.SetMaskFilter(1);
    logger.Log(16, 0, "x");
    EXPECT_EQ(Logged(), "    E  x\n");
}
TEST_F(uLoggerTest, FileIsOpenedWithTheFirstLineAndOnce) {
    EXPECT_EQ(files::OpenLog().size(), 0U);
    logger.Log(1, 0, "a");
    logger.Log(1, 0, "b");
    EXPECT_EQ(files::OpenLog(), (std::vector<std::string>{"a+ " + path}));
    EXPECT_EQ(Logged(), "M      a\nM      b\n") << "readable while it is open";
}
TEST_F(uLoggerTest, AppendKeepsWhatIsThere) {
    uLogger(path, true).Log(1, 0, "first");
    logger.Log(1, 0, "second");
    EXPECT_EQ(Logged(), "M      first\nM      second\n");
}
TEST_F(uLoggerTest, WithoutAppendTheFileStartsAfresh) {
    uLogger(path, false).Log(1, 0, "first");
    uLogger(path, false).Log(1, 0, "second");
    EXPECT_EQ(Logged(), "M      second\n");
    EXPECT_EQ(files::OpenLog().back(), "w+ " + path);
}
TEST_F(uLoggerTest, DisabledLoggerWritesNothing) {
    EXPECT_TRUE(logger.SetEnabled(false));
    logger.Log(1, 0, "x");
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(logger.SetEnabled(true));
}
TEST_F(uLoggerTest, SetEnabledClosesAndALaterLineReopensInTheSameMode) {
    logger.Log(1, 0, "a");
    logger.SetEnabled(false);
    EXPECT_TRUE(std::filesystem::remove(path)) << "closed";
    logger.SetEnabled(true);
    logger.Log(1, 0, "b");
    EXPECT_EQ(files::OpenLog(), (std::vector<std::string>{"a+ " + path, "a+ " + path}));
    EXPECT_EQ(Logged(), "M      b\n");
}
TEST_F(uLoggerTest, EnabledLoggerThatIsEnabledAgainKeepsItsFile) {
    uLogger fresh(path, false);
    fresh.Log(1, 0, "a");
    EXPECT_TRUE(fresh.SetEnabled(true));
    fresh.Log(1, 0, "b");
    EXPECT_EQ(files::OpenLog(), (std::vector<std::string>{"w+ " + path}));
    fresh.SetEnabled(false);
    EXPECT_EQ(Logged(), "M      a\nM      b\n");
}
TEST_F(uLoggerTest, LoggerThatDoesNotAppendReopensInTheSameModeToo) {
    uLogger fresh(path, false);
    fresh.Log(1, 0, "a");
    fresh.SetEnabled(false);
    fresh.SetEnabled(true);
    fresh.Log(1, 0, "b");
    fresh.SetEnabled(false);
    EXPECT_EQ(files::OpenLog(), (std::vector<std::string>{"w+ " + path, "w+ " + path}));
    EXPECT_EQ(Logged(), "M      b\n");
}
TEST_F(uLoggerTest, FailedOpenIsTriedAgainWithTheNextLine) {
    files::Script().Fail("OpenShared", 1, 2);
    logger.Log(1, 0, "lost");
    logger.Log(1, 0, "lost too");
    logger.Log(1, 0, "kept");
    EXPECT_EQ(files::OpenLog().size(), 3U);
    EXPECT_EQ(Logged(), "M      kept\n");
}
TEST_F(uLoggerTest, RefusedWritesAreSurvived) {
    files::Script().Fail("Write");
    logger.SetDebugger(true);
    logger.Log(1, 0, "x");
    EXPECT_EQ(Logged(), "");
    EXPECT_EQ(debugger::Texts(), (std::vector<std::string>{"M      x\n"}));
}
TEST_F(uLoggerTest, ConsoleGetsEachLineAsItIs) {
    logger.SetConsole(true);
    testing::internal::CaptureStdout();
    logger.Log(1, 0, "100%% %s", "%d");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "M      100% %d\n");
    logger.SetConsole(false);
    testing::internal::CaptureStdout();
    logger.Log(1, 0, "x");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
TEST_F(uLoggerTest, DebuggerGetsEachLine) {
    logger.Log(1, 0, "before");
    logger.SetDebugger(true);
    logger.Log(16, 2, "x");
    EXPECT_EQ(debugger::Texts(), (std::vector<std::string>{"    E 12:34:56:007 | x\n"}));
}
TEST_F(uLoggerTest, SwitchingOffWaitsForTheLineThatIsBeingWritten) {
    std::future<bool> off;
    logger.SetDebugger(true);
    debugger::WhileWriting([&] {
        off = std::async(std::launch::async, [this] { return logger.SetEnabled(false); });
        EXPECT_EQ(off.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    });
    logger.Log(1, 0, "x");
    EXPECT_TRUE(off.get());
}
TEST_F(uLoggerTest, LinesAroundTheBufferSizeComeOutWhole) {
    for (std::size_t length = 4080; length <= 4100; ++length) {
        const std::string text(length, 'x');
        EXPECT_EQ(Line(1, 0, text), "M      " + text + "\n") << length;
        EXPECT_EQ(Line(1, 0, text + "\r\n"), "M      " + text + "\n") << length;
    }
}
TEST_F(uLoggerTest, VeryLongLineComesOutWhole) {
    const std::string text(100000, 'x');
    logger.Log(1, 2, "%s|%d", text.c_str(), 5);
    EXPECT_EQ(Logged(), "M     12:34:56:007 | " + text + "|5\n");
}
TEST_F(uLoggerTest, LinesOfSeveralThreadsNeverInterleave) {
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        threads.emplace_back([this, letter] {
            const std::string text(static_cast<std::size_t>(letter - 'a') * 2000 + 10, letter);
            for (int i = 0; i < 100; ++i) logger.Log(1, 0, "%s", text.c_str());
        });
    }
    for (auto& thread : threads) thread.join();
    std::istringstream lines(Logged());
    std::string line;
    int count = 0;
    for (; std::getline(lines, line); ++count) {
        ASSERT_GT(line.size(), 7U);
        const char letter = line[7];
        const auto length = static_cast<std::size_t>(letter - 'a') * 2000 + 10;
        ASSERT_EQ(line, "M      " + std::string(length, letter));
    }
    EXPECT_EQ(count, 400);
}

}  // namespace
