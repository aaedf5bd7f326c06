// Frames: what they carry, where they begin, and going on after lost bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"
#include "tests/unit/trace/tpiu_encoder.h"
#include "trace/capture_decoder.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Content {
    Bytes bytes;
    std::vector<uint64_t> places;
};

/// What one stream carries, of a capture in blocks of so many bytes.
Content Deframe(const Bytes& capture, uint8_t stream, size_t block) {
    TpiuDeframer deframer(stream);
    auto chunk = std::make_unique<StreamBytes>();
    Content content;
    for (size_t at = 0; at < capture.size();) {
        const size_t count = std::min(block, capture.size() - at);
        const TpiuDeframer::Result result = deframer.Feed({&capture[at], count}, *chunk);
        at += result.taken;
        content.bytes.insert(content.bytes.end(), chunk->bytes.begin(),
                             chunk->bytes.begin() + static_cast<std::ptrdiff_t>(chunk->count));
        content.places.insert(content.places.end(), chunk->places.begin(),
                              chunk->places.begin() + static_cast<std::ptrdiff_t>(chunk->count));
        chunk->count = 0;
        EXPECT_NE(result.stop, TpiuDeframer::Stop::Question);
        EXPECT_NE(result.stop, TpiuDeframer::Stop::Realigned);
    }
    return content;
}

TEST(TpiuDeframer, TakesAFrameApartByItsLowBits) {
    // Stream 1 at once; A5 of it; even byte 42 with low bit; 0x30 of stream 2 behind 0x77 of stream 1; data
    // of stream 2.
    const Bytes frame{0x03, 0xA5, 0x42, 0x10, 0x05, 0x77, 0x30, 0x31,
                      0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x86};
    EXPECT_THAT(Deframe(frame, 1, 16).bytes, ElementsAre(0xA5, 0x43, 0x10, 0x77));
    EXPECT_THAT(Deframe(frame, 1, 16).places, ElementsAre(1, 2, 3, 5));
    EXPECT_THAT(Deframe(frame, 2, 16).bytes,
                ElementsAre(0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x39));
    EXPECT_THAT(Deframe(frame, 2, 1).places, ElementsAre(6, 7, 8, 9, 10, 11, 12, 13, 14));
    EXPECT_THAT(Deframe(frame, 3, 16).bytes, IsEmpty());
}

TEST(TpiuDeframer, AFrameWithoutANumberGoesOnWithTheLastStream) {
    Bytes frames{0x03, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0x00};
    const Bytes second{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                       0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0xAA};
    frames.insert(frames.end(), second.begin(), second.end());
    const Content content = Deframe(frames, 1, 32);
    EXPECT_THAT(std::vector<int>(content.bytes.begin() + 14, content.bytes.end()),
                ElementsAre(0x10, 0x11, 0x13, 0x13, 0x14, 0x15, 0x17, 0x17, 0x18, 0x19, 0x1B, 0x1B, 0x1C,
                            0x1D, 0x1F));
    EXPECT_EQ(content.places.back(), 30U);
}

TEST(TpiuDeframer, ReturnsWhatAFormatterWasGiven) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        const Syncs syncs{seed % 2 == 0 ? 5U : 0U, seed % 3 == 0 ? 9U : 0U};
        const std::vector<Given> given = Mixed(RandomStream(seed, 2000).bytes, 5, seed);
        const Framed framed = Frame(given, syncs, seed);
        Content meant;
        for (size_t i = 0; i < given.size(); ++i) {
            if (given[i].stream != 5) continue;
            meant.bytes.push_back(given[i].byte);
            meant.places.push_back(framed.places[i]);
        }
        for (const size_t block : {1U, 3U, 16U, 17U, 100U, 65536U}) {
            const Content found = Deframe(framed.bytes, 5, block);
            EXPECT_EQ(found.bytes, meant.bytes) << "seed " << seed << " block " << block;
            EXPECT_EQ(found.places, meant.places) << "seed " << seed << " block " << block;
        }
    }
}

TEST(TpiuDeframer, CountsStreamsFramesAndSynchronisation) {
    Bytes bytes{0xFF, 0xFF, 0xFF, 0x7F, 0x03, 1, 0xFF, 0x7F};
    const Bytes rest{0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    TpiuDeframer deframer(1);
    auto chunk = std::make_unique<StreamBytes>();
    EXPECT_EQ(deframer.Feed(bytes, *chunk).stop, TpiuDeframer::Stop::Taken);
    EXPECT_EQ(deframer.FullSyncs(), 1U);
    EXPECT_EQ(deframer.HalfSyncs(), 1U);
    EXPECT_EQ(deframer.Frames(), 1U);
    EXPECT_EQ(deframer.BytesOf()[1], 1U);
    EXPECT_EQ(deframer.BytesOf()[0], 12U);
    EXPECT_EQ(deframer.Offset(), bytes.size());
    EXPECT_EQ(deframer.ToNextFrame(), 0U);
}

TEST(TpiuDeframer, AFullSynchronisationInsideAFrameBeginsANewOne) {
    Bytes bytes{0x03, 1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0x7F, 0x03, 9};
    bytes.resize(9 + 16);
    TpiuDeframer deframer(1);
    auto chunk = std::make_unique<StreamBytes>();
    EXPECT_EQ(deframer.Feed(Bytes(16, 0), *chunk).stop, TpiuDeframer::Stop::Taken);
    const TpiuDeframer::Result result = deframer.Feed(bytes, *chunk);
    EXPECT_EQ(result.stop, TpiuDeframer::Stop::Realigned);
    EXPECT_EQ(result.taken, 9U);
    EXPECT_EQ(deframer.RealignedFrom(), 16U);
    EXPECT_EQ(deframer.Feed(std::span(bytes).subspan(9), *chunk).stop, TpiuDeframer::Stop::Taken);
    EXPECT_EQ(chunk->bytes[0], 9);
}

TEST(TpiuDeframer, ASynchronisationAcrossTheEndOfAFrameIsOne) {
    // Three of its bytes at the end of a frame that is out of step.
    Bytes bytes{0x03, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0xFF, 0xFE, 0xFF, 0x7F, 0x03, 9};
    bytes[14] = 0xFF;
    bytes.resize(17 + 16);
    TpiuDeframer deframer(1);
    deframer.Trust(100);
    auto chunk = std::make_unique<StreamBytes>();
    const TpiuDeframer::Result result = deframer.Feed(bytes, *chunk);
    EXPECT_EQ(result.taken, 17U);
    EXPECT_EQ(result.stop, TpiuDeframer::Stop::Realigned);
}

TEST(TpiuDeframer, ASynchronisationWhoseLastByteStandsBehindAFrameIsLostFromThere) {
    Bytes bytes(29, 0x10);
    for (size_t i = 13; i < 16; ++i) bytes[i] = 0xFF;
    bytes[16] = 0x7F;
    TpiuDeframer deframer(1);
    deframer.Trust(100);
    auto chunk = std::make_unique<StreamBytes>();
    const TpiuDeframer::Result result = deframer.Feed(bytes, *chunk);
    EXPECT_EQ(result.stop, TpiuDeframer::Stop::Realigned);
    EXPECT_EQ(result.taken, 17U);
    EXPECT_EQ(deframer.RealignedFrom(), 16U) << "what the frame held has been given";
}

TEST(TpiuDeframer, ASynchronisationThatBeginsWithTheLastByteOfAWholeFrameIsOne) {
    Bytes bytes(16, 0x10);
    bytes[15] = 0xFF;
    bytes.insert(bytes.end(), {0xFF, 0xFF, 0x7F, 0x03, 9});
    bytes.resize(19 + 16);
    TpiuDeframer deframer(1);
    auto chunk = std::make_unique<StreamBytes>();
    const TpiuDeframer::Result result = deframer.Feed(bytes, *chunk);
    EXPECT_EQ(result.stop, TpiuDeframer::Stop::Realigned);
    EXPECT_EQ(result.taken, 19U);
}

TEST(TpiuDeframer, AsksAboutStreamsThatWereNotExpected) {
    TpiuDeframer deframer(1);
    deframer.Expect(std::bitset<kStreams>(0b11));
    auto chunk = std::make_unique<StreamBytes>();
    Bytes frame{0x03, 1, 2, 3, 4, 0x0B, 6, 7, 8, 9, 0x0B, 11, 12, 13, 14, 0x00};
    EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Question);
    EXPECT_EQ(chunk->count, 0U);
    deframer.Accept(*chunk);
    EXPECT_EQ(chunk->count, 9U);  // 0B at an odd place is data
    EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Taken) << "it is expected now";
    frame[10] = 0x0D;
    EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Question);
    EXPECT_EQ(deframer.Reject(0, 3), 32U);
    EXPECT_EQ(deframer.Feed(Bytes(3, 0xEE), *chunk).stop, TpiuDeframer::Stop::Taken);
    EXPECT_EQ(deframer.ToNextFrame(), 0U);
    deframer.Trust(1);
    EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Taken);
    EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Question);
}

TEST(TpiuDeframer, BetweenTwoFramesNothingIsRejectedButWhatComesAgain) {
    TpiuDeframer deframer(1);
    auto chunk = std::make_unique<StreamBytes>();
    deframer.Feed(Bytes(40, 0), *chunk);
    EXPECT_EQ(deframer.Reject(0, 1), 32U) << "the frame that is not complete";
    deframer.Feed(Bytes(17, 0), *chunk);
    EXPECT_EQ(deframer.Reject(0, 5), 57U);
    deframer.Feed(Bytes(5 + kFrame, 0), *chunk);
    EXPECT_EQ(deframer.Reject(10, 2), 68U);
    EXPECT_EQ(deframer.Offset(), 68U);
}

TEST(TpiuDeframer, ReservedNumbersAreQuestionableFromTheBeginning) {
    TpiuDeframer deframer(1);
    auto chunk = std::make_unique<StreamBytes>();
    for (const unsigned stream : {0x70U, 0x7AU, 0x7CU, 0x7EU}) {
        Bytes frame(16, 0);
        frame[0] = static_cast<uint8_t>(stream * 2 + 1);
        EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Question) << stream;
        deframer.Accept(*chunk);
        EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Question) << stream;
        deframer.Accept(*chunk);
    }
    for (const unsigned stream : {0U, 1U, 0x6FU, 0x7BU, 0x7DU}) {
        Bytes frame(16, 0);
        frame[0] = static_cast<uint8_t>(stream * 2 + 1);
        EXPECT_EQ(deframer.Feed(frame, *chunk).stop, TpiuDeframer::Stop::Taken) << stream;
    }
}

class CaptureLog : public PacketLog {
  public:
    void OnPacket(const Packet& packet) { packets.push_back(packet); }
    void OnFrameStep(const FrameStep& step) { steps.push_back(step); }

    std::vector<FrameStep> steps;
};

struct Decoded {
    std::vector<Packet> packets;
    std::vector<FrameStep> steps;
    Framing framing;
};

Decoded DecodeCapture(const Bytes& capture, size_t block = 1 << 20, const CaptureOptions& options = {}) {
    CaptureLog log;
    CaptureDecoder<CaptureLog> decoder(log, options);
    for (size_t at = 0; at < capture.size(); at += block) {
        decoder.Feed({&capture[at], std::min(block, capture.size() - at)});
    }
    decoder.Finish();
    return {log.packets, log.steps, decoder.Found()};
}

/// A capture of frames, and what its stream means, with offsets in the capture.
struct FramedCapture {
    Bytes bytes;
    std::vector<Packet> packets;
};

FramedCapture Capture(const Stream& stream, uint8_t id, const Syncs& syncs, unsigned seed) {
    const std::vector<Given> given = Mixed(stream.bytes, id, seed);
    const Framed framed = Frame(given, syncs, seed);
    std::vector<uint64_t> places;
    for (size_t i = 0; i < given.size(); ++i) {
        if (given[i].stream == id) places.push_back(framed.places[i]);
    }
    FramedCapture capture{framed.bytes, stream.packets};
    for (Packet& packet : capture.packets) packet.offset = places[static_cast<size_t>(packet.offset)];
    return capture;
}

TEST(TpiuAlignment, FindsEachOfTheSixteenPhasesWithoutSynchronisation) {
    const FramedCapture capture = Capture(FirmwareStream(1, 3000, true), 3, {}, 1);
    Bytes scratch(capture.bytes.size());
    for (size_t phase = 0; phase < 16; ++phase) {
        const std::span<const uint8_t> bytes = std::span(capture.bytes).subspan((16 - phase) % 16);
        const Alignment alignment = AlignFrames(bytes, std::nullopt, scratch);
        EXPECT_EQ(alignment.best.phase, phase);
        EXPECT_EQ(alignment.best.stream, 3);
        EXPECT_GT(alignment.best.Score(), 0.99);
        EXPECT_LT(alignment.next, alignment.best.Score());
    }
}

TEST(TpiuAlignment, OfPhasesThatCarryTheSameTheOneWithNumbersInFrontIsRight) {
    // An idle target: few bytes of stream 1 in each frame, then padding. Begun in the padding the frames say
    // the same, for all bits of the last byte are 0.
    Bytes capture(2 * kFrame, 0);
    for (int i = 0; i < 300; ++i) {
        capture.insert(capture.end(), {0x03, 0x01, 0x40, 0xC0, 0x82, 0x05, 0x01});
        capture.insert(capture.end(), 9, 0);
    }
    Bytes scratch(capture.size());
    const auto score = [&](unsigned phase) {
        return ScorePhase(std::span(capture).subspan(4), phase, std::nullopt, scratch);
    };
    EXPECT_EQ(score(8).Score(), score(12).Score());
    EXPECT_EQ(score(8).streams, score(12).streams);
    EXPECT_LT(score(8).numbersFirst, score(12).numbersFirst);
    EXPECT_EQ(AlignFrames(std::span(capture).subspan(4), std::nullopt, scratch).best.phase, 12U);
}

TEST(TpiuAlignment, FlushAndTriggerAreNoItmStreamHoweverWellTheyDecode) {
    const Bytes itm = FirmwareStream(1, 300, true).bytes;
    std::mt19937 random(1);
    for (const uint8_t special : {kNullStream, kFlushStream, kTriggerStream}) {
        std::vector<Given> given;
        for (const uint8_t byte : itm) {
            given.push_back({special, byte});
            given.push_back({2, static_cast<uint8_t>(random())});
        }
        const Framed framed = Frame(given);
        Bytes scratch(framed.bytes.size());
        const PhaseScore score = ScorePhase(framed.bytes, 0, std::nullopt, scratch);
        EXPECT_EQ(score.stream, 2) << int{special};
        EXPECT_LT(score.itm.Share(), 0.9);
        EXPECT_EQ(ScorePhase(framed.bytes, 0, special, scratch).itm.Share(), 1.0) << "it is asked for";
    }
}

TEST(TpiuAlignment, StreamsOfAFiftiethOfTheBytesAreCommonAndSpecialOnesAlways) {
    PhaseScore score;
    score.bytes = 10000;
    score.bytesOf[2] = 9400;
    score.bytesOf[3] = 200;
    score.bytesOf[4] = 199;
    score.bytesOf[0x70] = 201;  // reserved
    std::bitset<kStreams> common;
    for (const uint8_t stream : {uint8_t{2}, uint8_t{3}, kNullStream, kFlushStream, kTriggerStream}) {
        common.set(stream);
    }
    EXPECT_EQ(score.CommonStreams(), common);
    score.bytesOf[kNoStream] = 200;
    EXPECT_EQ(score.CommonStreams(), common.set(kNoStream));
}

TEST(TpiuAlignment, BytesThatAreNoFramesScoreLow) {
    std::mt19937 random(1);
    Bytes bytes(20000);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    Bytes scratch(bytes.size());
    EXPECT_LT(AlignFrames(bytes, std::nullopt, scratch).best.Score(), 0.5);
    EXPECT_EQ(AlignFrames({}, std::nullopt, {}).best.Score(), 0.0);
}

TEST(CaptureDecoder, ReadsFramesWithoutBeingTold) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const Syncs syncs{seed % 2 == 0 ? 20U : 0U, seed % 3 == 0 ? 30U : 0U};
        const FramedCapture capture =
            Capture(FirmwareStream(seed, 6000, true), static_cast<uint8_t>(seed), syncs, seed);
        const Decoded whole = DecodeCapture(capture.bytes);
        EXPECT_TRUE(whole.framing.framed);
        EXPECT_EQ(whole.framing.stream, seed);
        EXPECT_EQ(FirstDifference(WithoutHints(whole.packets), capture.packets), "") << "seed " << seed;
        EXPECT_EQ(whole.steps.size(), 0U);
        for (const size_t block : {1U, 15U, 16U, 17U, 333U, 4096U}) {
            EXPECT_EQ(FirstDifference(DecodeCapture(capture.bytes, block).packets, whole.packets), "")
                << block;
        }
    }
}

TEST(CaptureDecoder, ReadsFramesOfAGivenStream) {
    const FramedCapture capture = Capture(RandomStream(1, 3000), 0x14, {}, 1);
    const Decoded decoded = DecodeCapture(capture.bytes, 100, {{FramingKind::Tpiu, uint8_t{0x14}}, {}});
    EXPECT_EQ(FirstDifference(WithoutHints(decoded.packets), capture.packets), "");
    const Decoded other = DecodeCapture(capture.bytes, 100, {{FramingKind::Tpiu, uint8_t{0x22}}, {}});
    EXPECT_THAT(other.packets, IsEmpty());
}

TEST(CaptureDecoder, ReadsAnItmStreamAsOne) {
    const Stream stream = FirmwareStream(1, 3000, false);
    for (const FramingKind kind : {FramingKind::Auto, FramingKind::Itm}) {
        const Decoded decoded = DecodeCapture(stream.bytes, 77, {{kind, std::nullopt}, {}});
        EXPECT_FALSE(decoded.framing.framed);
        EXPECT_EQ(FirstDifference(WithoutHints(decoded.packets), stream.packets), "");
    }
}

TEST(CaptureDecoder, KnowsAnItmStreamAtItsFirst64Bytes) {
    const Stream stream = FirmwareStream(1, 100, false);
    CaptureLog log;
    CaptureDecoder<CaptureLog> decoder(log);
    decoder.Feed(std::span(stream.bytes).first(63));
    EXPECT_FALSE(decoder.Decided());
    EXPECT_THAT(log.packets, IsEmpty());
    decoder.Feed(std::span(stream.bytes).subspan(63, 1));
    EXPECT_TRUE(decoder.Decided());
    EXPECT_GT(log.packets.size(), 10U);
}

TEST(CaptureDecoder, KnowsFramesAt4096BytesAndNotBefore) {
    const FramedCapture capture = Capture(FirmwareStream(1, 3000, true), 2, {}, 1);
    ASSERT_GT(capture.bytes.size(), 4096U);
    CaptureLog log;
    CaptureDecoder<CaptureLog> decoder(log);
    decoder.Feed(std::span(capture.bytes).first(4095));
    EXPECT_FALSE(decoder.Decided());
    decoder.Feed(std::span(capture.bytes).subspan(4095, 1));
    EXPECT_TRUE(decoder.Decided());
    EXPECT_TRUE(decoder.Found().framed);
}

/// 4,096 bytes of an idle target: 250 frames of five bytes of stream 1 and padding. Where frames begin in the
/// padding the bytes say the same, but in as many frames as `different`: there one byte of the five is in no
/// packet.
Bytes IdleTarget(int different) {
    Bytes capture(2 * kFrame, 0);
    capture[0] = 0x01;
    for (int i = 0; i < 250; ++i) {
        if (i < different) {  // 05 is a header, 04 is none
            capture.insert(capture.end(), {0x03, 0x10, 0x04, 0x20, 0x10, 0x10, 0x01});
            capture.insert(capture.end(), 8, 0);
            capture.push_back(0x02);
        } else {
            capture.insert(capture.end(), {0x03, 0x01, 0x40, 0xC0, 0x82, 0x05, 0x01});
            capture.insert(capture.end(), 9, 0);
        }
    }
    capture.resize(4096);
    return capture;
}

TEST(FramingFinder, WaitsUnlessTheNextPhaseIsTwoPerCentWorse) {
    FramingFinder clear{FramingOptions{}};
    clear.Feed(IdleTarget(25));
    ASSERT_TRUE(clear.Decided());
    EXPECT_TRUE(clear.Found().framed);
    EXPECT_EQ(clear.Found().alignment.best.phase, 0U);
    EXPECT_EQ(clear.Found().alignment.best.Score(), 1.0);
    EXPECT_EQ(clear.Found().alignment.next, 0.98);
    FramingFinder doubtful{FramingOptions{}};
    doubtful.Feed(IdleTarget(24));
    EXPECT_FALSE(doubtful.Decided());
    for (int i = 0; i < 3; ++i) doubtful.Feed(IdleTarget(24));
    EXPECT_TRUE(doubtful.Decided()) << "there are 16,384 bytes";
}

TEST(CaptureDecoder, KnowsADamagedItmStreamAt4096BytesAndNotBefore) {
    Bytes bytes;
    while (bytes.size() < 4096) {
        for (int i = 0; i < 16; ++i) bytes.insert(bytes.end(), {0x01, 0x41});
        bytes.push_back(0x04);  // one byte of 33 is in no packet
    }
    CaptureLog log;
    CaptureDecoder<CaptureLog> decoder(log);
    decoder.Feed(std::span(bytes).first(4095));
    EXPECT_FALSE(decoder.Decided());
    decoder.Feed(std::span(bytes).subspan(4095, 1));
    EXPECT_TRUE(decoder.Decided());
    EXPECT_FALSE(decoder.Found().framed);
}

TEST(FrameFollower, AfterEachFruitlessDoubtItIsTwiceAsPatient) {
    const FramedCapture capture = Capture(FirmwareStream(1, 60000, true), 2, {}, 1);
    FrameFollower follower(2, 0);
    auto chunk = std::make_unique<StreamBytes>();
    std::span<const uint8_t> bytes = capture.bytes;
    std::vector<uint64_t> trusted;
    while (!bytes.empty() && trusted.size() < 4) {
        const FrameFollower::Result result = follower.Feed(bytes, *chunk);
        bytes = bytes.subspan(result.taken);
        chunk->count = 0;
        ASSERT_NE(result.stop, FrameFollower::Stop::Slipped);
        if (result.stop != FrameFollower::Stop::Checkpoint) continue;
        const bool doubts = follower.Deframer().Trusted() == 0;
        follower.Assess(false, follower.Deframer().Offset());
        if (!doubts) continue;
        // The next checkpoint is 16 frames behind the doubt.
        const FrameFollower::Result next = follower.Feed(bytes, *chunk);
        bytes = bytes.subspan(next.taken);
        trusted.push_back(follower.Deframer().Trusted());
        follower.Assess(false, follower.Deframer().Offset());
    }
    EXPECT_THAT(trusted, ElementsAre(64U - 16, 128U - 16, 256U - 16, 512U - 16));
}

TEST(FrameFollower, HasNoStateJustBehindOneThatItGoesOnFrom) {
    auto chunk = std::make_unique<StreamBytes>();
    Bytes padding(FrameFollower::kCheckpoint, 0);
    padding[0] = 0x01;
    FrameFollower first(2, 0);
    EXPECT_EQ(first.Feed(padding, *chunk).stop, FrameFollower::Stop::Checkpoint);
    const auto state = first.State();
    ASSERT_TRUE(state);
    FrameFollower second(2, 0);
    second.Restore(*state);
    EXPECT_FALSE(second.State()) << "it has not seen the byte before";
    EXPECT_EQ(second.Feed(padding, *chunk).stop, FrameFollower::Stop::Checkpoint);
    EXPECT_TRUE(second.State());
}

/// A follower in the null stream that doubts its frames, which are given to it from offset 256 on.
FrameFollower::Stop Doubted(const Bytes& ahead) {
    FrameFollower follower(2, 0);
    auto chunk = std::make_unique<StreamBytes>();
    Bytes padding(FrameFollower::kCheckpoint, 0);
    padding[0] = 0x01;
    EXPECT_EQ(follower.Feed(padding, *chunk).stop, FrameFollower::Stop::Checkpoint);
    follower.Assess(false, follower.Deframer().Offset());
    return follower.Feed(ahead, *chunk).stop;
}

TEST(FrameFollower, FewBytesThatDecodeBetterInOtherFramesAreNoReasonToTakeThose) {
    // Local timestamps and 5 bytes of no assigned meaning, which are an exception and more timestamps when
    // the frames are taken to begin in the padding: then 0F is 0E.
    const Bytes frame{0x05, 0x10, 0x0E, 0x0F, 0x10, 0x10, 0x20, 0x10, 0x01, 0, 0, 0, 0, 0, 0, 0x02};
    Bytes ahead(FrameFollower::kAhead, 0);
    std::copy(frame.begin(), frame.end(), ahead.begin() + 2 * kFrame);
    EXPECT_NE(Doubted(ahead), FrameFollower::Stop::Slipped) << "7 bytes";
    for (const size_t at : {size_t{3}, size_t{4}, size_t{5}}) {
        std::copy(frame.begin(), frame.end(), ahead.begin() + static_cast<std::ptrdiff_t>(at * kFrame));
    }
    EXPECT_EQ(Doubted(ahead), FrameFollower::Stop::Slipped) << "28 bytes";
}

TEST(FrameFollower, FewBytesAreFewerThan16) {
    // The frames of before; the second one with two timestamps more.
    const Bytes seven{0x05, 0x10, 0x0E, 0x0F, 0x10, 0x10, 0x20, 0x10, 0x01, 0, 0, 0, 0, 0, 0, 0x02};
    Bytes nine{0x05, 0x10, 0x0E, 0x0F, 0x10, 0x10, 0x20, 0x10, 0x20, 0x10, 0x01, 0, 0, 0, 0, 0x02};
    const auto with = [&] {
        Bytes ahead(FrameFollower::kAhead, 0);
        std::copy(seven.begin(), seven.end(), ahead.begin() + 2 * kFrame);
        std::copy(nine.begin(), nine.end(), ahead.begin() + 3 * kFrame);
        return ahead;
    };
    EXPECT_EQ(Doubted(with()), FrameFollower::Stop::Slipped);
    nine[9] = 0x01;  // of a packet that is not complete
    EXPECT_NE(Doubted(with()), FrameFollower::Stop::Slipped);
}

TEST(FrameFollower, TellsCheckpointsAtTheEndOfACaptureToo) {
    FrameFollower follower(2, 0);
    auto chunk = std::make_unique<StreamBytes>();
    Bytes padding(FrameFollower::kCheckpoint, 0);
    padding[0] = 0x01;
    EXPECT_EQ(follower.Feed(padding, *chunk).stop, FrameFollower::Stop::Checkpoint);
    follower.Assess(false, follower.Deframer().Offset());
    const Bytes rest(600, 0);
    EXPECT_EQ(follower.Feed(rest, *chunk).stop, FrameFollower::Stop::Taken) << "held back";
    EXPECT_EQ(follower.Finish(*chunk), FrameFollower::Stop::Checkpoint);
    EXPECT_EQ(follower.Deframer().Offset(), 2 * FrameFollower::kCheckpoint);
    EXPECT_EQ(follower.Finish(*chunk), FrameFollower::Stop::Checkpoint);
    EXPECT_EQ(follower.Finish(*chunk), FrameFollower::Stop::Taken);
    EXPECT_EQ(follower.Deframer().Offset(), padding.size() + rest.size());
}

TEST(CaptureDecoder, DecidesWhenItIsToldTo) {
    const Stream stream = FirmwareStream(1, 100, false);
    CaptureLog log;
    CaptureDecoder<CaptureLog> decoder(log);
    decoder.Feed(std::span(stream.bytes).first(20));
    decoder.Decide();
    EXPECT_TRUE(decoder.Decided());
    EXPECT_FALSE(decoder.Found().framed);
    EXPECT_GT(log.packets.size(), 3U);
    decoder.Feed(std::span(stream.bytes).subspan(20));
    decoder.Finish();
    EXPECT_EQ(FirstDifference(log.packets, stream.packets), "");
}

TEST(CaptureDecoder, NothingIsNothing) {
    const Decoded decoded = DecodeCapture({});
    EXPECT_THAT(decoded.packets, IsEmpty());
    EXPECT_FALSE(decoded.framing.framed);
}

/// The packets of `found` from the first of `meant` on that comes back and after which all do; how many of
/// `meant` are before it.
size_t Missing(const std::vector<Packet>& meant, const std::vector<Packet>& found, uint64_t shift) {
    size_t same = 0;
    while (same < meant.size() && same < found.size()) {
        const Packet& a = meant[meant.size() - 1 - same];
        const Packet& b = found[found.size() - 1 - same];
        if (a.offset - shift != b.offset || a.value != b.value || a.kind != b.kind || a.source != b.source) {
            break;
        }
        ++same;
    }
    return meant.size() - same;
}

Bytes Without(const Bytes& bytes, size_t at, size_t count) {
    Bytes left = bytes;
    left.erase(left.begin() + static_cast<std::ptrdiff_t>(at),
               left.begin() + static_cast<std::ptrdiff_t>(at + count));
    return left;
}

/// Everything that stood in front of frame `at` has come as it was meant.
void ExpectSameBefore(size_t at, const FramedCapture& meant, const Decoded& decoded) {
    for (size_t k = 0; meant.packets[k + 1].offset + kFrame < at; ++k) {
        ASSERT_EQ(decoded.packets[k].offset, meant.packets[k].offset);
        ASSERT_EQ(decoded.packets[k].value, meant.packets[k].value);
        ASSERT_EQ(decoded.packets[k].kind, meant.packets[k].kind);
    }
}

/// Holes in a capture. Returns how far behind each of them all is right.
std::vector<uint64_t> FindFramesBehindHoles(const FramedCapture& capture, bool halfSyncs, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<uint64_t> behind;
    for (int i = 0; i < 60; ++i) {
        const size_t at = 6000 + random() % (capture.bytes.size() - 12000);
        const size_t count = 1 + random() % 2000;
        if (count % kFrame == 0) continue;
        const Bytes bytes = Without(capture.bytes, at, count);
        const Decoded decoded = DecodeCapture(bytes, 4096);
        ExpectSameBefore(at, capture, decoded);
        EXPECT_TRUE(std::is_sorted(decoded.packets.begin(), decoded.packets.end(),
                                   [](const Packet& a, const Packet& b) { return a.offset < b.offset; }))
            << "hole of " << count << " at " << at;
        const size_t missing = Missing(capture.packets, decoded.packets, count);
        if (missing == capture.packets.size()) {
            ADD_FAILURE() << "hole of " << count << " at " << at;
            continue;
        }
        const uint64_t place = capture.packets[missing].offset;
        behind.push_back(place - std::min<uint64_t>(place, at + count));
        EXPECT_LE(behind.back(), 300U) << "hole of " << count << " at " << at;
        EXPECT_EQ(FirstDifference(DecodeCapture(bytes, 7).packets, decoded.packets), "");
        if (halfSyncs) continue;  // of which the hole may take some
        EXPECT_EQ(decoded.steps.size(), 1U) << "hole of " << count << " at " << at;
        if (decoded.steps.size() != 1) continue;
        const FrameStep& step = decoded.steps[0];
        EXPECT_LE(step.from, at + 300);
        EXPECT_GE(step.to + kFrame, at);
        EXPECT_EQ((step.to + count) % kFrame, 0U) << "frames begin there";
        EXPECT_EQ(step.phase, (step.to - step.from) % kFrame);
    }
    return behind;
}

TEST(CaptureDecoder, FindsTheFramesAgainWithin300BytesBehindAHole) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const bool halfSyncs = seed > 4;
        const FramedCapture capture =
            Capture(FirmwareStream(seed, 9000, seed % 2 != 0), 2, halfSyncs ? Syncs{0, 40} : Syncs{}, seed);
        std::vector<uint64_t> behind = FindFramesBehindHoles(capture, halfSyncs, seed);
        std::sort(behind.begin(), behind.end());
        ASSERT_GT(behind.size(), 40U);
        std::cout << "[ figures  ] " << behind.size() << " holes: bytes until right again, median "
                  << behind[behind.size() / 2] << ", 95 % " << behind[behind.size() * 95 / 100] << ", most "
                  << behind.back() << "\n";
    }
}

TEST(CaptureDecoder, AFullSynchronisationFindsThemToo) {
    const FramedCapture capture = Capture(FirmwareStream(1, 5000, true), 2, {4, 0}, 1);
    Bytes bytes = capture.bytes;
    bytes.erase(bytes.begin() + 10000, bytes.begin() + 10005);
    const Decoded decoded = DecodeCapture(bytes);
    const size_t missing = Missing(capture.packets, decoded.packets, 5);
    EXPECT_LE(capture.packets[missing].offset, 10005U + 300U);
    EXPECT_EQ(decoded.steps.size(), 1U);
}

TEST(CaptureDecoder, FramesThatAreMissingAsAWholeAreAHoleInTheStream) {
    const FramedCapture capture = Capture(FirmwareStream(1, 5000, true), 2, {}, 1);
    Bytes bytes = capture.bytes;
    bytes.erase(bytes.begin() + 16000, bytes.begin() + 16160);
    const Decoded decoded = DecodeCapture(bytes);
    EXPECT_LE(capture.packets[Missing(capture.packets, decoded.packets, 160)].offset, 16160U + 300U);
    EXPECT_EQ(decoded.steps.size(), 0U);
}

TEST(CaptureDecoder, AStreamThatComesLaterIsNoReasonToLookForFrames) {
    const Stream stream = FirmwareStream(1, 9000, true);
    std::vector<Given> given;
    std::mt19937 random(1);
    for (size_t i = 0; i < stream.bytes.size(); ++i) {
        given.push_back({2, stream.bytes[i]});
        if (i > 15000 && random() % 20 == 0) given.push_back({9, static_cast<uint8_t>(random())});
        if (random() % 50 == 0) given.push_back({0, 0});
    }
    const Framed framed = Frame(given);
    const Decoded decoded = DecodeCapture(framed.bytes);
    EXPECT_EQ(decoded.packets.size(), stream.packets.size());
    EXPECT_EQ(decoded.steps.size(), 0U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
