#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "simulator/board/board_file.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

class RunFolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : kVariables) ::unsetenv(name);
    }
    void TearDown() override {
        SetUp();
        std::error_code ignored;
        std::filesystem::remove_all(base, ignored);
    }
    static void Set(const char* name, const std::string& value) { ::setenv(name, value.c_str(), 1); }
    static constexpr const char* kVariables[] = {"TRACEHOST_RUN_FOLDER", "XDG_RUNTIME_DIR"};
    const std::filesystem::path base = std::filesystem::temp_directory_path() /
                                       ("run-folder-test-" + std::to_string(std::random_device()()));
};

TEST_F(RunFolderTest, IsTheFolderGivenElseTheUsersOwnAndIsMade) {
    Set("XDG_RUNTIME_DIR", (base / "user").string());
    EXPECT_EQ(RunFolder(), (base / "user" / "tracehost").string());
    EXPECT_TRUE(std::filesystem::is_directory(base / "user" / "tracehost"));
    Set("TRACEHOST_RUN_FOLDER", (base / "given").string());
    EXPECT_EQ(RunFolder(), (base / "given").string());
    EXPECT_TRUE(std::filesystem::is_directory(base / "given"));
}

TEST_F(RunFolderTest, TakesTheFilesThatAreWrittenAlone) {
    Set("TRACEHOST_RUN_FOLDER", base.string());
    const Board board = ParseBoard(
        nlohmann::ordered_json::parse(
            R"({"journal": "$RUN/j", "tpiu": {"a": "$RUN/t", "b": "t"}, "set_up_file": "$RUN/s"})"),
        "/boards/b.json");
    EXPECT_EQ(board.journal, (base / "j").string());
    EXPECT_EQ(board.tpiu.For("a"), (base / "t").string());
    EXPECT_EQ(board.tpiu.For("b"), "/boards/t");
    EXPECT_EQ(board.setUpFile.common, "/boards/$RUN/s");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Simulator
