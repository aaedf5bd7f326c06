// docs/packets.md lists what scripts rely on: the names that the program writes, all of them and no others.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

#include "exports/csv_writer.h"
#include "trace/ledger.h"
#include "trace/signal_check.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Names = std::vector<std::string>;

/// The cells of the table below a heading, without the table's head; without backticks.
std::vector<Names> TableBelow(const std::string& heading) {
    std::ifstream page(TARNEL_DOCUMENTS "packets.md");
    std::string line;
    while (std::getline(page, line) && line != heading) {
    }
    std::vector<Names> rows;
    while (std::getline(page, line) && !line.starts_with("#")) {
        if (!line.starts_with("| `")) continue;
        std::erase(line, '`');
        std::istringstream cells(line.substr(1));
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '|');) {
            const std::size_t begin = cell.find_first_not_of(' ');
            if (begin == std::string::npos) continue;
            rows.back().push_back(cell.substr(begin, cell.find_last_not_of(' ') - begin + 1));
        }
    }
    return rows;
}

Names FirstColumn(const std::string& heading) {
    Names names;
    for (const Names& row : TableBelow(heading)) names.push_back(row.at(0));
    return names;
}

template <typename Kind>
Names NamesOf(int count, std::string_view (*name)(Kind)) {
    Names names;
    for (int i = 0; i < count; ++i) names.emplace_back(name(static_cast<Kind>(i)));
    return names;
}

class Text : public Exports::Output {
  public:
    void Write(const char* bytes, std::size_t count) override { text.append(bytes, count); }
    std::string text;
};

TEST(DocumentedNames, ColumnsAreThoseOfTheFile) {
    Text file;
    Exports::CsvWriter(file).Finish();
    std::string head;
    for (const std::string& name : FirstColumn("## Columns")) head += (head.empty() ? "" : ",") + name;
    EXPECT_EQ(head + "\n", file.text);
}

TEST(DocumentedNames, KindsOfPacketsAreThoseOfTheDecoder) {
    EXPECT_EQ(FirstColumn("## Kinds of packets"), NamesOf(Swo::kPacketKinds, Swo::KindName));
}

TEST(DocumentedNames, QualitiesOfTimeAreThoseOfTheClock) {
    EXPECT_EQ(FirstColumn("## Qualities of time"), NamesOf(4, Swo::QualityName));
}

TEST(DocumentedNames, ClassesAndKindsOfLossAreThoseOfTheLedger) {
    EXPECT_EQ(FirstColumn("## Classes of loss"), NamesOf(Swo::kLossClasses, Swo::LossClassName));
    EXPECT_EQ(FirstColumn("## Kinds of loss"), NamesOf(Swo::kLossKinds, Swo::LossKindName));
}

TEST(DocumentedNames, ClassOfEachKindOfLossIsTheLedgers) {
    for (int i = 0; i < Swo::kLossKinds; ++i) {
        const auto kind = static_cast<Swo::LossKind>(i);
        Swo::Ledger ledger{{}};
        ledger.OnHost(kind, 1, 0);
        const Names row = TableBelow("## Kinds of loss").at(static_cast<std::size_t>(i));
        EXPECT_EQ(row.at(1), Swo::LossClassName(ledger.Entries().at(0).lossClass)) << row.at(0);
    }
}

TEST(DocumentedNames, VerdictsAreThoseOfTheSignalCheck) {
    EXPECT_EQ(FirstColumn("## Verdicts"), NamesOf(Swo::kVerdicts, Swo::SignalVerdictName));
    EXPECT_EQ(FirstColumn("## How sure a verdict is"), NamesOf(3, Swo::ConfidenceName));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
