#include "source_utilities/trace_folders.h"

#include <gtest/gtest.h>

#include "source_utilities/source_utilities_error.h"
#include "temporary_folder.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"

namespace {

using namespace KORR_PLIM;
namespace variables = fakes::environment_variables;
namespace files = fakes::file_system;
using Calls = std::vector<std::string>;

class TraceFoldersTest : public testing::Test {
  protected:
    TraceFoldersTest() {
        files::Reset();
        variables::Reset();
    }
    TemporaryFolder home;
};

TEST_F(TraceFoldersTest, JoinAddsOneSeparator) {
    files::UseWindowsPaths();
    EXPECT_EQ(JoinPath("C:\\Users\\me", "data"), "C:\\Users\\me\\data");
    EXPECT_EQ(JoinPath("C:\\Users\\me\\", "data"), "C:\\Users\\me\\data");
    EXPECT_EQ(JoinPath("", "data"), "data");
    EXPECT_EQ(JoinPath("C:\\", ""), "C:\\");
}
TEST_F(TraceFoldersTest, JoinReplacesForeignSeparatorsAndFoldsDoubledOnes) {
    files::UseWindowsPaths();
    EXPECT_EQ(JoinPath("C:/Users//me", "/data\\\\\\x"), "C:\\Users\\me\\data\\x");
    files::UsePosixPaths();
    EXPECT_EQ(JoinPath("/home//me/", "//da\\ta"), "/home/me/da\\ta");
}
TEST_F(TraceFoldersTest, TreeMakesEveryPrefixAndSkipsDrives) {
    files::UseWindowsPaths();
    files::MakeNoFolders();
    EXPECT_TRUE(CreateFolderTree("C:\\Users\\me\\data"));
    EXPECT_EQ(files::FolderLog(), (Calls{"MakeTreeFolder C:\\Users", "MakeTreeFolder C:\\Users\\me",
                                         "MakeTreeFolder C:\\Users\\me\\data"}));
}
TEST_F(TraceFoldersTest, TreeIsMadeFromTheRoot) {
    files::UsePosixPaths();
    files::MakeNoFolders();
    EXPECT_TRUE(CreateFolderTree("/home/me/"));
    EXPECT_EQ(files::FolderLog(), (Calls{"MakeTreeFolder /home", "MakeTreeFolder /home/me"}));
}
TEST_F(TraceFoldersTest, TreeMakesMissingParentsOnDisk) {
    const std::string deep = JoinPath(JoinPath(JoinPath(home.Path(), "a"), "b"), "c");
    EXPECT_TRUE(CreateFolderTree(deep));
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    EXPECT_TRUE(CreateFolderTree(deep)) << "existing folders are no error";
}
TEST_F(TraceFoldersTest, TreeTellsWhenTheFolderCannotBeMade) {
    files::Script().Fail("MakeTreeFolder");
    EXPECT_FALSE(CreateFolderTree(JoinPath(home.Path(), "a")));
    EXPECT_FALSE(CreateFolderTree(""));
}
TEST_F(TraceFoldersTest, FoldersLieBelowTheUsersHome) {
    variables::Put("USERPROFILE", home.Path());
    const std::string base = JoinPath(home.Path(), ".KORR-trace");
    std::string folder;
    EXPECT_EQ(&GetLoggingFolder(folder), &folder);
    EXPECT_EQ(folder, base);
    EXPECT_EQ(GetDataFolder(folder), JoinPath(base, "data"));
    EXPECT_EQ(GetSettingsFolder(folder), JoinPath(base, "settings"));
    EXPECT_TRUE(std::filesystem::is_directory(JoinPath(base, "data")));
    EXPECT_TRUE(std::filesystem::is_directory(JoinPath(base, "settings")));
}
TEST_F(TraceFoldersTest, UnknownHomeThrows) {
    std::string folder = "old";
    for (const auto getter : {&GetLoggingFolder, &GetDataFolder, &GetSettingsFolder}) {
        try {
            getter(folder);
            FAIL() << "nothing thrown";
        } catch (const source_utilities_error& failure) {
            EXPECT_STREQ(failure.what(), "failed to read environment variable \"USERPROFILE\"");
        }
    }
}
TEST_F(TraceFoldersTest, HomeFallsBackToThePlatformsVariable) {
    variables::SetHomeFallback("HOME");
    variables::Put("HOME", home.Path());
    std::string folder;
    EXPECT_EQ(GetLoggingFolder(folder), JoinPath(home.Path(), ".KORR-trace"));
    variables::Put("USERPROFILE", home.File("profile"));
    EXPECT_EQ(GetLoggingFolder(folder), JoinPath(home.File("profile"), ".KORR-trace"));
}
TEST_F(TraceFoldersTest, WorkingFolderIsTheProcesss) {
    EXPECT_EQ(GetWorkingFolder(), std::filesystem::current_path().string());
}
TEST_F(TraceFoldersTest, UnknownWorkingFolderThrows) {
    files::Script().Fail("WorkingFolder");
    try {
        GetWorkingFolder();
        FAIL() << "nothing thrown";
    } catch (const source_utilities_error& failure) {
        EXPECT_STREQ(failure.what(), "failed to get current working directory");
    }
}
TEST_F(TraceFoldersTest, WorkingFolderThatDoesNotFitThrows) {
    files::SetWorkingFolder(std::string(259, 'x'));
    EXPECT_EQ(GetWorkingFolder().size(), 259U);
    files::SetWorkingFolder(std::string(260, 'x'));
    EXPECT_THROW(GetWorkingFolder(), source_utilities_error);
}

}  // namespace
