#include "uart/capture_file.h"

#include <gtest/gtest.h>

#include "tests/contract/file_under_test.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

class CaptureFileContract : public ::testing::Test {
  protected:
    void TearDown() override {
        if (file.IsOpen()) file.Close();
    }

    FileUnderTest target;
    CaptureFile file;
};

TEST_F(CaptureFileContract, BytesAreAppendedInOrder) {
    ASSERT_TRUE(file.Create(target.Name()));
    EXPECT_TRUE(file.IsOpen());
    EXPECT_TRUE(file.Write("ab\0c", 4));
    EXPECT_TRUE(file.Write("def", 3));
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(target.Content(), std::string("ab\0cdef", 7));
}

TEST_F(CaptureFileContract, BytesAreReadableWhileTheFileIsOpen) {
    ASSERT_TRUE(file.Create(target.Name()));
    ASSERT_TRUE(file.Write("grow", 4));
    EXPECT_EQ(target.Content(), "grow");
    ASSERT_TRUE(file.Write("n", 1));
    EXPECT_EQ(target.Content(), "grown");
}

TEST_F(CaptureFileContract, WriteOfNothingSucceedsAndChangesNothing) {
    ASSERT_TRUE(file.Create(target.Name()));
    EXPECT_TRUE(file.Write("x", 0));
    EXPECT_EQ(target.Content(), "");
    ASSERT_TRUE(file.Write("ab", 2));
    EXPECT_TRUE(file.Write("x", 0));
    EXPECT_EQ(target.Content(), "ab");
}

TEST_F(CaptureFileContract, ExistingFileIsEmptied) {
    ASSERT_TRUE(file.Create(target.Name()));
    ASSERT_TRUE(file.Write("a long first capture", 20));
    ASSERT_TRUE(file.Close());
    ASSERT_TRUE(file.Create(target.Name()));
    EXPECT_EQ(target.Content(), "");
    ASSERT_TRUE(file.Write("second", 6));
    EXPECT_EQ(target.Content(), "second");
}

TEST_F(CaptureFileContract, FileOfAnotherCaptureIsRefusedAndLeftAsItIs) {
    ASSERT_TRUE(file.Create(target.Name()));
    ASSERT_TRUE(file.Write("first", 5));
    CaptureFile second;
    EXPECT_FALSE(second.Create(target.Name()));
    EXPECT_FALSE(second.IsOpen());
    EXPECT_NE(CaptureFile::LastError(), 0U);
    ASSERT_TRUE(file.Write(" goes on", 8));
    EXPECT_EQ(target.Content(), "first goes on");
    ASSERT_TRUE(file.Close());
    EXPECT_TRUE(second.Create(target.Name()));
    EXPECT_TRUE(second.Close());
    EXPECT_EQ(target.Content(), "");
}

TEST_F(CaptureFileContract, FileInAMissingFolderIsNotMade) {
    EXPECT_FALSE(file.Create(target.UnreachableName()));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_NE(CaptureFile::LastError(), 0U);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
