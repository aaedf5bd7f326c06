// What the decoder makes of damage: how much it gives up, and that it finds the true step again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/unit/trace/packet_log.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::Contains;
using testing::Field;

/// What happened to a stream: bytes [at, at + removed) have become `added` ones.
struct Change {
    size_t at;
    size_t removed;
    Bytes added;
};

Bytes Changed(const Bytes& bytes, const Change& change) {
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(change.at);
    Bytes changed(bytes.begin(), at);
    changed.insert(changed.end(), change.added.begin(), change.added.end());
    changed.insert(changed.end(), at + static_cast<std::ptrdiff_t>(change.removed), bytes.end());
    return changed;
}

struct Outcome {
    size_t behind;      ///< bytes from the end of the change to where every packet is right again
    bool everSame;      ///< before the end
    bool beforeIsSame;  ///< every packet that ended before the change
    bool seen;          ///< damage or a hint was told
};

bool SameContent(const Packet& a, const Packet& b, uint64_t shift) {
    return a.offset == b.offset + shift && a.kind == b.kind && a.source == b.source && a.value == b.value &&
           a.length == b.length;
}

/// Compares a decoded changed stream with what the unchanged one means.
Outcome Judge(const Stream& stream, const Change& change, const std::vector<Packet>& found) {
    Outcome outcome{0, false, true, false};
    const uint64_t shift = uint64_t{change.added.size()} - change.removed;  // of all behind; may wrap
    const size_t end = change.at + change.added.size();
    for (const Packet& packet : found) {
        if (IsDamage(packet.kind) || (packet.flags & (kOrderHint | kKindHint)) != 0) outcome.seen = true;
    }
    for (size_t i = 0; i < stream.packets.size(); ++i) {
        const Packet& meant = stream.packets[i];
        if (meant.offset + meant.length > change.at) break;
        if (i >= found.size() || !SameContent(found[i], meant, 0)) outcome.beforeIsSame = false;
    }
    auto a = found.rbegin();
    auto b = stream.packets.rbegin();
    for (; a != found.rend() && b != stream.packets.rend() && SameContent(*a, *b, shift); ++a, ++b) {
        if (a->offset < end) break;
        outcome.everSame = true;
        outcome.behind = static_cast<size_t>(a->offset) - end;
    }
    return outcome;
}

struct Result {
    size_t falseSteps = 0;  ///< the true step was not found within 1,500 bytes
    size_t wrongBefore = 0;
    size_t seen = 0;
    std::vector<size_t> behind;

    size_t Quantile(double share) {
        std::sort(behind.begin(), behind.end());
        return behind[static_cast<size_t>(share * static_cast<double>(behind.size() - 1))];
    }
};

/// Applies changes at random places, each to a stream of its own; `make` makes a change at a place.
template <class Make>
Result Damage(const Stream& stream, unsigned times, Make make) {
    std::mt19937 random(7);
    Result result;
    constexpr size_t kLearnt = 4000;  // bytes before the change
    constexpr size_t kRest = 2000;
    for (unsigned i = 0; i < times; ++i) {
        const size_t at = kLearnt + random() % (stream.bytes.size() - kLearnt - 2 * kRest);
        Change change = make(at, random);
        Stream part = stream;
        const size_t end = at + change.removed + kRest;
        while (part.packets.back().offset + part.packets.back().length > end) part.packets.pop_back();
        part.bytes.resize(static_cast<size_t>(part.packets.back().offset + part.packets.back().length));
        const Outcome outcome = Judge(part, change, Decode(Changed(part.bytes, change)));
        if (!outcome.everSame || outcome.behind > 1500) {
            ++result.falseSteps;
            ADD_FAILURE_AT(__FILE__, __LINE__) << "not in step again after a change at " << at;
        }
        if (!outcome.beforeIsSame) ++result.wrongBefore;
        if (outcome.seen) ++result.seen;
        result.behind.push_back(outcome.behind);
    }
    std::cout << "[ figures  ] " << times << " changes: bytes until right again, median "
              << result.Quantile(0.5) << ", 95 % " << result.Quantile(0.95) << ", most " << result.Quantile(1)
              << "; " << 100 * result.seen / times << " % noticed\n";
    return result;
}

Bytes RandomBytes(std::mt19937& random, size_t count) {
    Bytes bytes(count);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
}

Change Delete(size_t at, std::mt19937& random) { return {at, 1 + random() % 8, {}}; }
Change Insert(size_t at, std::mt19937& random) { return {at, 0, RandomBytes(random, 1 + random() % 8)}; }
Change Replace(size_t at, std::mt19937& random) {
    const size_t count = 1 + random() % 8;
    return {at, count, RandomBytes(random, count)};
}
Change Hole(size_t at, std::mt19937& random) { return {at, 1 + random() % 300, {}}; }

constexpr unsigned kTimes = 400;

class Damaged : public testing::TestWithParam<bool> {
  protected:
    /// Text, counters, PC samples, exceptions; with or without timestamps.
    Stream stream = FirmwareStream(3, 12000, GetParam());
};

TEST_P(Damaged, DeletedBytesCostFewMore) {
    Result result = Damage(stream, kTimes, Delete);
    EXPECT_LE(result.Quantile(0.95), 16U);
    EXPECT_EQ(result.wrongBefore, 0U);
}

TEST_P(Damaged, InsertedBytesCostFewMore) {
    Result result = Damage(stream, kTimes, Insert);
    EXPECT_LE(result.Quantile(0.95), 16U);
    EXPECT_EQ(result.wrongBefore, 0U);
}

TEST_P(Damaged, ReplacedBytesCostFewMore) {
    Result result = Damage(stream, kTimes, Replace);
    EXPECT_LE(result.Quantile(0.95), 16U);
    EXPECT_EQ(result.wrongBefore, 0U);
}

TEST_P(Damaged, AHoleCostsFewBytesBehindIt) {
    Result result = Damage(stream, kTimes, Hole);
    EXPECT_LE(result.Quantile(0.95), 16U);
    EXPECT_LE(result.Quantile(1), 300U);
    EXPECT_EQ(result.wrongBefore, 0U);
    EXPECT_GE(result.seen, kTimes / 4);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTimestamps, Damaged, testing::Bool());

/// `05 20 C0 FF 7F` again and again is well formed in a wrong phase, too: as data addresses `7F 05 20 C0 FF`.
Stream CountersAndTimestamps(size_t records) {
    Stream stream;
    for (size_t i = 0; i < records; ++i) {
        const uint64_t at = stream.bytes.size();
        stream.bytes.insert(stream.bytes.end(), {0x05, 0x20, 0xC0, 0xFF, 0x7F});
        stream.packets.push_back({at, 0x20, 0, PacketKind::EventCounters, 1, 2, 0});
        stream.packets.push_back({at + 2, 0x3FFF, 0, PacketKind::LocalTime, 2, 3, 0});
    }
    return stream;
}

TEST(Salvage, RecordsThatAreWellFormedInAWrongPhaseAreNotReadInIt) {
    const Stream stream = CountersAndTimestamps(3000);
    Result result = Damage(stream, 1000, Hole);
    EXPECT_EQ(result.falseSteps, 0U);
    EXPECT_LE(result.Quantile(0.95), 16U);
    EXPECT_LE(result.Quantile(1), 300U);
}

TEST(Salvage, WithoutItTheWrongPhaseIsKept) {
    const Stream stream = CountersAndTimestamps(1000);
    Bytes bytes = stream.bytes;
    bytes.erase(bytes.begin() + 1000, bytes.begin() + 1004);  // the next record's last byte is a header now
    size_t wrong = 0;
    for (const Packet& packet : Decode(bytes, {true, Architecture::Any, false})) {
        if (packet.kind == PacketKind::DataAddress) ++wrong;
    }
    EXPECT_GT(wrong, 100U);
}

std::string Kinds(const std::vector<Packet>& packets) {
    std::string kinds;
    for (const Packet& packet : packets) {
        if (IsDamage(packet.kind)) {
            kinds += std::to_string(packet.offset) + "+" + std::to_string(packet.length) + " " +
                     std::string(KindName(packet.kind)) + ";";
        }
    }
    return kinds;
}

TEST(Salvage, StepLostAtAWellFormedPacketIsTold) {
    const Stream stream = CountersAndTimestamps(1000);
    Bytes bytes = stream.bytes;
    bytes.erase(bytes.begin() + 1000, bytes.begin() + 1004);
    const std::vector<Packet> packets = Decode(bytes);
    EXPECT_EQ(Kinds(packets), "1000+1 malformed;");
    EXPECT_THAT(packets, Contains(Field(&Packet::source, static_cast<uint16_t>(MalformedReason::OutOfStep))));
}

/// So many times the bytes.
Bytes Repeated(const Bytes& bytes, size_t times) {
    Bytes all;
    for (size_t i = 0; i < times; ++i) all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

TEST(Salvage, DamageInFrontOfAllElseNeeds64AssignedPackets) {
    Bytes bytes{0x04};
    const Bytes text = Repeated({0x01, 0xFC}, 63);  // FC, as a header, makes nothing that goes on for long
    bytes.insert(bytes.end(), text.begin(), text.end());
    EXPECT_EQ(Kinds(Decode(bytes)), "0+1 reserved;1+126 unsynchronised;");
    bytes.insert(bytes.end(), {0x01, 0xFC});
    EXPECT_EQ(Kinds(Decode(bytes)), "0+1 reserved;");
}

TEST(Salvage, DamageBehindKnownPacketsNeeds24OfThem) {
    Bytes bytes = Repeated({0x01, 0xFC}, 200);
    bytes.push_back(0x04);
    for (int i = 0; i < 23; ++i) bytes.insert(bytes.end(), {0x01, 0xFC});
    Bytes more = bytes;
    bytes.insert(bytes.end(), {0x04, 0x04});
    EXPECT_EQ(Kinds(Decode(bytes)), "400+1 reserved;401+48 unsynchronised;");
    more.insert(more.end(), {0x01, 0xFC, 0x04, 0x04});
    EXPECT_EQ(Kinds(Decode(more)), "400+1 reserved;449+1 reserved;450+1 unsynchronised;");
}

TEST(Salvage, EightKnownPacketsAreEnoughUpToTheEnd) {
    Bytes bytes = Repeated({0x01, 0xFC}, 200);
    bytes.push_back(0x04);
    for (int i = 0; i < 7; ++i) bytes.insert(bytes.end(), {0x01, 0xFC});
    EXPECT_EQ(Kinds(Decode(bytes)), "400+1 reserved;401+14 unsynchronised;");
    bytes.insert(bytes.end(), {0x01, 0xFC});
    EXPECT_EQ(Kinds(Decode(bytes)), "400+1 reserved;");
}

TEST(Salvage, EightKnownPacketsAreEnoughUpToASynchronisation) {
    const Bytes sync{0, 0, 0, 0, 0, 0x80};
    Bytes bytes = Repeated({0x01, 0xFC}, 200);
    bytes.push_back(0x04);
    for (int i = 0; i < 7; ++i) bytes.insert(bytes.end(), {0x01, 0xFC});
    Bytes more = bytes;
    bytes.insert(bytes.end(), sync.begin(), sync.end());
    EXPECT_EQ(Kinds(Decode(bytes)), "400+1 reserved;401+14 unsynchronised;");
    more.insert(more.end(), {0x01, 0xFC});
    more.insert(more.end(), sync.begin(), sync.end());
    EXPECT_EQ(Kinds(Decode(more)), "400+1 reserved;");
}

TEST(Salvage, PacketsAreMarkedUntilTheNextSynchronisation) {
    Bytes bytes = Repeated({0x01, 0xFC}, 200);
    bytes.push_back(0x04);
    const Bytes more = Repeated({0x01, 0xFC}, 100);
    bytes.insert(bytes.end(), more.begin(), more.end());
    bytes.insert(bytes.end(), {0, 0, 0, 0, 0, 0x80, 0x01, 0xFC});
    for (const Packet& packet : Decode(bytes)) {
        const bool salvaged = packet.offset > 400 && packet.offset < 601;
        EXPECT_EQ(packet.flags, salvaged ? kSalvaged : 0) << packet.offset;
    }
}

TEST(Salvage, WhatWasSeenJustBeforeDamageIsNotKnown) {
    // Port 1's packets, which never come again, must not count as known behind the damage: 23 of port 0 and
    // one of them.
    Bytes bytes = Repeated({0x01, 0xFC}, 200);
    for (int i = 0; i < 3; ++i) bytes.insert(bytes.end(), {0x09, 0xFC});
    bytes.push_back(0x04);
    for (int i = 0; i < 23; ++i) bytes.insert(bytes.end(), {0x01, 0xFC});
    bytes.insert(bytes.end(), {0x09, 0xFC, 0x04, 0x04});
    EXPECT_EQ(Kinds(Decode(bytes)), "406+1 reserved;407+50 unsynchronised;");
}

TEST(Salvage, ANewPacketWhoseCourseIsCleanHasNoRival) {
    // `05 05` is known in both phases; from the byte behind the new packet's header on, too.
    Bytes bytes = Repeated({0x05, 0x05}, 200);
    bytes.insert(bytes.end(), {0x02, 0x05, 0x05});
    const Bytes more = Repeated({0x05, 0x05}, 100);
    bytes.insert(bytes.end(), more.begin(), more.end());
    const std::vector<Packet> packets = Decode(bytes);
    EXPECT_EQ(Kinds(packets), "");
    EXPECT_EQ(packets.size(), 301U);
    EXPECT_EQ(packets[200].kind, PacketKind::Stimulus);
}

/// The flags of hints, by offset.
std::map<uint64_t, int> Hints(const Bytes& bytes) {
    std::map<uint64_t, int> hints;
    for (const Packet& packet : Decode(bytes)) {
        if ((packet.flags & (kOrderHint | kKindHint)) != 0) hints[packet.offset] = packet.flags;
    }
    return hints;
}

TEST(Hints, AnOrderThatWasNeverSeenIsOne) {
    Bytes bytes = Repeated({0x85, 0x01, 0xC0, 0x21}, 300);
    const uint64_t at = bytes.size() + 2;
    bytes.insert(bytes.end(), {0x85, 0x02});  // no timestamp behind it: it was lost
    const Bytes more = Repeated({0x85, 0x01, 0xC0, 0x21}, 100);
    bytes.insert(bytes.end(), more.begin(), more.end());
    EXPECT_EQ(Hints(bytes), (std::map<uint64_t, int>{{at, kOrderHint}}));
}

TEST(Hints, NoneAsLongAsThereAreNews) {
    Bytes bytes = Repeated({0x85, 0x01, 0xC0, 0x21}, 120);
    bytes.insert(bytes.end(), {0x85, 0x02});
    const Bytes more = Repeated({0x85, 0x01, 0xC0, 0x21}, 100);
    bytes.insert(bytes.end(), more.begin(), more.end());
    EXPECT_TRUE(Hints(bytes).empty());
}

TEST(Hints, NoneAroundOverflowsAndSynchronisations) {
    Bytes bytes = Repeated({0x85, 0x01, 0xC0, 0x21}, 300);
    bytes.insert(bytes.end(), {0x85, 0x02, 0, 0, 0, 0, 0, 0x80, 0xC0, 0x21});
    const Bytes more = Repeated({0x85, 0x01, 0xC0, 0x21, 0x70}, 70);
    bytes.insert(bytes.end(), more.begin(), more.end());
    const auto hints = Hints(bytes);
    // The first overflow is something new, no more.
    EXPECT_EQ(hints, (std::map<uint64_t, int>{{1214, kKindHint}}));
    bytes.insert(bytes.end(), {0x85, 0x02, 0x70, 0x85, 0x02, 0xC0, 0x21});
    EXPECT_EQ(Hints(bytes), hints);
}

TEST(Hints, ASourceThatWasNeverSeenIsOneOnce) {
    Bytes bytes = Repeated({0x85, 0x01, 0xC0, 0x21}, 300);
    const Bytes news = Repeated({0x13, 1, 0, 0, 0, 0xC0, 0x21}, 300);
    bytes.insert(bytes.end(), news.begin(), news.end());
    EXPECT_EQ(Hints(bytes), (std::map<uint64_t, int>{{1200, kKindHint}}));
}

TEST(Hints, AreNotGivenWithoutSalvage) {
    Bytes bytes = Repeated({0x85, 0x01, 0xC0, 0x21}, 300);
    bytes.insert(bytes.end(), {0x85, 0x02, 0x85, 0x02, 0xC0, 0x21});
    for (const Packet& packet : Decode(bytes, {true, Architecture::Any, false})) EXPECT_EQ(packet.flags, 0);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
