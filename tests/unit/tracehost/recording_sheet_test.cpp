#include "tracehost/recording_sheet.h"

#include <gtest/gtest.h>

#include <random>

namespace Korr::Plim::Trace::Tracehost {

namespace {

RecordingSheet FullSheet() {
    RecordingSheet sheet;
    sheet.host = "tracehost 1.1.0";
    sheet.plugin = "libTarnel.so";
    sheet.port = "COM5";
    sheet.probe = "Brantor \"A\"";
    sheet.cpu = "board/cpu";
    sheet.started = "2026-11-22T04:50:00Z";
    sheet.clockFrom = "device";
    sheet.stopReason = "time";
    sheet.baudAsked = 2000000;
    sheet.baudTaken = 1996007.984;
    sheet.traceClock = 48e6;
    sheet.prescaler = 23;
    sheet.timestampPrescale = 4;
    sheet.seconds = 2.5;
    sheet.bytes = uint64_t{5} << 32;
    sheet.readError = UINT32_MAX;
    sheet.arrivals = {{0, 0}, {20, 4096}, {40, 4096}};
    sheet.countersBefore = PortCounters{1, 2, 3, 4, 5};
    sheet.countersAfter = PortCounters{1, 2, 3, 4, UINT64_MAX};
    sheet.counterGrowth = {{0, {0, 0, 0, 0, 1}}, {4096, {1, 2, 3, 4, 5}}, {4096, {0, 0, 0, 0, UINT64_MAX}}};
    sheet.countersNote = "note";
    sheet.ledger = {{"itm-overflow", 3}, {"malformed", 0}};
    sheet.rates = {{0, 48e6, 0}, {23, 2e6, 2000000}};
    return sheet;
}

std::string Problem(const std::string& fields) {
    return ParseSheet(R"({"format": "KTRS", "version": 1)" + fields + "}").problem;
}

TEST(RecordingSheetText, EveryFieldComesBack) {
    const SheetReading reading = ParseSheet(FormatSheet(FullSheet()));
    EXPECT_EQ(reading.problem, "");
    EXPECT_EQ(reading.sheet, FullSheet());
}

TEST(RecordingSheetText, ASheetWithoutFieldsComesBack) {
    EXPECT_EQ(FormatSheet({}), "{\n  \"format\": \"KTRS\",\n  \"version\": 1\n}\n");
    EXPECT_EQ(ParseSheet(FormatSheet({})).sheet, RecordingSheet());
    EXPECT_EQ(ParseSheet(FormatSheet({})).problem, "");
}

TEST(RecordingSheetText, WhatIsNoSheetIsSaidSo) {
    EXPECT_EQ(ParseSheet("").problem, "it is no JSON object");
    EXPECT_EQ(ParseSheet("[1]").problem, "it is no JSON object");
    EXPECT_EQ(ParseSheet("{\"format\": \"KTRS\"").problem, "it is no JSON object");
    EXPECT_EQ(ParseSheet("{}").problem, "its format is not \"KTRS\"");
    EXPECT_EQ(ParseSheet("{\"format\": 5}").problem, "its format is not \"KTRS\"");
    EXPECT_EQ(ParseSheet(std::string(kLongestSheet + 1, ' ')).problem, "it is longer than 1048576 bytes");
    EXPECT_EQ(ParseSheet(std::string(kLongestSheet, '[')).problem, "it is no JSON object");
    EXPECT_EQ(ParseSheet(R"({"format": "KTRS", "bytes": 1e999})").problem, "it is no JSON object");
}

TEST(RecordingSheetText, FieldsThatAreNotKnownArePassedOver) {
    EXPECT_EQ(Problem(R"(, "colour": ["blue"], "version": 900)"), "");
}

TEST(RecordingSheetText, AFieldThatCannotBeUsedIsNamedAndLeftOut) {
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"host", "7"},
        {"port", "\"" + std::string(kLongestSheetText + 1, 'x') + "\""},
        {"baud_asked", "-1"},
        {"trace_clock_hz", "1e16"},
        {"seconds", "\"2\""},
        {"prescaler", "8192"},
        {"prescaler", "1.5"},
        {"timestamp_prescale", "3"},
        {"timestamp_prescale", "\"4\""},
        {"bytes", "-1"},
        {"read_error", "4294967296"},
        {"read_error", "\"5\""},
        {"port_counters_before", "[]"},
        {"port_counters_after", R"({"framing": -1})"},
        {"port_counter_growth", "{}"},
        {"port_counter_growth", "[7]"},
        {"port_counter_growth", "[[1, 2, 3, 4, 5]]"},
        {"port_counter_growth", "[[1, 2, 3, 4, 5, 6, 7]]"},
        {"port_counter_growth", "[[-1, 2, 3, 4, 5, 6]]"},
        {"port_counter_growth", "[[1, 2, 3, 4, 5, \"6\"]]"},
        {"port_counter_growth", "[[2, 0, 0, 0, 0, 1], [1, 0, 0, 0, 0, 1]]"},
        {"ledger", "[]"},
        {"ledger", R"({"malformed": "many"})"},
        {"rates", "{}"},
        {"rates", "[[1, 2]]"},
        {"rates", "[[8192, 2, 2]]"},
        {"rates", "[[1, -2, 2]]"},
        {"rates", "[[1, 2, 4294967296]]"},
        {"arrivals", "7"},
        {"arrivals", "[[1, 2], [0, 2]]"},
        {"arrivals", "[[1, 2], [2, 1]]"},
        {"arrivals", "[[1, 2, 3]]"},
        {"arrivals", "[[1, 2.5]]"}};
    for (const auto& [name, value] : bad) {
        const std::string text =
            R"({"format": "KTRS", ")" + name + "\": " + value + R"(, "probe": "P", "stop_reason": 1})";
        const SheetReading reading = ParseSheet(text);
        EXPECT_EQ(reading.problem, "its field \"" + name + "\" cannot be used") << text;
        RecordingSheet expected;
        expected.probe = "P";
        EXPECT_EQ(reading.sheet, expected) << text;
    }
}

TEST(RecordingSheetText, MoreListsThanAreKeptCannotBeUsed) {
    std::string many;
    for (std::size_t i = 0; i <= kMostRateRows; ++i) many += (i == 0 ? "[1,2,3]" : ",[1,2,3]");
    EXPECT_EQ(Problem(R"(, "rates": [)" + many + "]"), "its field \"rates\" cannot be used");
    EXPECT_EQ(Problem(R"(, "arrivals": [)" + many + "]"), "its field \"arrivals\" cannot be used");
    many.clear();
    const std::string row = "[1,2,3,4,5,6]";
    for (std::size_t i = 0; i <= kMostCounterGrowths; ++i) many += (i == 0 ? "" : ",") + row;
    EXPECT_EQ(Problem(R"(, "port_counter_growth": [)" + many + "]"),
              "its field \"port_counter_growth\" cannot be used");
    std::string kinds;
    for (int i = 0; i < 65; ++i) kinds += (i == 0 ? "\"k" : ",\"k") + std::to_string(i) + "\": 1";
    EXPECT_EQ(Problem(R"(, "ledger": {)" + kinds + "}"), "its field \"ledger\" cannot be used");
}

TEST(RecordingSheetText, TextsCannotCommandATerminal) {
    RecordingSheet sheet;
    sheet.probe = "\x1b[31mred\x7f\n";
    EXPECT_EQ(ParseSheet(FormatSheet(sheet)).sheet.probe, "?[31mred??");
    sheet.probe = "broken \xff text";
    EXPECT_EQ(ParseSheet(FormatSheet(sheet)).sheet.probe, "broken \xEF\xBF\xBD text");
}

TEST(RecordingSheetText, TheLargestSheetCanBeReadAgain) {
    RecordingSheet sheet = FullSheet();
    sheet.rates.assign(kMostRateRows + 5, {8191, 123456.789012345678, UINT32_MAX});
    sheet.arrivals.assign(kMostArrivalPoints + 5, {UINT64_MAX, UINT64_MAX});
    constexpr uint64_t kMost = UINT64_MAX;
    sheet.counterGrowth.assign(kMostCounterGrowths + 5, {kMost, {kMost, kMost, kMost, kMost, kMost}});
    sheet.plugin = std::string(3 * kLongestSheetText, '\x1f');
    const std::string text = FormatSheet(sheet);
    EXPECT_LE(text.size(), kLongestSheet);
    const SheetReading reading = ParseSheet(text);
    EXPECT_EQ(reading.problem, "");
    EXPECT_EQ(reading.sheet.rates.size(), kMostRateRows);
    EXPECT_EQ(reading.sheet.arrivals.size(), kMostArrivalPoints);
    EXPECT_EQ(reading.sheet.counterGrowth.size(), kMostCounterGrowths);
}

TEST(RecordingSheetText, ChangedSheetsAreReadOrRefusedInWords) {
    const std::string whole = FormatSheet(FullSheet());
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text = whole;
        for (int change = 0; change < 3; ++change) text[random() % text.size()] = static_cast<char>(random());
        const SheetReading reading = ParseSheet(text);
        const SheetReading again = ParseSheet(FormatSheet(reading.sheet));
        EXPECT_EQ(again.problem, "");
    }
}

TEST(ArrivalLog, FewPointsAreAllKept) {
    ArrivalLog log;
    EXPECT_TRUE(log.Points().empty());
    for (uint64_t i = 0; i < 100; ++i) log.Add({i, 10 * i});
    ASSERT_EQ(log.Points().size(), 100u);
    EXPECT_EQ(log.Points()[37], (ArrivalPoint{37, 370}));
}

TEST(ArrivalLog, ManyPointsAreThinnedEvenlyAndTheLastOneStays) {
    ArrivalLog log;
    constexpr uint64_t kCount = 100001;
    for (uint64_t i = 0; i < kCount; ++i) log.Add({i, 10 * i});
    const auto points = log.Points();
    ASSERT_LE(points.size(), kMostArrivalPoints);
    EXPECT_GE(points.size(), kMostArrivalPoints / 4);
    EXPECT_EQ(points.front(), (ArrivalPoint{0, 0}));
    EXPECT_EQ(points.back(), (ArrivalPoint{kCount - 1, 10 * (kCount - 1)}));
    for (std::size_t i = 2; i + 1 < points.size(); ++i) {
        EXPECT_EQ(points[i].milliseconds - points[i - 1].milliseconds, points[1].milliseconds);
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
