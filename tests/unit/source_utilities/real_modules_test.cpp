#include <gtest/gtest.h>

#include "source_utilities/uDll.h"

// uDll over the real loader, with the small libraries that lie beside this program.
namespace {

using KORR_PLIM::uDll;
using Function = int (*)();

int Call(uDll& dll, const char* entry) {
    const auto function = reinterpret_cast<Function>(dll.GetSymbol(entry));
    return function != nullptr ? function() : -1;
}

TEST(RealModules, ModuleBesideTheProgramIsFoundByItsBaseName) {
    uDll dll;
    ASSERT_TRUE(dll.FindAndLoad("tarnel_test_good", uDll::kDefaultMode)) << dll.Error();
    EXPECT_EQ(Call(dll, "TarnelTestAnswer"), 42);
    EXPECT_EQ(dll.Error(), "");
}
TEST(RealModules, NameWithExtensionIsFoundToo) {
    uDll dll;
    const std::string name = uDll::GetPlatformName("tarnel_test_other");
    ASSERT_TRUE(dll.FindAndLoad(name.c_str(), 0)) << dll.Error();
    EXPECT_EQ(dll.Name(), "tarnel_test_other");
    EXPECT_EQ(Call(dll, "TarnelTestAnswer"), 7);
}
TEST(RealModules, MissingExportLeavesCode127) {
    uDll dll;
    ASSERT_TRUE(dll.FindAndLoad("tarnel_test_other", 0));
    EXPECT_EQ(dll.GetSymbol("TarnelTestCount"), nullptr);
    EXPECT_EQ(dll.Error(), "GetLastError() returned 127");
    EXPECT_EQ(dll.Error(), "GetLastError() returned 127");
    EXPECT_EQ(dll.GetSymbol(nullptr), nullptr);
    EXPECT_NE(dll.Error(), "");
}
TEST(RealModules, MissingModuleLeavesCode126) {
    uDll dll;
    EXPECT_FALSE(dll.FindAndLoad("tarnel_test_missing", uDll::kDefaultMode));
    EXPECT_EQ(dll.Error(), "failed to load tarnel_test_missing with error code 126");
}
TEST(RealModules, FileThatIsNoLibraryFails) {
    uDll dll;
    EXPECT_FALSE(dll.FindAndLoad("tarnel_test_broken", uDll::kDefaultMode));
    EXPECT_EQ(dll.Error().rfind("failed to load tarnel_test_broken with error code ", 0), 0U) << dll.Error();
}
TEST(RealModules, DestructorUnloadsTheModule) {
    for (int round = 0; round < 2; ++round) {
        uDll dll;
        ASSERT_TRUE(dll.FindAndLoad("tarnel_test_good", 0));
        EXPECT_EQ(Call(dll, "TarnelTestCount"), 1) << "loaded afresh";
        EXPECT_EQ(Call(dll, "TarnelTestCount"), 2);
    }
}

}  // namespace
