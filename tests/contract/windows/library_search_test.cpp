#include "tests/contract/library_search.h"

namespace library_search {
namespace {

class WindowsSearch : public LibrarySearch {
  protected:
    const Loader loader{ModuleIn(program)};
};

TEST_F(WindowsSearch, TheProgramsFolderComesFirst) {
    Plant(program, kGood);
    for (const fs::path& folder : {module, working, first}) Plant(folder, kOther);
    SetPath(first, second);
    EXPECT_EQ(loader.Load(name), kGood);
}

TEST_F(WindowsSearch, TheModulesFolderIsNotSearched) {
    Plant(module, kOther);
    EXPECT_EQ(loader.Load(name), kNothing);
    Plant(working, kGood);
    EXPECT_EQ(loader.Load(name), kGood);
}

TEST_F(WindowsSearch, TheSystemFolderComesBeforeTheWorkingFolder) {
    PlantAs("msimg32", working, kGood);  // a library of the system that nothing here has loaded
    EXPECT_EQ(loader.Load("msimg32"), kNoAnswer);
}

TEST_F(WindowsSearch, TheWorkingFolderComesBeforePath) {
    Plant(first, kOther);
    SetPath(first, second);
    EXPECT_EQ(loader.Load(name), kOther);
    Plant(working, kGood);
    EXPECT_EQ(loader.Load(name), kGood);
}

TEST_F(WindowsSearch, TheFoldersOfPathAreSearchedFromLeftToRight) {
    Plant(first, kGood);
    Plant(second, kOther);
    SetPath(first, second);
    EXPECT_EQ(loader.Load(name), kGood);
    SetPath(second, first);
    EXPECT_EQ(loader.Load(name), kOther);
}

TEST_F(WindowsSearch, ALibraryThatIsLoadedAlreadyIsTakenBeforeAnySearch) {
    Plant(first, kGood);
    const LibraryHandle loaded = LoadDynamicLibrary((first / name).string().c_str());
    ASSERT_NE(loaded, kNoLibrary);
    Plant(program, kOther);
    EXPECT_EQ(loader.Load(name), kGood);
    FreeDynamicLibrary(loaded);
    EXPECT_EQ(loader.Load(name), kOther);
}

}  // namespace
}  // namespace library_search
