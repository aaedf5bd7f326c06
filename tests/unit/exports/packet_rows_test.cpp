// The columns of CSV and JSON lines, for every kind of packet.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "exports/csv_writer.h"
#include "exports/json_lines_writer.h"
#include "tests/unit/exports/memory_output.h"
#include "trace/itm_decoder.h"
#include "trace/packet_timer.h"

namespace Korr::Plim::Trace::Exports {

namespace {

using Swo::Packet;
using Swo::PacketKind;
using Swo::PacketTime;
using Swo::TimeQuality;

Packet Make(PacketKind kind, uint16_t source, uint8_t size, uint32_t value, uint8_t flags = 0) {
    Packet packet{};
    packet.offset = 1234567890123;
    packet.kind = kind;
    packet.source = source;
    packet.size = size;
    packet.length = size + 1;
    packet.value = value;
    packet.flags = flags;
    return packet;
}

constexpr PacketTime kAt5{5, 5, TimeQuality::Exact};
constexpr const char* kHead = "offset,ns,ticks,quality,kind,source,size,value,function,symbol,flags\n";

std::string Csv(const Packet& packet, const PacketTime& time = kAt5, const TimeScale& scale = {1000000, 4}) {
    MemoryOutput memory;
    CsvWriter writer(memory);
    CaptureFacts facts;
    facts.scale = scale;
    writer.Begin(facts);
    writer.OnPacket(packet, time);
    writer.Finish();
    EXPECT_EQ(memory.text.substr(0, std::string(kHead).size()), kHead);
    return memory.text.substr(std::string(kHead).size());
}

std::string Json(const Packet& packet, const PacketTime& time = kAt5, const TimeScale& scale = {1000000, 4}) {
    MemoryOutput memory;
    JsonLinesWriter writer(memory);
    CaptureFacts facts;
    facts.scale = scale;
    writer.Begin(facts);
    writer.OnPacket(packet, time);
    writer.Finish();
    return memory.text;
}

struct Row {
    Packet packet;
    const char* columns;  ///< from the kind on
};

std::vector<Row> Rows() {
    Packet high = Make(PacketKind::GlobalTimeHigh, 0x3F, 6, 0xFFFFFFFF);
    Packet run = Make(PacketKind::Unsynchronised, 3, 255, 7);
    run.length = 100000;
    Packet sync = Make(PacketKind::Sync, 0, 6, 0);
    sync.length = 6;
    return {
        {sync, "sync,,6,,,,"},
        {Make(PacketKind::Overflow, 0, 0, 0), "overflow,,0,,,,"},
        {Make(PacketKind::LocalTime, 0, 2, 0x1FF, Swo::kTimestampDelayed), "local-time,,2,0x1ff,,,"},
        {Make(PacketKind::GlobalTimeLow, 0, 4, 0, Swo::kTimeWrapped), "global-time-low,,4,0x0,,,"},
        {high, "global-time-high,,6,0x3fffffffff,,,"},
        {Make(PacketKind::StimulusPage, 0, 0, 7), "page,,0,0x7,,,"},
        {Make(PacketKind::Extension, 1, 0, 5), "extension,,0,0x5,,,"},
        {Make(PacketKind::Stimulus, 255, 1, 0x61), "stimulus,255,1,0x61,,,"},
        {Make(PacketKind::EventCounters, 0, 1, 0x20), "event-counters,,1,0x20,,,"},
        {Make(PacketKind::Exception, 15, 2, 0x100F, Swo::kEntered), "exception,15,2,0x100f,enter,,"},
        {Make(PacketKind::Exception, 511, 2, 0x21FF, Swo::kExited), "exception,511,2,0x21ff,exit,,"},
        {Make(PacketKind::Exception, 0, 2, 0x3000, Swo::kReturned | Swo::kSalvaged),
         "exception,0,2,0x3000,return,,salvaged"},
        {Make(PacketKind::PcSample, 0, 4, 0xFFFFFFFF, Swo::kSuspect), "pc-sample,,4,0xffffffff,,,suspect"},
        {Make(PacketKind::PcSleep, 0, 1, 0), "pc-sleep,,1,0x0,,,"},
        {Make(PacketKind::PcProhibited, 0, 1, 255), "pc-prohibited,,1,0xff,,,"},
        {Make(PacketKind::PmuOverflow, 0, 1, 3), "pmu-overflow,,1,0x3,,,"},
        {Make(PacketKind::DataMatch, 3, 1, 1), "data-match,3,1,0x1,,,"},
        {Make(PacketKind::DataPc, 2, 4, 0x8000000), "data-pc,2,4,0x8000000,,,"},
        {Make(PacketKind::DataAddress, 1, 2, 0xABCD), "data-address,1,2,0xabcd,,,"},
        {Make(PacketKind::DataValue, 0, 4, 1), "data-value,0,4,0x1,read,,"},
        {Make(PacketKind::DataValue, 0, 4, 1, Swo::kWrite | Swo::kSuspect | Swo::kSalvaged | Swo::kOrderHint),
         "data-value,0,4,0x1,write,,suspect+salvaged"},
        {Make(PacketKind::UnknownHardware, 31, 2, 0x10), "unknown-hardware,31,2,0x10,,,"},
        {Make(PacketKind::Reserved, 9, 0, 4), "reserved,,1,,,,"},
        {Make(PacketKind::Malformed, 1, 3, 4), "malformed,,4,,,,"},
        {run, "unsynchronised,,100000,,,,"},
        {Make(PacketKind::TruncatedEnd, 1, 3, 4), "truncated-end,,4,,,,"}};
}

TEST(PacketRows, EveryKindHasTheColumnsOfTheContract) {
    for (const Row& row : Rows()) {
        EXPECT_EQ(Csv(row.packet), std::string("1234567890123,20000,5,exact,") + row.columns + "\n");
    }
}

TEST(PacketRows, EveryKindIsCovered) {
    std::array<bool, Swo::kPacketKinds> seen{};
    for (const Row& row : Rows()) seen[static_cast<std::size_t>(row.packet.kind)] = true;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), false), 0);
}

TEST(PacketRows, TimesAreEmptyWhereThereAreNone) {
    const Packet packet = Make(PacketKind::Overflow, 0, 0, 0);
    EXPECT_EQ(Csv(packet, {7, 7, TimeQuality::None}), "1234567890123,,,none,overflow,,0,,,,\n");
    EXPECT_EQ(Csv(packet, {7, 7, TimeQuality::Late}, {0, 1}), "1234567890123,,7,late,overflow,,0,,,,\n");
    EXPECT_EQ(Csv(packet, {7, 3, TimeQuality::Bounded}), "1234567890123,28000,7,bounded,overflow,,0,,,,\n");
    EXPECT_EQ(Csv(packet, {3, 3, TimeQuality::Exact}, {3000000, 64}),
              "1234567890123,64000,3,exact,overflow,,0,,,,\n");
}

TEST(PacketRows, JsonLinesSayTheSameAsCsv) {
    for (const Row& row : Rows()) {
        const std::string line = Json(row.packet);
        ASSERT_EQ(line.back(), '\n');
        const auto object = nlohmann::ordered_json::parse(line);
        std::stringstream names(kHead);
        std::stringstream values(Csv(row.packet));
        std::string name;
        std::string value;
        std::size_t fields = 0;
        while (std::getline(names, name, ',')) {
            if (!name.empty() && name.back() == '\n') name.pop_back();
            std::getline(values, value, ',');
            if (!value.empty() && value.back() == '\n') value.pop_back();
            ++fields;
            const auto& field = object.at(name);
            const std::string shown = field.is_null()     ? ""
                                      : field.is_string() ? field.get<std::string>()
                                                          : field.dump();
            EXPECT_EQ(shown, value) << name << " in " << line;
        }
        EXPECT_EQ(object.size(), fields);
    }
    EXPECT_EQ(Json(Make(PacketKind::Stimulus, 3, 1, 0x41)),
              "{\"offset\": 1234567890123, \"ns\": 20000, \"ticks\": 5, \"quality\": \"exact\", \"kind\": "
              "\"stimulus\", "
              "\"source\": 3, \"size\": 1, \"value\": \"0x41\", \"function\": null, \"symbol\": null, "
              "\"flags\": null}\n");
    EXPECT_NE(Json(Make(PacketKind::Stimulus, 3, 1, 0x41), {0, 0, TimeQuality::None})
                  .find("\"ns\": null, \"ticks\": null"),
              std::string::npos);
}

TEST(PacketRows, ManyRowsComeOutWhole) {
    MemoryOutput memory;
    CsvWriter writer(memory);
    writer.Begin({});
    constexpr int kRows = 20000;
    for (int i = 0; i < kRows; ++i) writer.OnPacket(Make(PacketKind::PcSample, 0, 4, 0xFFFFFFFF, 0xC0), kAt5);
    writer.Finish();
    const std::string row = "1234567890123,,5,exact,pc-sample,,4,0xffffffff,,,suspect+salvaged\n";
    ASSERT_EQ(memory.text.size(), std::string(kHead).size() + kRows * row.size());
    EXPECT_EQ(memory.text.substr(memory.text.size() - row.size()), row);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Exports
