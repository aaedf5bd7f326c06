// Child processes: this program is started anew with the tests below that are disabled, each of which ends in
// its own way.
#include "tracehost/child_process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using namespace std::chrono_literals;

/// One of the disabled tests, in a process of its own.
class Child : public ::testing::Test {
  protected:
    Child()
        : output((std::filesystem::temp_directory_path() /
                  ("child_process_" + std::to_string(std::random_device()())))
                     .string()) {}
    ~Child() override {
        std::error_code ignored;
        std::filesystem::remove(output, ignored);
    }

    ChildEnd Run(const std::string& name, std::chrono::milliseconds limit = 60s,
                 const std::string& word = {}) const {
        std::vector<std::string> words = {ProgramFile(), "--gtest_also_run_disabled_tests",
                                          "--gtest_filter=ChildProgram.DISABLED_" + name};
        if (!word.empty()) words.push_back(word);
        return RunChild(words, limit, output);
    }
    std::string Output() const {
        std::ifstream file(output, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::string output;
};

TEST(ChildProgram, DISABLED_Ends) {
    std::puts("on standard output");
    std::fflush(stdout);
    std::fputs("on standard error\n", stderr);
    std::_Exit(7);
}
TEST(ChildProgram, DISABLED_Aborts) { std::abort(); }
TEST(ChildProgram, DISABLED_Crashes) {
    BecomeChild();
    volatile int* const nowhere = nullptr;
    *nowhere = 1;
}
TEST(ChildProgram, DISABLED_Waits) { std::this_thread::sleep_for(1h); }
TEST(ChildProgram, DISABLED_Reads) { std::_Exit(std::getchar() == EOF ? 9 : 1); }
TEST(ChildProgram, DISABLED_ShowsItsLastWord) {
    std::puts(("<" + ::testing::internal::GetArgvs().back() + ">").c_str());
    std::fflush(stdout);
    std::_Exit(0);
}

TEST_F(Child, EndsWithItsStatusAndItsOutputIsInTheFile) {
    std::ofstream(output) << "what was there before";
    const ChildEnd end = Run("Ends");
    EXPECT_EQ(end.kind, ChildEnd::Kind::Exited);
    EXPECT_EQ(end.status, 7);
    EXPECT_NE(Output().find("on standard output"), std::string::npos);
    EXPECT_NE(Output().find("on standard error"), std::string::npos);
    EXPECT_EQ(Output().find("before"), std::string::npos);
}

TEST_F(Child, ACrashIsToldInThePlatformsWords) {
    for (const char* name : {"Aborts", "Crashes"}) {
        const ChildEnd end = Run(name);
        if (end.kind == ChildEnd::Kind::Exited && end.status != 0) continue;  // a sanitizer made an end of it
        EXPECT_EQ(end.kind, ChildEnd::Kind::Crashed) << name;
        EXPECT_NE(end.words, "") << name;
    }
}

TEST_F(Child, OneThatDoesNotEndIsEndedWhenItsTimeIsOver) {
    const auto begin = std::chrono::steady_clock::now();
    const ChildEnd end = Run("Waits", 300ms);
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(end.kind, ChildEnd::Kind::TimedOut);
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 60s);
}

TEST_F(Child, HasNothingToRead) {
    const ChildEnd end = Run("Reads");
    EXPECT_EQ(end.kind, ChildEnd::Kind::Exited);
    EXPECT_EQ(end.status, 9);
}

TEST_F(Child, WordsArriveAsTheyAre) {
    for (const std::string word :
         {"two words", "a \"quoted\" one", "back\\slash\\", "\\\"", "$HOME *", "-x=1"}) {
        EXPECT_EQ(Run("ShowsItsLastWord", 60s, word).kind, ChildEnd::Kind::Exited) << word;
        EXPECT_NE(Output().find("<" + word + ">"), std::string::npos) << word << ": " << Output();
    }
}

TEST_F(Child, AProgramThatIsNotThereIsNotStarted) {
    const ChildEnd end = RunChild({output + "/nowhere"}, 60s, output);
    EXPECT_EQ(end.kind, ChildEnd::Kind::NotStarted);
    EXPECT_NE(end.words, "");
}

TEST(ProgramsOfThePath, AreFoundByTheirNames) {
    const std::string ofPosix = FindProgram("sh");
    const std::string shell = ofPosix.empty() ? FindProgram("cmd") : ofPosix;
    EXPECT_TRUE(std::filesystem::path(shell).is_absolute()) << shell;
    EXPECT_TRUE(std::filesystem::is_regular_file(shell)) << shell;
    EXPECT_EQ(FindProgram("no program has this name"), "");
    EXPECT_EQ(FindProgram(""), "");
    EXPECT_EQ(FindProgram("."), "");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
