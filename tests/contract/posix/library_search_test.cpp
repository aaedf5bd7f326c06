#include "tests/contract/posix/library_search_child.h"

namespace library_search {
namespace {

TEST(DISABLED_LibrarySearchChild, Loads) {
    const Loader loader(KORR_PLIM::GetEnvironment("TARNEL_MODULE"));
    fs::current_path(KORR_PLIM::GetEnvironment("TARNEL_WORKING"));
    std::_Exit(loader.Load(KORR_PLIM::GetEnvironment("TARNEL_PLANTED")));
}

TEST_F(LibrarySearch, TheModulesFolderComesFirst) {
    Plant(module, kGood);
    for (const fs::path& folder : {program, working, first}) Plant(folder, kOther);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kGood);
    EXPECT_EQ((Child{.loadersVariable = first.string()}).Load(name), kGood);
}

TEST_F(LibrarySearch, TheFolderOfAProgramThatIsNotTheModuleIsNotSearched) {
    Plant(program, kOther);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kNothing);
    EXPECT_EQ(Loader("").Load(name), kOther) << "what is linked into the program has its folder";
}

TEST_F(LibrarySearch, WorkingFolderAndPathAreNotSearched) {
    Plant(working, kOther);
    Plant(first, kOther);
    SetPath(first, second);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kNothing);
}

TEST_F(LibrarySearch, TheFoldersOfTheLoadersVariableAreSearchedFromLeftToRight) {
    Plant(first, kGood);
    Plant(second, kOther);
    EXPECT_EQ(Child{}.Load(name), kNothing);
    EXPECT_EQ((Child{.loadersVariable = first.string() + ":" + second.string()}).Load(name), kGood);
    EXPECT_EQ((Child{.loadersVariable = second.string() + ":" + first.string()}).Load(name), kOther);
}

TEST_F(LibrarySearch, AnEmptyPartOfTheLoadersVariableIsTheWorkingFolder) {
    Plant(working, kGood);
    EXPECT_EQ((Child{.loadersVariable = first.string()}).Load(name), kNothing);
    EXPECT_EQ((Child{.loadersVariable = first.string() + ":"}).Load(name), kGood);
}

TEST_F(LibrarySearch, TheLoadersVariableCountsAsItWasWhenTheProgramStarted) {
    Plant(first, kOther);
    const std::string former = KORR_PLIM::GetEnvironment("LD_LIBRARY_PATH");
    KORR_PLIM::SetEnvironment("LD_LIBRARY_PATH", first.string().c_str());
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kNothing);
    KORR_PLIM::SetEnvironment("LD_LIBRARY_PATH", former.c_str());
}

TEST_F(LibrarySearch, TheFoldersOfTheSystemsLoaderComeLast) {
    const std::string ofTheSystem = "xerces-c";  // which this system's development files bring
    EXPECT_EQ(Child{}.Load(ofTheSystem), kNoAnswer);
    PlantAs("lib" + ofTheSystem, first, kGood);
    EXPECT_EQ((Child{.loadersVariable = first.string()}).Load(ofTheSystem), kGood);
}

TEST_F(LibrarySearch, InTheModulesFolderTheNameWithLibComesFirst) {
    PlantAs(name, module, kOther);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kOther);
    PlantAs("lib" + name, module, kGood);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kGood);
}

TEST_F(LibrarySearch, OutsideItTheNameWithLibIsLookedForInAllFoldersFirst) {
    const Child child{.loadersVariable = first.string() + ":" + second.string()};
    PlantAs(name, first, kOther);
    EXPECT_EQ(child.Load(name), kOther);
    PlantAs("lib" + name, second, kGood);
    EXPECT_EQ(child.Load(name), kGood);
    PlantAs(name, module, kOther);
    EXPECT_EQ(child.Load(name), kOther) << "the module's folder comes before all of them";
}

TEST_F(LibrarySearch, OfANameWithAFolderTheNameWithLibComesFirstToo) {
    const std::string path = (first / name).string();
    PlantAs(name, first, kOther);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(path), kOther);
    PlantAs("lib" + name, first, kGood);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(path), kGood);
}

/// A loaded module with a relative path, and folders of that path below the working folder.
TEST_F(LibrarySearch, ARelativePathOfTheModuleDoesNotFollowTheWorkingFolder) {
    const Child child{.module = ModuleIn("")};
    fs::create_directories(working / kModuleFolder);
    Plant(working, kOther);
    Plant(working / kModuleFolder, kOther);
    EXPECT_EQ(child.Load(name), kNothing);
    Plant(module, kGood);
    EXPECT_EQ(child.Load(name), kGood);
}

TEST_F(LibrarySearch, ARelativePathOfTheProgramDoesNotFollowTheWorkingFolder) {
    const Child child{.module = "", .program = "./library_search_test"};
    Plant(working, kOther);
    EXPECT_EQ(child.Load(name), kNothing);
    Plant(program, kGood);
    EXPECT_EQ(child.Load(name), kGood);
}

TEST_F(LibrarySearch, ALibraryThatIsLoadedAlreadyDoesNotComeBeforeTheModulesFolder) {
    Plant(first, kOther);
    const LibraryHandle loaded = LoadDynamicLibrary((first / name).string().c_str());
    ASSERT_NE(loaded, kNoLibrary);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kNothing) << "nor is it found by its name";
    Plant(module, kGood);
    EXPECT_EQ(Loader(ModuleIn(program)).Load(name), kGood);
    FreeDynamicLibrary(loaded);
}

}  // namespace
}  // namespace library_search
