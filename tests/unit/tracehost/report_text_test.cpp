// A report for a terminal and one for programs, letter for letter.
#include "tracehost/report_text.h"

#include <gtest/gtest.h>

#include "tracehost/loss_text.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Bytes = std::vector<uint8_t>;

void Append(Bytes& bytes, int times, std::initializer_list<uint8_t> more) {
    for (int i = 0; i < times; ++i) bytes.insert(bytes.end(), more);
}

/// A capture that is analysed, and what is reported of it.
class Reported {
  public:
    explicit Reported(const Bytes& bytes, const Capture& told = {})
        : capture(told), analysis(capture.options), report{capture, analysis, {}, {}, {}, kNone} {
        capture.name = "trace.bin";
        analysis.Feed(bytes);
        analysis.Finish();
        report.features = analysis.Features();
        report.diagnosis = Swo::Diagnose(report.features);
    }

    static constexpr int kNone = 0;
    Capture capture;
    Swo::CaptureAnalysis analysis;
    CaptureReport report;
};

std::string Text(const Bytes& bytes, const Capture& told = {}) {
    return FormatReport(Reported(bytes, told).report);
}

/// A character and 133 ticks, so many times.
Bytes Timed(int times) {
    Bytes bytes;
    Append(bytes, times, {0x01, 'h', 0xC0, 0x85, 0x01});
    return bytes;
}

/// Text without timestamps, with a byte at 400 that is none.
Bytes Damaged() {
    Bytes bytes;
    Append(bytes, 200, {0x01, 'h'});
    bytes.push_back(0x04);
    Append(bytes, 100, {0x01, 'h'});
    return bytes;
}

TEST(ReportText, OfNothing) {
    EXPECT_EQ(
        Text({}),
        "trace.bin: 0 bytes\n"
        "LOST  nothing\n"
        "VERDICT  no-bytes (sure): the port is open and silent\n"
        "  Does the target run, and has its firmware, or the debugger, programmed the TPIU and enabled "
        "the ITM?\n"
        "  Is the SWO pin switched to its trace function, and wired to the probe?\n"
        "  Is this the probe's auxiliary port? \"tracehost ports\" lists the ports and what they are.\n");
}

TEST(ReportText, OfAWholeCapture) {
    EXPECT_EQ(Text(Timed(10)),
              "trace.bin: 50 bytes, ITM, no TPIU frames, no sync marks\n"
              "  time         1,330 ticks, no trace clock known (--clock); packets: 20 exact\n"
              "  ports        0: 10 bytes\n"
              "  other        10 local-time\n"
              "LOST  nothing\n"
              "VERDICT  good (sure): ITM packets, 100.0 % of the bytes\n");
}

TEST(ReportText, OfWhatTheSheetTells) {
    Capture told;
    told.hasSheet = true;
    told.sheet.started = "2026-11-22T04:50:00Z";
    told.sheet.seconds = 2.04;
    told.sheet.port = "COM5";
    told.sheet.baudAsked = 2e6;
    told.sheet.stopReason = "the user";
    told.scale = {1'000'000, 4};
    Bytes bytes{0, 0, 0, 0, 0, 0x80};
    const Bytes timed = Timed(10);
    bytes.insert(bytes.end(), timed.begin(), timed.end());
    Append(bytes, 2, {0x0E, 15, 0x10, 0x0E, 15, 0x20, 0x0E, 0, 0x30, 0x10});
    EXPECT_EQ(Text(bytes, told),
              "trace.bin: 76 bytes, ITM, no TPIU frames, 1 sync mark, first at 0\n"
              "  recorded     2026-11-22T04:50:00Z, 2.0 s, COM5, 2000000 baud, ended by the user\n"
              "  time         0.005328 s (1,332 ticks of 4 cycles at 1,000,000 Hz); packets: 29 exact\n"
              "  ports        0: 10 bytes\n"
              "  exceptions   6 packets, 15 entered 2 times\n"
              "  other        12 local-time\n"
              "LOST  nothing\n"
              "VERDICT  good (sure): ITM packets, 100.0 % of the bytes\n");
}

TEST(ReportText, OfDamageWithoutTimestamps) {
    EXPECT_EQ(
        Text(Damaged()),
        "trace.bin: 601 bytes, ITM, no TPIU frames, no sync marks\n"
        "  time         no timestamps: a place is an offset\n"
        "  ports        0: 300 bytes\n"
        "LOST  1 place (1 between pin and file): 1 byte damaged, 64 packets suspect, 200 bytes salvaged "
        "without a sync mark\n"
        "         offset     bytes                    what\n"
        "            400         1                    bytes missing or changed: a header without a meaning; "
        "64 packets before it (from 272) are suspect; in step again at 401\n"
        "VERDICT  good (sure): ITM packets, 99.8 % of the bytes\n");
}

TEST(ReportText, OfDamageWhoseTimeTheHostSaw) {
    Capture told;
    told.sheet.arrivals = {{100, 300}, {1500, 601}};
    const std::string arrived = Text(Damaged(), told);
    EXPECT_NE(arrived.find("  time         no timestamps: times are those of arrival, within 100 ms\n"),
              std::string::npos)
        << arrived;
    EXPECT_NE(arrived.find("         offset     bytes           arrived  what\n"
                           "            400         1           1.500 s  bytes missing"),
              std::string::npos)
        << arrived;
    told.baud = 1e6;
    const std::string earliest = Text(Damaged(), told);
    EXPECT_NE(
        earliest.find("  time         no timestamps: times are the earliest possible at 1,000,000 baud\n"),
        std::string::npos)
        << earliest;
    EXPECT_NE(earliest.find("         offset     bytes          earliest  what\n"
                            "            400         1           0.004 s  bytes missing"),
              std::string::npos)
        << earliest;
}

TEST(ReportText, OfLossesInTraceTime) {
    Bytes bytes = Timed(100);
    bytes.push_back(0x70);
    const Bytes more = Timed(10);
    bytes.insert(bytes.end(), more.begin(), more.end());
    EXPECT_EQ(
        Text(bytes),
        "trace.bin: 551 bytes, ITM, no TPIU frames, no sync marks\n"
        "  time         14,630 ticks, no trace clock known (--clock); packets: 200 exact, 21 late\n"
        "  ports        0: 110 bytes\n"
        "  other        1 overflow, 110 local-time\n"
        "LOST  1 place (1 in the target)\n"
        "         offset     bytes             ticks  what\n"
        "            500         1           13,433+  the target dropped packets (overflow)\n"
        "Times marked + are late by an unknown amount: packets before them were lost, and there are no\n"
        "global timestamps.\n"
        "VERDICT  good (sure): ITM packets, 100.0 % of the bytes\n");
    Capture told;
    told.scale = {1'000'000, 1};
    EXPECT_NE(Text(bytes, told)
                  .find("         offset     bytes              time  what\n"
                        "            500         1       0.013433 s+  the target"),
              std::string::npos)
        << Text(bytes, told);
}

TEST(ReportText, ShowsTwentyEntriesAndSaysHowManyMore) {
    Bytes bytes;
    for (int i = 0; i < 22; ++i) {
        Append(bytes, 100, {0x01, 'h'});
        bytes.push_back(0x70);
    }
    const std::string text = Text(bytes);
    EXPECT_NE(text.find("          4,019         1"), std::string::npos) << text;
    EXPECT_EQ(text.find("          4,220         1"), std::string::npos) << text;
    EXPECT_NE(text.find("                ... and 2 more (--json FILE has all of them)\n"), std::string::npos)
        << text;
}

TEST(ReportText, SaysHowManyEntriesWereNotKept) {
    Reported reported(Timed(100));
    for (std::size_t i = 0; i < Swo::Ledger::kMostEntries + 3; ++i) {
        reported.analysis.Losses().OnFrameStep(i * 1000, i * 1000 + 5, 5);
    }
    const std::string text = FormatReport(reported.report);
    EXPECT_NE(text.find("                ... and 65,519 more (--json FILE has the first 65,536)\n"),
              std::string::npos)
        << text;
}

TEST(ReportText, SaysHowLikelyAHoleWouldHaveBeenNoticed) {
    Reported reported(Timed(100));
    reported.report.forecast = {200, 100, 50};
    EXPECT_NE(FormatReport(reported.report)
                  .find("LOST  nothing\n"
                        "A hole would have been noticed with probability 0.75 in this recording (0.50 as "
                        "damage, 0.25 as a\nhint); \"tracehost help loss\" says what raises it.\n"
                        "VERDICT"),
              std::string::npos)
        << FormatReport(reported.report);
    reported.capture.options.counterPort = 1;
    EXPECT_NE(FormatReport(reported.report)
                  .find("A hole would have been noticed with probability 0.75 in this recording (0.50 as "
                        "damage, 0.25 as a\nhint).\n"),
              std::string::npos)
        << FormatReport(reported.report);
}

TEST(ReportText, ForProgramsHasALineAnEntryAndThenTheTotals) {
    Reported reported(Damaged());
    reported.report.status = 3;
    reported.report.forecast = {200, 100, 50};
    const std::string text = ReportAsJson(reported.report);
    const std::size_t end = text.find('\n');
    EXPECT_EQ(text.substr(0, end + 1), LossAsJson(reported.analysis.Losses().Entries()[0], {}));
    EXPECT_EQ(text.substr(end + 1),
              R"({"totals":{"name":"trace.bin","bytes":601,"verdict":"good","confidence":"sure",)"
              R"("validity":0.9983361064891847,"status":3,"lost_between_pin_and_file":1,"lost_in_target":0,)"
              R"("hints":0,"damaged_bytes":1,"suspect_packets":64,"salvaged_bytes":200,"missing":0,)"
              R"("unlisted":0,"places":{"reserved":1},"packets":{"stimulus":300,"reserved":1},)"
              R"("forecast":{"holes":200,"seen_as_loss":100,"seen_as_hint":50}}})"
              "\n");
}

TEST(ReportText, WrapsBetweenWords) {
    EXPECT_EQ(Wrap("one two three", 100), "one two three");
    EXPECT_EQ(Wrap("one two three", 7), "one two\nthree");
    EXPECT_EQ(Wrap("one two three", 6), "one\ntwo\nthree");
    EXPECT_EQ(Wrap("oneandtwo three", 4), "oneandtwo three") << "a longer word stays whole";
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
