// The decoder as a whole: the packets of random streams, however they are cut, and from where it goes on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Random packets, and after each some hundred of them random damage of all kinds.
Bytes DamagedStream(unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes;
    for (unsigned part = 0; part < 12; ++part) {
        const size_t packets = 20 + random() % 400;
        Stream piece = random() % 3 == 0 ? RandomStream(seed + part, packets)
                                         : FirmwareStream(seed, packets, part % 2 == 0);
        const size_t cut = random() % piece.bytes.size();
        bytes.insert(bytes.end(), piece.bytes.begin(),
                     piece.bytes.begin() + static_cast<std::ptrdiff_t>(cut));
        const unsigned damage = random() % 4;
        if (damage == 0) bytes.insert(bytes.end(), random() % 2000, 0);
        for (unsigned i = 0; damage == 1 && i < 900; ++i) bytes.push_back(static_cast<uint8_t>(random()));
        if (damage == 2) bytes.push_back(static_cast<uint8_t>(random()));
    }
    return bytes;
}

TEST(ItmDecoder, ReturnsRandomPacketsOfEveryKindAsTheyWereMeant) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        const Stream stream = RandomStream(seed, 3000);
        EXPECT_EQ(FirstDifference(WithoutHints(Decode(stream.bytes)), stream.packets), "") << "seed " << seed;
    }
}

TEST(ItmDecoder, ReturnsThoseOfArmv7M) {
    const Stream stream = RandomStream(1, 20000, false);
    EXPECT_EQ(FirstDifference(WithoutHints(Decode(stream.bytes, {true, Architecture::Armv7M, true})),
                              stream.packets),
              "");
}

TEST(ItmDecoder, ReturnsThemWithoutSalvage) {
    const Stream stream = RandomStream(2, 20000);
    EXPECT_EQ(FirstDifference(Decode(stream.bytes, {true, Architecture::Any, false}), stream.packets), "");
}

TEST(ItmDecoder, AnyCutGivesTheSamePackets) {
    for (unsigned seed = 1; seed <= 30; ++seed) {
        const Bytes bytes = DamagedStream(seed);
        const std::vector<Packet> whole = Decode(bytes);
        for (const size_t block : {1U, 2U, 3U, 7U, 8U, 9U, 17U, 511U, 512U, 513U, 1024U, 4096U, 65536U}) {
            EXPECT_EQ(FirstDifference(DecodeCut(bytes, block, 0), whole), "")
                << "seed " << seed << " block " << block;
        }
        for (unsigned cut = 1; cut <= 3; ++cut) {
            EXPECT_EQ(FirstDifference(DecodeCut(bytes, 0, cut), whole), "");
        }
    }
}

TEST(ItmDecoder, AnyCutGivesTheSamePacketsWithoutSalvage) {
    const Bytes bytes = DamagedStream(5);
    const ItmOptions options{true, Architecture::Any, false};
    const std::vector<Packet> whole = Decode(bytes, options);
    for (const size_t block : {1U, 5U, 64U, 1000U}) {
        EXPECT_EQ(FirstDifference(DecodeCut(bytes, block, 0, options), whole), "");
    }
}

TEST(ItmDecoder, ItsPacketsCoverEveryByte) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        Bytes bytes = DamagedStream(seed);
        bytes.push_back(0x70);  // no zeros at the end
        const std::vector<Packet> packets = Decode(bytes);
        EXPECT_EQ(packets.front().offset, 0U);
        EXPECT_EQ(packets.back().offset + packets.back().length, bytes.size());
    }
}

TEST(ItmDecoder, GoesOnFromEveryStateAsIfItHadNeverStopped) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const Bytes bytes = DamagedStream(seed);
        std::mt19937 random(seed);
        std::vector<std::pair<DecoderState, size_t>> states;  // and the number of packets given before
        PacketLog whole;
        ItmDecoder<PacketLog> decoder(whole);
        for (size_t at = 0; at < bytes.size();) {
            const size_t count = std::min<size_t>(1 + random() % 90, bytes.size() - at);
            decoder.Feed({&bytes[at], count});
            at += count;
            states.emplace_back(decoder.State(), whole.packets.size());
        }
        decoder.Finish();
        for (const auto& [state, before] : states) {
            PacketLog rest;
            ItmDecoder<PacketLog> second(rest);
            second.Restore(state, decoder.Known());
            second.Feed(std::span(bytes).subspan(static_cast<size_t>(state.offset)));
            second.Finish();
            const auto from = whole.packets.begin() + static_cast<std::ptrdiff_t>(before);
            ASSERT_EQ(FirstDifference(rest.packets, {from, whole.packets.end()}), "") << "seed " << seed;
        }
    }
}

TEST(ItmDecoder, AStateIsSmall) { EXPECT_LE(sizeof(DecoderState), 96U); }

TEST(ItmDecoder, TellsWhatTheEndCutsOff) {
    EXPECT_THAT(Decode({0x01, 'a', 0x13, 1, 2}),
                ElementsAre(Packet{0, 'a', 0, PacketKind::Stimulus, 1, 2, 0},
                            Packet{2, 0x13, 0, PacketKind::TruncatedEnd, 3, 3, 0}));
}

TEST(ItmDecoder, UpToSevenZerosAtTheEndArePadding) {
    EXPECT_THAT(Decode({0x70, 0, 0, 0, 0, 0, 0, 0}),
                ElementsAre(Packet{0, 0, 0, PacketKind::Overflow, 0, 1, 0}));
    EXPECT_THAT(Decode({0x70, 0, 0, 0, 0, 0, 0, 0, 0}),
                ElementsAre(Packet{0, 0, 0, PacketKind::Overflow, 0, 1, 0},
                            Packet{1, 0, 0, PacketKind::TruncatedEnd, 8, 8, 0}));
    EXPECT_THAT(Decode({}), IsEmpty());
}

TEST(ItmDecoder, WaitsForASynchronisationWhenAskedTo) {
    const ItmOptions options{false, Architecture::Any, true};
    Stream stream = FirmwareStream(1, 500, true);
    Bytes bytes = stream.bytes;
    bytes.insert(bytes.end(), {0, 0, 0, 0, 0, 0, 0x80, 0x70});
    const auto before = static_cast<uint32_t>(stream.bytes.size());
    EXPECT_THAT(Decode(bytes, options),
                ElementsAre(Packet{0, 0, 0, PacketKind::Unsynchronised, 255, before, 0},
                            Packet{before, 0, 0, PacketKind::Sync, 7, 7, 0},
                            Packet{before + 7, 0, 0, PacketKind::Overflow, 0, 1, 0}));
    EXPECT_THAT(Decode(stream.bytes, options),
                ElementsAre(Packet{0, 0, 0, PacketKind::Unsynchronised, 255, before, 0}));
}

TEST(ItmDecoder, ASynchronisationEndsEveryLossOfStep) {
    const ItmOptions options{true, Architecture::Any, false};
    EXPECT_THAT(Decode({0x04, 0x01, 0x01, 0, 0, 0, 0, 0, 0x80, 0x01, 'a'}, options),
                ElementsAre(Packet{0, 0x04, 0, PacketKind::Reserved, 1, 1, 0},
                            Packet{1, 0, 0, PacketKind::Unsynchronised, 2, 2, 0},
                            Packet{3, 0, 0, PacketKind::Sync, 6, 6, 0},
                            Packet{9, 'a', 0, PacketKind::Stimulus, 1, 2, 0}));
}

TEST(ItmDecoder, TellsWhereItStands) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log);
    decoder.Feed(Bytes{0x70, 0, 0});
    EXPECT_TRUE(decoder.InStep());
    EXPECT_EQ(decoder.FirstOpen(), 1U);
    EXPECT_EQ(decoder.ZerosFrom(), 1U);
    EXPECT_EQ(decoder.OpenDamage(), 0U);
    decoder.Feed(Bytes{0x80, 0x04});
    EXPECT_FALSE(decoder.InStep());
    EXPECT_EQ(decoder.State().runStart, 3U);
    decoder.Finish();
    EXPECT_EQ(decoder.FirstOpen(), 5U);
}

TEST(ItmDecoder, NoPacketGoesAcrossAnAnnouncedGap) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log);
    const Stream stream = FirmwareStream(1, 400, true);
    decoder.Feed(stream.bytes);
    decoder.Feed(Bytes{0x13, 1, 2});
    decoder.Break(true);
    decoder.Feed(stream.bytes);
    decoder.Finish();
    ASSERT_EQ(log.packets.size(), 801U);
    const uint64_t end = stream.bytes.size();
    EXPECT_EQ(log.packets[400], (Packet{end, 0x13, static_cast<uint16_t>(MalformedReason::BytesMissing),
                                        PacketKind::Malformed, 3, 3, 0}));
    EXPECT_EQ(log.packets[401].offset, end + 3);
    EXPECT_EQ(log.packets[401].kind, stream.packets[0].kind);
    EXPECT_EQ(log.packets[401].flags & kSalvaged, kSalvaged);
}

TEST(ItmDecoder, BytesThatAreRejectedAreDamageWhateverTheyMayBe) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log);
    const Stream stream = FirmwareStream(1, 400, true);
    decoder.Feed(stream.bytes);
    const uint64_t end = stream.bytes.size();
    // Out of step, then known packets, too few to show that they are: unless they were the last ones.
    decoder.Feed(Bytes{0x04});
    decoder.Feed(std::span(stream.bytes).first(60));
    ASSERT_FALSE(decoder.InStep());
    decoder.Break(false);
    decoder.Feed(stream.bytes);
    decoder.Finish();
    EXPECT_EQ(log.packets[400].kind, PacketKind::Reserved);
    EXPECT_EQ(log.packets[401], (Packet{end + 1, 0, 0, PacketKind::Unsynchronised, 60, 60, 0}));
    EXPECT_EQ(log.packets[402].offset, end + 61);
}

TEST(ItmDecoder, AnAnnouncedGapBetweenPacketsCostsNoByte) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log);
    const Stream stream = FirmwareStream(1, 400, true);
    decoder.Feed(stream.bytes);
    decoder.Break(true);
    decoder.Feed(stream.bytes);
    decoder.Finish();
    ASSERT_EQ(log.packets.size(), 800U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
