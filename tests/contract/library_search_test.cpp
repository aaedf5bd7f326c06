// Which of several libraries of one name is loaded: the folders that docs/security.md names, in their order.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "source_utilities/dynamic_library.h"
#include "source_utilities/environment.h"
#include "source_utilities/file_system.h"

namespace {

namespace fs = std::filesystem;
using namespace KORR_PLIM::platform;

constexpr int kNothing = -1;
constexpr int kGood = 42;  // answers of the two test libraries
constexpr int kOther = 7;

const bool onWindows = PathSeparator() == '\\';

/// The folder of this program, which is absolute when the test begins.
fs::path ProgramFolder() {
    static const fs::path folder = fs::absolute(testing::internal::GetArgvs()[0]).parent_path();
    return folder;
}

std::string FileOf(const std::string& name) {
    return (onWindows ? "" : "lib") + name + "." + LibraryExtension();
}

/// The answer of the library that is loaded by a name.
int Load(const std::string& name) {
    const LibraryHandle library = LoadDynamicLibrary(name.c_str());
    if (library == kNoLibrary) return kNothing;
    void* const entry = FindSymbol(library, "TarnelTestAnswer");
    const int answer = entry == nullptr ? 0 : reinterpret_cast<int (*)()>(entry)();
    FreeDynamicLibrary(library);
    return answer;
}

/// Folders with planted libraries of one name; the working folder and PATH are these while the test runs.
class LibrarySearch : public testing::Test {
  protected:
    LibrarySearch() {
        ProgramFolder();  // before the working folder is another one
        fs::create_directories(working);
        fs::create_directories(inPath);
        fs::current_path(working);
        const std::string path = inPath.string() + (onWindows ? ";" : ":") + formerPath;
        KORR_PLIM::SetEnvironment("PATH", path.c_str());
    }
    ~LibrarySearch() override {
        KORR_PLIM::SetEnvironment("PATH", formerPath.c_str());
        fs::current_path(formerFolder);
        std::error_code ignored;
        fs::remove_all(root, ignored);
        fs::remove(ProgramFolder() / FileOf(name), ignored);
    }
    void Plant(const fs::path& folder, int answer) const { PlantAs(FileOf(name), folder, answer); }
    static void PlantAs(const std::string& file, const fs::path& folder, int answer) {
        const std::string from = answer == kGood ? "tarnel_test_good" : "tarnel_test_other";
        fs::copy_file(ProgramFolder() / FileOf(from), folder / file);
    }

    const std::string suffix = std::to_string(std::random_device{}());
    const std::string name = "tarnel_planted_" + suffix;
    const fs::path root = fs::temp_directory_path() / ("tarnel_search_" + suffix);
    const fs::path working = root / "working";
    const fs::path inPath = root / "path";
    const fs::path formerFolder = fs::current_path();
    const std::string formerPath = KORR_PLIM::GetEnvironment("PATH");
};

TEST_F(LibrarySearch, TheProgramsFolderComesBeforeWorkingFolderAndPath) {
    Plant(ProgramFolder(), kOther);
    Plant(working, kGood);
    Plant(inPath, kGood);
    EXPECT_EQ(Load(name), kOther);
}

TEST_F(LibrarySearch, ALibraryPlantedInTheWorkingFolderIsLoadedOnWindowsAlone) {
    Plant(working, kGood);
    EXPECT_EQ(Load(name), onWindows ? kGood : kNothing);
}

TEST_F(LibrarySearch, ALibraryPlantedInAFolderOfPathIsLoadedOnWindowsAlone) {
    Plant(inPath, kGood);
    EXPECT_EQ(Load(name), onWindows ? kGood : kNothing);
}

TEST_F(LibrarySearch, OnWindowsTheWorkingFolderComesBeforePath) {
    Plant(inPath, kOther);
    Plant(working, kGood);
    EXPECT_EQ(Load(name), onWindows ? kGood : kNothing);
}

TEST_F(LibrarySearch, OnWindowsTheSystemFolderComesBeforeTheWorkingFolder) {
    if (!onWindows) GTEST_SKIP() << "there is no system folder";
    PlantAs("msimg32.dll", working, kGood);  // a library of the system that nothing here has loaded
    EXPECT_EQ(Load("msimg32"), 0) << "the system's, which has no answer";
}

TEST_F(LibrarySearch, OnLinuxTheNameWithLibComesFirst) {
    if (onWindows) GTEST_SKIP() << "there names have no beginning of their own";
    PlantAs(name + ".so", inPath, kOther);
    EXPECT_EQ(Load((inPath / name).string()), kOther);
    PlantAs("lib" + name + ".so", inPath, kGood);
    EXPECT_EQ(Load((inPath / name).string()), kGood);
}

/// Runs one of the tests below in a process of its own. \return whether it passed
bool RunChild(const std::string& environment, const std::string& program, const std::string& test) {
    const std::string command = environment + " '" + program +
                                "' --gtest_also_run_disabled_tests --gtest_filter=*" + test + " >/dev/null";
    return std::system(command.c_str()) == 0;
}

std::string PlantedName() { return KORR_PLIM::GetEnvironment("TARNEL_PLANTED"); }

TEST(DISABLED_LibrarySearchChild, Loads) { EXPECT_EQ(Load(PlantedName()), kGood); }
TEST(DISABLED_LibrarySearchChild, LoadsNothingOfTheWorkingFolder) {
    fs::current_path(KORR_PLIM::GetEnvironment("TARNEL_WORKING"));
    EXPECT_EQ(Load(PlantedName()), kNothing);
    EXPECT_EQ(Load("tarnel_test_good"), kGood) << "still beside the program";
}

TEST_F(LibrarySearch, OnLinuxTheFoldersOfTheLoadersVariableComeLast) {
    if (onWindows) GTEST_SKIP() << "there is no such variable";
    Plant(inPath, kGood);
    const std::string program = (ProgramFolder() / "library_search_test").string();
    const std::string planted = "TARNEL_PLANTED=" + name;
    EXPECT_FALSE(RunChild(planted, program, "Loads"));
    const std::string variable = planted + " LD_LIBRARY_PATH='" + inPath.string() + "'";
    EXPECT_TRUE(RunChild(variable, program, "Loads"));
    Plant(ProgramFolder(), kOther);
    EXPECT_FALSE(RunChild(variable, program, "Loads")) << "the one beside the program is loaded";
}

TEST_F(LibrarySearch, OnLinuxARelativePathOfTheProgramDoesNotFollowTheWorkingFolder) {
    if (onWindows) GTEST_SKIP() << "there the working folder is searched in any case";
    Plant(working, kGood);
    const std::string variables = "TARNEL_PLANTED=" + name + " TARNEL_WORKING='" + working.string() + "'";
    const std::string inFolder = "cd '" + ProgramFolder().string() + "' && " + variables;
    EXPECT_TRUE(RunChild(inFolder, "./library_search_test", "LoadsNothingOfTheWorkingFolder"));
}

}  // namespace
