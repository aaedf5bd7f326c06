#include "tracehost/recording_summary.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// A recording of one part; its names hold what forges lines when they are shown as they are.
class RecordingSummaryTest : public testing::Test {
  protected:
    RecordingSummaryTest() {
        request.cpu = "c\n1";
        request.output = "o\n1.bin";
        result.parts = {{"s\n1.bin", "k\n1.bin", 0, 2.5, 1000, "", 0, false, {}}};
        result.seconds = 2.5;
        result.bytes = 1000;
        result.traceClock = 48e6;
        result.bitRate = 2e6;
    }
    std::string Summary() {
        std::FILE* const output = std::tmpfile();
        PrintSummary(output, request, OutputFile(request, nullptr), result);
        std::rewind(output);
        std::string text(10000, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), output));
        std::fclose(output);
        return text;
    }

    RecordRequest request;
    RecordingResult result;
};

TEST_F(RecordingSummaryTest, NamesStayInTheirLines) {
    EXPECT_EQ(Summary(),
              "\nRecorded 1000 bytes in 2.5 s (400 bytes/s)\n"
              "  CPU           c\\n1\n"
              "  trace clock   48 MHz\n"
              "  prescaler     23\n"
              "  baud rate     2000000\n"
              "  capture file  k\\n1.bin\n"
              "  saved         s\\n1.bin (raw)\n");
}

TEST_F(RecordingSummaryTest, PartsAndTheirFaultsStayInTheirLines) {
    result.parts.front().fault = "COM5\nvanished";
    result.parts.front().portFault = true;
    result.parts.push_back({"s\n2.bin", "k\n2.bin", 4, 5.5, 500, "", 0, false, {}});
    const std::string told = Summary();
    EXPECT_NE(told.find("The port went away 1 time(s); what the target sent meanwhile is lost:\n"
                        "  part 1  0.0 s to 2.5 s  1000 bytes in s\\n1.bin, then COM5\\nvanished\n"
                        "  part 2  4.0 s to 5.5 s  500 bytes in s\\n2.bin\n"),
              std::string::npos)
        << told;
}

TEST_F(RecordingSummaryTest, ReaderThatWentIsToldInOneLine) {
    result.reason = EndReason::ReaderGone;
    const std::string told = Summary();
    EXPECT_TRUE(told.ends_with("The reader of \"o\\n1.bin\" closed it: the recording ended there.\n"))
        << told;
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
