// Not for programs with a sanitizer, which puts its own function before the platform's: then the loader takes
// the program for what loads.
#include "tests/contract/posix/library_search_child.h"

namespace library_search {
namespace {

/// Modules with the folder "own" beside them as their RPATH or RUNPATH.
class RunPath : public LibrarySearch {
  protected:
    RunPath() { fs::create_directories(own); }
    static std::string With(const std::string& kind) {
        return ModuleIn(ProgramFolder(), "tarnel_test_loader_" + kind);
    }
    const fs::path own = module / "own";
};

TEST_F(RunPath, AnRpathComesBeforeTheLoadersVariable) {
    Plant(own, kGood);
    Plant(first, kOther);
    EXPECT_EQ((Child{.module = With("rpath"), .loadersVariable = first.string()}).Load(name), kGood);
    Plant(module, kOther);
    EXPECT_EQ((Child{.module = With("rpath")}).Load(name), kOther) << "the module's folder comes before";
}

TEST_F(RunPath, ARunpathComesAfterTheLoadersVariable) {
    Plant(own, kGood);
    EXPECT_EQ((Child{.module = With("runpath")}).Load(name), kGood);
    Plant(first, kOther);
    EXPECT_EQ((Child{.module = With("runpath"), .loadersVariable = first.string()}).Load(name), kOther);
}

}  // namespace
}  // namespace library_search
