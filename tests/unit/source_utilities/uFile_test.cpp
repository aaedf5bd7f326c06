#include "source_utilities/uFile.h"

#include <gtest/gtest.h>

#include <thread>

#include "temporary_folder.h"
#include "tests/fakes/scripted_file_system.h"

namespace {

using KORR_PLIM::uFile;
namespace files = fakes::file_system;

class uFileTest : public testing::Test {
  protected:
    uFileTest() { files::Reset(); }
    TemporaryFolder folder;
    const std::string path = folder.File("file.bin");
    uFile file;
};

TEST_F(uFileTest, ConstructionDoesNotOpen) {
    const uFile other(path.c_str(), "wb");
    EXPECT_FALSE(other.IsOpen());
    EXPECT_FALSE(std::filesystem::exists(path));
}
TEST_F(uFileTest, WritesFlushesAndTellsItsLength) {
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Write("abc", 3), 3);
    EXPECT_TRUE(file.WriteString("de"));
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(file.Length(), 5);
    EXPECT_EQ(ReadFile(path), "abcde") << "readable by others while it is open";
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
}
TEST_F(uFileTest, CloseOnAFileNeverOpenedReturnsFalse) { EXPECT_FALSE(file.Close()); }
TEST_F(uFileTest, SecondCloseReturnsFalse) {
    file.Open(path.c_str(), "wb");
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.Close());
}
TEST_F(uFileTest, EverythingIsRefusedWhenNotOpen) {
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Write("a", 1), 0);
    EXPECT_FALSE(file.WriteString("a"));
    EXPECT_EQ(file.Length(), -1);
}
TEST_F(uFileTest, NullNameOpensNothing) {
    EXPECT_FALSE(file.Open(nullptr, "rb"));
    EXPECT_EQ(files::OpenLog(), (std::vector<std::string>{"rb "}));
}
TEST_F(uFileTest, NullModeOpensNothing) {
    EXPECT_FALSE(file.Open(path.c_str(), nullptr));
    EXPECT_FALSE(std::filesystem::exists(path));
}
TEST_F(uFileTest, DestructionDoesNotClose) {
    {
        uFile leftOpen(path.c_str(), "wb");
        ASSERT_TRUE(leftOpen.Open(path.c_str(), "wb"));
        EXPECT_EQ(leftOpen.Write("abc", 3), 3);
    }
    EXPECT_EQ(ReadFile(path), "") << "closed, and so flushed";
    std::fflush(nullptr);
    EXPECT_EQ(ReadFile(path), "abc") << "the stream is there still";
}
TEST_F(uFileTest, FailedOpenIsNotOpen) {
    files::Script().Fail("OpenShared");
    EXPECT_FALSE(file.Open(path.c_str(), "wb"));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.Close());
}
TEST_F(uFileTest, OpeningAgainClosesTheFirstStream) {
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    file.Write("first", 5);
    ASSERT_TRUE(file.Open(folder.File("second").c_str(), "wb"));
    EXPECT_EQ(ReadFile(path), "first");
    EXPECT_TRUE(file.Close());
}
TEST_F(uFileTest, RefusedWritesAreReported) {
    files::Script().Fail("Write");
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    EXPECT_EQ(file.Write("abc", 3), 0);
    EXPECT_FALSE(file.WriteString("abc"));
    file.Close();
}
TEST_F(uFileTest, NullBufferAndNullTextWriteNothing) {
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    EXPECT_EQ(file.Write(nullptr, 4), 0);
    EXPECT_FALSE(file.WriteString(nullptr));
    EXPECT_EQ(file.Write("x", 0), 0);
    file.Close();
    EXPECT_EQ(ReadFile(path), "");
}
TEST_F(uFileTest, FailedLengthIsMinusOne) {
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    files::Script().Fail("StreamLength");
    EXPECT_EQ(file.Length(), -1);
    file.Close();
}
TEST_F(uFileTest, SeveralThreadsMayCallEveryOperation) {
    // What is shown is shown by the thread sanitizer.
    std::thread openingAndClosing([this] {
        for (int i = 0; i < 200; ++i) {
            file.Open(path.c_str(), "wb");
            file.Close();
        }
    });
    for (int i = 0; i < 200; ++i) {
        file.Write("a", 1);
        file.WriteString("b");
        file.Flush();
    }
    openingAndClosing.join();
    EXPECT_FALSE(file.IsOpen());
}
TEST_F(uFileTest, SeveralThreadsWriteWholeRecords) {
    ASSERT_TRUE(file.Open(path.c_str(), "wb"));
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        threads.emplace_back([this, letter] {
            const std::string record(10, letter);
            for (int i = 0; i < 200; ++i) file.Write(record.data(), record.size());
        });
    }
    for (auto& thread : threads) thread.join();
    file.Close();
    const std::string written = ReadFile(path);
    ASSERT_EQ(written.size(), 8000U);
    for (std::size_t at = 0; at < written.size(); at += 10) {
        EXPECT_EQ(written.substr(at, 10), std::string(10, written[at]));
    }
}

}  // namespace
