#include "tracehost/check/verdict.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

/// The verdict that a file of this content holds.
Verdict Of(const std::string& content) {
    const auto file =
        std::filesystem::temp_directory_path() / ("verdict_" + std::to_string(std::random_device()()));
    std::ofstream(file, std::ios::binary) << content;
    const Verdict verdict = ReadVerdict(file.string());
    std::filesystem::remove(file);
    return verdict;
}

TEST(CheckVerdict, IsTheLastLinesAndTheStepIsTheLastOne) {
    const Verdict passed = Of("step one\nstep two words\npassed \n");
    EXPECT_EQ(passed.kind, Verdict::Kind::Passed);
    EXPECT_EQ(passed.words, "");
    EXPECT_EQ(passed.step, "two words");
    const Verdict failed = Of("step one\nfailed GetNumCpus: 1 instead of 0\n");
    EXPECT_EQ(failed.kind, Verdict::Kind::Failed);
    EXPECT_EQ(failed.words, "GetNumCpus: 1 instead of 0");
    EXPECT_EQ(Of("skipped why\n").kind, Verdict::Kind::Skipped);
    EXPECT_EQ(Of("skipped why\n").words, "why");
}

TEST(CheckVerdict, IsNoneForWhatDiedWithoutOne) {
    EXPECT_EQ(Of("").kind, Verdict::Kind::None);
    EXPECT_EQ(Of("step one\n").kind, Verdict::Kind::None);
    EXPECT_EQ(Of("step one\n").step, "one");
    EXPECT_EQ(Of("pass\nnonsense\n\n").kind, Verdict::Kind::None);
    EXPECT_EQ(ReadVerdict("/no/such/file").kind, Verdict::Kind::None);
}

TEST(CheckVerdict, ShowsValuesAsAReaderKnowsThem) {
    EXPECT_EQ(Shown("text"), "\"text\"");
    EXPECT_EQ(Shown(static_cast<const char*>(nullptr)), "null");
    EXPECT_EQ(Shown(uint8_t{65}), "65");
    EXPECT_EQ(Shown(true), "true");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost::Validation
