#include "source_utilities/dynamic_library.h"

#include <gtest/gtest.h>

#include "dynamic_library_contract.h"

namespace {

using namespace KORR_PLIM::platform;
using Function = int (*)();

class DynamicLibraryContract : public testing::Test {
  protected:
    DynamicLibraryContract() { PrepareTestModules(); }
};

TEST_F(DynamicLibraryContract, LoadsByBaseNameAndFindsEntryPoints) {
    const LibraryHandle library = LoadDynamicLibrary("tarnel_test_good");
    ASSERT_NE(library, kNoLibrary);
    const auto function = reinterpret_cast<Function>(FindSymbol(library, "TarnelTestAnswer"));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function(), 42);
    FreeDynamicLibrary(library);
}
TEST_F(DynamicLibraryContract, MissingLibraryIsError126) {
    EXPECT_EQ(LoadDynamicLibrary("tarnel_test_missing"), kNoLibrary);
    EXPECT_EQ(LastLibraryError(), 126U);
}
TEST_F(DynamicLibraryContract, MissingEntryPointIsError127) {
    const LibraryHandle library = LoadDynamicLibrary("tarnel_test_other");
    ASSERT_NE(library, kNoLibrary);
    EXPECT_EQ(FindSymbol(library, "TarnelTestCount"), nullptr);
    EXPECT_EQ(LastLibraryError(), 127U);
    EXPECT_NE(FindSymbol(library, "TarnelTestAnswer"), nullptr);
    FreeDynamicLibrary(library);
}
TEST_F(DynamicLibraryContract, NullNameLoadsNothing) {
    EXPECT_EQ(LoadDynamicLibrary(nullptr), kNoLibrary);
    EXPECT_NE(LastLibraryError(), 0U);
}
TEST_F(DynamicLibraryContract, LoadingTwiceNeedsGivingBackTwice) {
    const LibraryHandle first = LoadDynamicLibrary("tarnel_test_good");
    const LibraryHandle second = LoadDynamicLibrary("tarnel_test_good");
    FreeDynamicLibrary(first);
    const auto function = reinterpret_cast<Function>(FindSymbol(second, "TarnelTestAnswer"));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function(), 42);
    FreeDynamicLibrary(second);
}
TEST_F(DynamicLibraryContract, ExtensionHasNoDot) {
    const std::string extension = LibraryExtension();
    EXPECT_FALSE(extension.empty());
    EXPECT_EQ(extension.find('.'), std::string::npos);
}

}  // namespace
