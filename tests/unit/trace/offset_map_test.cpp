// Where in a capture of frames the packets of a stream stand.
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"
#include "tests/unit/trace/tpiu_encoder.h"
#include "trace/capture_decoder.h"

namespace Korr::Plim::Trace::Swo {
namespace {

TEST(OffsetMap, TellsWhereTheBytesOfAStreamStand) {
    auto chunk = std::make_unique<StreamBytes>();
    chunk->count = 3;
    chunk->places[0] = 60, chunk->places[1] = 62, chunk->places[2] = 70;
    OffsetMap map;
    map.Begin(100, 49);
    EXPECT_EQ(map.CaptureOffset(100), 50U) << "nothing has come";
    map.Present(*chunk);
    EXPECT_EQ(map.End(), 103U);
    EXPECT_EQ(map.CaptureOffset(100), 60U);
    EXPECT_EQ(map.CaptureOffset(102), 70U);
    EXPECT_EQ(map.CaptureOffset(103), 71U) << "one behind the last byte";
    map.Retire(101);
    EXPECT_EQ(map.LastPlace(), 70U);
    EXPECT_EQ(map.CaptureOffset(101), 62U);
    EXPECT_EQ(map.CaptureOffset(102), 70U);
    EXPECT_EQ(map.CaptureOffset(103), 71U);
}

TEST(OffsetMap, NothingStandsBehindWhatComesOnceMore) {
    auto chunk = std::make_unique<StreamBytes>();
    chunk->count = 3;
    chunk->places[0] = 60, chunk->places[1] = 62, chunk->places[2] = 70;
    OffsetMap map;
    map.Begin(100, 49);
    map.Present(*chunk);
    map.Pin(100, 101, 101);
    map.Retire(102);
    map.GoBack(61);
    EXPECT_EQ(map.CaptureOffset(100), 60U) << "pinned, and in front of it";
    EXPECT_EQ(map.CaptureOffset(101), 61U) << "pinned";
    EXPECT_EQ(map.CaptureOffset(102), 61U);
    EXPECT_EQ(map.CaptureOffset(103), 61U) << "what comes next";
    map.GoBack(0);
    EXPECT_EQ(map.CaptureOffset(100), 0U);
}

struct Placed : PacketLog {
    void OnFrameStep(const FrameStep&) { ADD_FAILURE() << "the frames are whole"; }
};

/// The stream's bytes stand all in stream 1 of a capture; every packet is to begin where its first byte
/// stands.
void ExpectPlaces(const Bytes& stream, const std::string& what) {
    std::vector<Given> given;
    for (const uint8_t byte : stream) given.push_back({1, byte});
    const Framed framed = Frame(given);
    Placed log;
    CaptureOptions options;
    options.framing = {FramingKind::Tpiu, uint8_t{1}};
    CaptureDecoder<Placed> decoder(log, options);
    decoder.Feed(framed.bytes);
    decoder.Finish();
    uint64_t begin = 0;  // of a packet, in the stream
    for (const Packet& packet : log.packets) {
        ASSERT_EQ(packet.offset, framed.places[begin]) << what << ", byte " << begin;
        begin += packet.length;
    }
    EXPECT_EQ(begin, stream.size()) << what;
}

TEST(OffsetMap, KnowsWhereABrokenPacketEndsInZerosThatGoOnInTheNextPiece) {
    for (size_t before = 0; before < 260; ++before) {
        Bytes stream;
        for (size_t i = 0; i < before; ++i) stream.insert(stream.end(), {0x01, 'a'});
        stream.insert(stream.end(), {0x0E, 0x0F, 0x00});  // an exception's packet without a function
        stream.insert(stream.end(), 9, 0x00);
        stream.insert(stream.end(), 600, 0x04);
        stream.insert(stream.end(), {0x00, 0x00, 0x00, 0x00, 0x00, 0x80});
        for (size_t i = 0; i < 100; ++i) stream.insert(stream.end(), {0x01, 'b'});
        ExpectPlaces(stream, std::to_string(before) + " packets before it");
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
