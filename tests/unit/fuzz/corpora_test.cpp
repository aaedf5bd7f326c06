// Replays the fuzz targets' corpora through the targets' own checks, which abort when an answer is not a
// documented one.
#include <gtest/gtest.h>

#include <string>

#include "fuzz/targets.h"

namespace {

using Target = void (*)(std::string_view);

void Replay(const std::string& corpus, Target target, int fewest) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TARNEL_FUZZ_CORPORA "/" + corpus)) {
        std::printf("%s\n", entry.path().string().c_str());  // the last one is the one that aborts
        std::fflush(stdout);
        target(fuzz::ReadFile(entry.path().string()));
        ++files;
    }
    EXPECT_GE(files, fewest);
}

TEST(FuzzCorpora, SetUpDataFilesGetADocumentedAnswer) { Replay("setup_file", fuzz::FuzzSetupFile, 10); }
TEST(FuzzCorpora, ItmSetUpFilesGiveTheDocumentedTypes) { Replay("itm_setup", fuzz::FuzzItmSetup, 9); }
TEST(FuzzCorpora, TdfFilesGrowAsDocumentedOrStayAsTheyAre) { Replay("tdf_file", fuzz::FuzzTdfFile, 14); }
TEST(FuzzCorpora, TdfSectionsAreListedUpToTheDamage) { Replay("tdf_sections", fuzz::FuzzTdfSections, 15); }
TEST(FuzzCorpora, BoardFilesAreUnderstoodOrRefusedByName) { Replay("board_file", fuzz::FuzzBoardFile, 16); }
TEST(FuzzCorpora, ScriptLinesGetOneAnswerOrAreNoCommand) { Replay("script", fuzz::FuzzScript, 18); }
TEST(FuzzCorpora, FirmwareIsNamedOrRefused) { Replay("elf_symbols", fuzz::FuzzElfSymbols, 16); }
TEST(FuzzCorpora, ItmStreamsGiveTheSamePacketsHoweverTheyAreCut) {
    Replay("itm_decoder", fuzz::FuzzItmDecoder, 20);
}
TEST(FuzzCorpora, FramesGiveTheSamePacketsHoweverTheyAreCut) {
    Replay("tpiu_frames", fuzz::FuzzTpiuFrames, 12);
}
TEST(FuzzCorpora, RecordingSheetsAreUnderstoodOrTold) {
    Replay("recording_sheet", fuzz::FuzzRecordingSheet, 12);
}
TEST(FuzzCorpora, RequestsGetADocumentedAnswer) { Replay("view_request", fuzz::FuzzViewRequest, 32); }
TEST(FuzzCorpora, HostCallsGetTheAnswersOfTheModel) { Replay("receiver", fuzz::FuzzReceiver, 19); }

}  // namespace
