#include "trace/capture_analysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "simulator/swosource/signal/itm_pattern.h"
#include "tests/unit/trace/tpiu_encoder.h"
#include "trace/hole_forecast.h"

namespace Korr::Plim::Trace::Swo {

namespace {

Bytes Firmware(size_t count) {
    Simulator::ItmPattern pattern;
    Bytes bytes(count);
    pattern.Read(bytes.data(), count);
    return bytes;
}

void Append(Bytes& bytes, std::initializer_list<uint32_t> more) {
    for (const uint32_t byte : more) bytes.push_back(static_cast<uint8_t>(byte));
}

/// Each turn a value on port 2 and 5,000 ticks; a global timestamp every tenth turn.
Bytes PeriodicTurns(uint32_t from, uint32_t to, uint32_t ticksBefore) {
    Bytes bytes;
    uint32_t now = 1'000'000 + from * 5000 + ticksBefore;
    for (uint32_t turn = from; turn < to; ++turn, now += 5000) {
        if (turn % 10 == 0) {
            Append(bytes, {0x94, (now & 0x7F) | 0x80, (now >> 7 & 0x7F) | 0x80, (now >> 14 & 0x7F) | 0x80,
                           now >> 21});
            if (turn == 0) Append(bytes, {0xB4, 0x80, 0x80, 0x80, 0x00});
        }
        Append(bytes, {0x11, turn & 0xFF, 0xC0, 0x88, 0x27});  // 0x1388 is 5,000
    }
    return bytes;
}

std::vector<LedgerEntry> Found(const Bytes& bytes) {
    CaptureAnalysis analysis({});
    analysis.Feed(bytes);
    analysis.Finish();
    return analysis.Losses().Entries();
}

TEST(CaptureAnalysis, TicksThatTheGlobalTimeMissesAreALoss) {
    Bytes bytes = PeriodicTurns(0, 200, 0);
    EXPECT_TRUE(Found(bytes).empty());
    const Bytes rest = PeriodicTurns(200, 300, 71'234);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const auto entries = Found(bytes);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].kind, LossKind::GlobalGap);
    EXPECT_EQ(entries[0].lossClass, LossClass::Gap);
    EXPECT_EQ(entries[0].missing, 71'234u);
    EXPECT_FALSE(entries[0].hint);
}

TEST(CaptureAnalysis, PacketsThatAPeriodMissesAreAHint) {
    Bytes bytes = PeriodicTurns(0, 200, 0);
    Append(bytes, {0xC0, 0x90, 0x4E});  // 10,000 ticks: the values of two turns are not there
    const uint64_t at = bytes.size() + 5;
    const Bytes rest = PeriodicTurns(202, 300, 0);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const auto entries = Found(bytes);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].kind, LossKind::OrderHint);
    EXPECT_EQ(entries[1].kind, LossKind::PeriodGap);
    EXPECT_EQ(entries[1].missing, 2u);
    EXPECT_EQ(entries[1].source, 2u);
    EXPECT_EQ(entries[1].offset, at - 5);
    EXPECT_TRUE(entries[1].hint);
}

/// Whole packets, the first `before` bytes of which hold no synchronisation.
Bytes SynchronisedLate(size_t before, size_t behind) {
    Bytes bytes;
    while (bytes.size() < before) Append(bytes, {0x01, 'h', 0xC0, 0x05});
    bytes.resize(before);
    const Bytes rest = Firmware(behind);  // begins with one
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

void ExpectGoodFromTheFirstSyncOn(const Bytes& bytes, uint64_t sync, SignalVerdict verdict) {
    AnalysisOptions options;
    options.waitForSync = true;
    CaptureAnalysis analysis(options);
    analysis.Feed(bytes);
    analysis.Finish();
    EXPECT_EQ(analysis.Counts().firstSync, sync);
    EXPECT_GT(analysis.Features().validity, 0.999) << "all but a packet at the end";
    EXPECT_LT(analysis.Features().stretchLength, 8u);
    EXPECT_EQ(Diagnose(analysis.Features()).verdict, verdict);
    EXPECT_EQ(analysis.Losses().Totals().lostOnTheWay, 0u);
    EXPECT_EQ(analysis.Losses().Totals().Of(LossKind::StartMidPacket), 1u);
}

TEST(CaptureAnalysis, WaitingForASyncTellsOfWhatComesFromItOn) {
    ExpectGoodFromTheFirstSyncOn(SynchronisedLate(2708, 12288 - 2708), 2708, SignalVerdict::Good);
    ExpectGoodFromTheFirstSyncOn(SynchronisedLate(CaptureAnalysis::kHead + 4000, 12288),
                                 CaptureAnalysis::kHead + 4000, SignalVerdict::Good);
}

TEST(CaptureAnalysis, WaitingForASyncInFramesTellsOfWhatComesFromItOn) {
    std::vector<Given> given;
    for (const uint8_t byte : SynchronisedLate(2708, 12288 - 2708)) given.push_back({1, byte});
    const Framed framed = Frame(given);
    EXPECT_GT(framed.places[0], 0u) << "the stream begins behind its number";
    ExpectGoodFromTheFirstSyncOn(framed.bytes, framed.places[2708], SignalVerdict::TpiuFramed);
}

TEST(CaptureAnalysis, WithoutASyncThatIsWaitedForThereIsNothing) {
    AnalysisOptions options;
    options.waitForSync = true;
    CaptureAnalysis analysis(options);
    analysis.Feed(SynchronisedLate(12288, 0));
    analysis.Finish();
    EXPECT_EQ(analysis.Features().packets, 0u);
    EXPECT_EQ(analysis.Features().validity, 0);
    EXPECT_FALSE(IsUsable(analysis.Features(), Diagnose(analysis.Features()).verdict));
}

class Text : public TextReceiver {
  public:
    void Write(uint8_t port, const uint8_t* bytes, size_t count) override {
        text.append(reinterpret_cast<const char*>(bytes), count);
        last = port;
    }
    std::string text;
    int last = -1;
};

TEST(CaptureAnalysis, CountsWhatStandsInTheStream) {
    Simulator::ItmPattern pattern;
    Bytes bytes(200000);
    pattern.Read(bytes.data(), bytes.size());
    const auto truth = pattern.Content();
    Text text;
    AnalysisOptions options;
    options.text = &text;
    options.textPorts.set(0);
    CaptureAnalysis analysis(options);
    analysis.Feed(bytes);
    analysis.Finish();
    const CaptureCounts& counts = analysis.Counts();
    EXPECT_EQ(analysis.Bytes(), 200000u);
    EXPECT_EQ(counts.portBytes[0], truth["text"]["bytes"]);
    EXPECT_EQ(counts.portPackets[1], truth["packets"]["port 1"]);
    EXPECT_EQ(counts.portPackets[31], truth["packets"]["port 31"]);
    EXPECT_EQ(counts.Of(PacketKind::Exception), truth["packets"]["exception trace"]);
    EXPECT_EQ(counts.Of(PacketKind::LocalTime), truth["packets"]["local timestamp"]);
    EXPECT_EQ(counts.Of(PacketKind::PcSample), truth["packets"]["PC sample"]);
    EXPECT_EQ(counts.Of(PacketKind::Sync), truth["packets"]["synchronisation"]);
    EXPECT_EQ(counts.Of(PacketKind::Overflow), truth["packets"]["overflow"]);
    EXPECT_EQ(counts.firstSync, 0u);
    EXPECT_EQ(analysis.Losses().Totals().lostOnTheWay, 0u);
    EXPECT_EQ(analysis.Losses().Totals().lostInTarget, truth["packets"]["overflow"]);
    EXPECT_EQ(static_cast<uint64_t>(std::count(text.text.begin(), text.text.end(), '\n')),
              truth["text"]["lines"]);
    EXPECT_EQ(text.last, 0);
}

TEST(CaptureAnalysis, EveryCutOfTheBytesGivesTheSameLedger) {
    Bytes bytes = Firmware(60000);
    bytes.erase(bytes.begin() + 30000, bytes.begin() + 31111);
    bytes.erase(bytes.begin() + 20000, bytes.begin() + 20007);
    bytes[45000] = 0x04;
    const auto ledgerOf = [&](size_t piece) {
        CaptureAnalysis analysis({});
        for (size_t i = 0; i < bytes.size(); i += piece) {
            analysis.Feed(std::span(bytes).subspan(i, std::min(piece, bytes.size() - i)));
        }
        analysis.Finish();
        std::string text;
        for (const LedgerEntry& entry : analysis.Losses().Entries()) {
            text += std::to_string(entry.offset) + "+" + std::to_string(entry.length) + " " +
                    std::string(LossKindName(entry.kind)) + " " + std::to_string(entry.suspects) + " " +
                    std::to_string(entry.byteCount) + " " + std::to_string(entry.bytes[0]) + "\n";
        }
        return text;
    };
    const std::string whole = ledgerOf(bytes.size());
    EXPECT_NE(whole, "");
    for (const size_t piece : {1u, 7u, 999u, 65536u}) EXPECT_EQ(ledgerOf(piece), whole) << piece;
}

TEST(CaptureAnalysis, EntriesShowTheBytesThatStandThere) {
    Bytes bytes = Firmware(300000);
    bytes[150000] = 0x04;
    CaptureAnalysis analysis({});
    analysis.Feed(bytes);
    analysis.Finish();
    int shown = 0;
    for (const LedgerEntry& entry : analysis.Losses().Entries()) {
        if (entry.lossClass == LossClass::Edge) continue;
        ASSERT_GT(entry.byteCount, 0) << entry.offset;
        EXPECT_EQ(entry.bytes[0], bytes[static_cast<size_t>(entry.offset)]) << entry.offset;
        ++shown;
    }
    EXPECT_GT(shown, 0);
}

struct Damage : PacketReceiver {
    void OnPacket(const Packet& packet, const PacketTime&) override {
        if (IsDamage(packet.kind)) packets.push_back(packet);
    }
    std::vector<Packet> packets;
};

TEST(CaptureAnalysis, TheLongestStretchWithoutAPacketBeginsWithItsFirstByte) {
    Bytes bytes = Firmware(20000);
    bytes.insert(bytes.begin() + 10000, 100, uint8_t{0x04});
    Damage damage;
    AnalysisOptions options;
    options.packets = &damage;
    CaptureAnalysis analysis(options);
    analysis.Feed(bytes);
    analysis.Finish();
    ASSERT_GE(damage.packets.size(), 2U);
    uint64_t length = 0;
    for (const Packet& packet : damage.packets) {
        EXPECT_EQ(packet.offset, damage.packets[0].offset + length) << "it is one stretch";
        length += packet.length;
    }
    EXPECT_NEAR(static_cast<double>(damage.packets[0].offset), 10000, 8);
    EXPECT_EQ(analysis.Features().stretchOffset, damage.packets[0].offset);
    EXPECT_EQ(analysis.Features().stretchLength, length);
}

TEST(CaptureAnalysis, AnyBytesGetAnAnswer) {
    std::mt19937 random(11);
    for (int round = 0; round < 60; ++round) {
        Bytes bytes(random() % 5000);
        const unsigned mask = round % 3 == 0 ? 0xFF : round % 3 == 1 ? 0x81 : 0x13;
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() & mask);
        AnalysisOptions options;
        options.counterPort = static_cast<uint8_t>(random() % 4);
        options.waitForSync = round % 2 == 0;
        CaptureAnalysis analysis(options);
        analysis.Feed(bytes);
        analysis.Finish();
        uint64_t counted = 0;
        for (const uint64_t count : analysis.Counts().bytes) counted += count;
        EXPECT_LE(counted, bytes.size());
        const SignalFeatures features = analysis.Features();
        EXPECT_GE(features.validity, 0);
        EXPECT_LE(features.validity, 1);
    }
}

// What the forecast promises is what is seen: holes of other places and lengths than its own.
double SeenShare(const Bytes& whole, const AnalysisOptions& options, int holes) {
    std::mt19937 random(99);
    int seen = 0;
    for (int i = 0; i < holes; ++i) {
        const size_t length = 1 + random() % 4096;
        const size_t place = 20000 + random() % (whole.size() - length - 40000);
        Bytes bytes(whole.begin() + static_cast<std::ptrdiff_t>(place) - 20000,
                    whole.begin() + static_cast<std::ptrdiff_t>(place));
        const auto rest = whole.begin() + static_cast<std::ptrdiff_t>(place + length);
        bytes.insert(bytes.end(), rest, rest + 16384);
        CaptureAnalysis analysis(options);
        analysis.Feed(bytes);
        analysis.Finish();
        const auto& entries = analysis.Losses().Entries();
        seen += std::any_of(entries.begin(), entries.end(), [&](const LedgerEntry& entry) {
            const bool near = entry.offset + 8 >= 20000 && entry.offset <= 20300;
            return entry.lossClass != LossClass::Edge && entry.lossClass != LossClass::Target &&
                   (near || entry.kind == LossKind::CounterGap);
        });
    }
    return static_cast<double>(seen) / holes;
}

TEST(HoleForecast, PromisesWhatIsSeen) {
    const Bytes whole = Firmware(400000);
    const HoleForecast forecast = ForecastHoles(whole, {});
    EXPECT_EQ(forecast.holes, 200);
    EXPECT_GT(forecast.Share(), 0.3);
    EXPECT_LT(forecast.Share(), 0.98);
    EXPECT_NEAR(forecast.Share(), SeenShare(whole, {}, 400), 0.1);
}

TEST(HoleForecast, ACounterPortShowsEveryHoleThatTookOneOfItsValues) {
    const Bytes whole = Firmware(400000);
    AnalysisOptions options;
    options.counterPort = 1;
    const HoleForecast forecast = ForecastHoles(whole, options);
    EXPECT_GE(forecast.Share(), 0.97);  // the shortest holes take no value
    EXPECT_NEAR(forecast.Share(), SeenShare(whole, options, 200), 0.1);
}

TEST(HoleForecast, HolesAreSeenWhereTheLastTimestampWasLongAgo) {
    Bytes bytes{0xC0, 0x88, 0x27};
    for (uint32_t turn = 0; bytes.size() < 4096; ++turn) {
        Append(bytes, {0x01, 0x41 + turn % 26, 0x0B, turn, 0x10, 0x55, 0x66, 0x17, 2 * turn, 0x40, 0, 0x08});
    }
    const HoleForecast forecast = ForecastHoles(bytes, {});
    EXPECT_EQ(forecast.holes, 200);
    EXPECT_GT(forecast.Share(), 0.8);  // but for whole turns; hints wait for a timestamp or the end
}

TEST(HoleForecast, TooFewBytesAreForecastNothing) {
    EXPECT_EQ(ForecastHoles(Firmware(2047), {}).holes, 0);
    EXPECT_EQ(ForecastHoles({}, {}).holes, 0);
    EXPECT_EQ(ForecastHoles(Firmware(2048), {}).holes, 200);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
