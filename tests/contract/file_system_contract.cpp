#include <gtest/gtest.h>

#include <filesystem>

#include "source_utilities/file_system.h"
#include "tests/unit/source_utilities/temporary_folder.h"

// What every body of the seam does; linked once with the platform's and once with the scripted one.
namespace {

using namespace KORR_PLIM::platform;

TEST(FileSystemContract, SeparatorsAreThePlatforms) {
    EXPECT_EQ(PathSeparator(), static_cast<char>(std::filesystem::path::preferred_separator));
    EXPECT_NE(AlternativePathSeparator(), PathSeparator());
}
TEST(FileSystemContract, DevicesHaveNamesWhereFilesAreNamedWithBackslashes) {
    const bool hasDevices = PathSeparator() == '\\';
    EXPECT_EQ(IsDeviceName("NUL"), hasDevices);
    EXPECT_EQ(IsDeviceName("NUL.bin"), hasDevices);
    EXPECT_FALSE(IsDeviceName("swotrace_NUL.bin"));
    EXPECT_FALSE(IsDeviceName(""));
}
TEST(FileSystemContract, MakeFolderMakesOneLevelOnce) {
    const TemporaryFolder folder;
    EXPECT_TRUE(MakeFolder(folder.File("a").c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(folder.File("a")));
    EXPECT_FALSE(MakeFolder(folder.File("a").c_str())) << "exists";
    EXPECT_FALSE(MakeFolder((folder.File("b") + PathSeparator() + "c").c_str())) << "no parent";
}
TEST(FileSystemContract, MakeTreeFolderTakesAnExistingOne) {
    const TemporaryFolder folder;
    EXPECT_TRUE(MakeTreeFolder(folder.File("a").c_str()));
    EXPECT_TRUE(MakeTreeFolder(folder.File("a").c_str()));
    EXPECT_FALSE(MakeTreeFolder((folder.File("b") + PathSeparator() + "c").c_str()));
}
TEST(FileSystemContract, FreeSpaceOfAnExistingFolderIsKnown) {
    const TemporaryFolder folder;
    uint64_t bytes = 0;
    EXPECT_TRUE(FreeSpace(folder.Path().c_str(), bytes));
    EXPECT_GT(bytes, 0U);
}
TEST(FileSystemContract, WorkingFolderIsTheProcesss) {
    std::string folder;
    ASSERT_TRUE(WorkingFolder(folder));
    EXPECT_EQ(folder, std::filesystem::current_path().string());
}
TEST(FileSystemContract, StreamsAreSharedWithReadersAndWriters) {
    const TemporaryFolder folder;
    const std::string path = folder.File("shared");
    std::FILE* writer = OpenShared(path.c_str(), "wb");
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(std::fwrite("abc", 1, 3, writer), 3U);
    std::fflush(writer);
    std::FILE* second = OpenShared(path.c_str(), "ab");
    std::FILE* reader = OpenShared(path.c_str(), "rb");
    ASSERT_NE(second, nullptr);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(StreamLength(reader), 3);
    std::fclose(reader);
    std::fclose(second);
    std::fclose(writer);
}
TEST(FileSystemContract, MissingFileIsNotOpenedForReading) {
    const TemporaryFolder folder;
    EXPECT_EQ(OpenShared(folder.File("missing").c_str(), "rb"), nullptr);
    EXPECT_EQ(OpenShared("", "rb"), nullptr);
}
TEST(FileSystemContract, FolderIsNotOpenedForReading) {
    const TemporaryFolder folder;
    for (const char* mode : {"r", "rb", "r+b"}) {
        EXPECT_EQ(OpenShared(folder.Path().c_str(), mode), nullptr) << mode;
    }
}
TEST(FileSystemContract, SeekMovesAndPositionTells) {
    const TemporaryFolder folder;
    std::FILE* stream = OpenShared(folder.File("file").c_str(), "w+b");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fwrite("0123456789", 1, 10, stream), 10U);
    EXPECT_EQ(StreamPosition(stream), 10);
    EXPECT_TRUE(SeekStream(stream, 4));
    EXPECT_EQ(StreamPosition(stream), 4);
    EXPECT_EQ(std::fgetc(stream), '4');
    EXPECT_FALSE(SeekStream(stream, -1));
    EXPECT_EQ(StreamLength(stream), 10);
    std::fclose(stream);
}

}  // namespace
