// A capture is decoded from a state in its middle as if decoding had never stopped.
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"
#include "tests/unit/trace/tpiu_encoder.h"
#include "trace/capture_decoder.h"

namespace Korr::Plim::Trace::Swo {
namespace {

class CaptureEvents {
  public:
    void OnPacket(const Packet& packet) { packets.push_back(packet); }
    void OnFrameStep(const FrameStep& step) { steps.push_back(step.from), steps.push_back(step.to); }

    std::vector<Packet> packets;
    std::vector<uint64_t> steps;
};

Bytes FramedFirmware(unsigned seed, const Syncs& syncs) {
    return Frame(Mixed(FirmwareStream(seed, 9000, seed % 2 == 0).bytes, 2, seed), syncs, seed).bytes;
}

/// Some bytes taken out, added and changed.
Bytes Harmed(Bytes bytes, unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < 12; ++i) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(5000 + random() % (bytes.size() - 6000));
        if (i % 3 == 0) {
            bytes.erase(at, at + static_cast<std::ptrdiff_t>(1 + random() % 300));
        } else if (i % 3 == 1) {
            *at = static_cast<uint8_t>(random());
        } else {
            bytes.insert(at, 1 + random() % 30, static_cast<uint8_t>(random()));
        }
    }
    return bytes;
}

struct Kept {
    CaptureState state;
    size_t packets;  ///< given by the end of the block in which it was kept
};

/// Decodes a capture and wants a state after every block; from each state the rest comes again. Returns how
/// many there were.
size_t GoesOnFromStates(const Bytes& bytes, size_t block) {
    CaptureEvents whole;
    CaptureDecoder<CaptureEvents> decoder(whole);
    std::vector<Kept> states;
    for (size_t at = 0; at < bytes.size(); at += block) {
        decoder.Feed(std::span(bytes).subspan(at, std::min(block, bytes.size() - at)));
        if (auto state = decoder.TakeState()) states.push_back({*state, whole.packets.size()});
        decoder.WantState();
    }
    decoder.Finish();
    for (const Kept& kept : states) {
        CaptureEvents rest;
        CaptureDecoder<CaptureEvents> second(rest, {}, decoder.Found(), kept.state, decoder.Known());
        for (size_t at = static_cast<size_t>(kept.state.offset); at < bytes.size(); at += 1000) {
            second.Feed(std::span(bytes).subspan(at, std::min<size_t>(1000, bytes.size() - at)));
        }
        second.Finish();
        const size_t before = whole.packets.size() - std::min(whole.packets.size(), rest.packets.size());
        EXPECT_LE(before, kept.packets);
        const auto from = whole.packets.begin() + static_cast<std::ptrdiff_t>(before);
        EXPECT_EQ(FirstDifference(rest.packets, {from, whole.packets.end()}), "")
            << "from " << kept.state.offset;
        const auto steps = std::min(rest.steps.size(), whole.steps.size());
        EXPECT_EQ(rest.steps,
                  std::vector(whole.steps.end() - static_cast<std::ptrdiff_t>(steps), whole.steps.end()));
        if (testing::Test::HasFailure()) break;
    }
    return states.size();
}

TEST(CaptureState, FramedCapturesGoOnFromIt) {
    size_t ofHarmed = 0;  // the framing of some shows only at their end: those have none
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const Syncs syncs{seed % 3 == 0 ? 30U : 0U, seed % 3 == 1 ? 60U : 0U};
        const Bytes bytes = FramedFirmware(seed, syncs);
        EXPECT_GT(GoesOnFromStates(bytes, 2048), bytes.size() / 2048 / 2) << "seed " << seed;
        ofHarmed += GoesOnFromStates(Harmed(bytes, seed), 2048);
    }
    EXPECT_GT(ofHarmed, 40U);
}

TEST(CaptureState, StreamsWithoutFramesGoOnFromIt) {
    const Bytes bytes = Harmed(FirmwareStream(3, 9000, true).bytes, 3);
    EXPECT_EQ(GoesOnFromStates(bytes, 500), (bytes.size() - 1) / 500);
}

TEST(CaptureState, IsNotThereBeforeTheFramingIsKnown) {
    CaptureEvents events;
    CaptureDecoder<CaptureEvents> decoder(events);
    decoder.WantState();
    decoder.Feed(Bytes(63, 0x70));
    EXPECT_FALSE(decoder.TakeState().has_value());
    decoder.Feed(Bytes(1, 0x70));
    ASSERT_TRUE(decoder.Decided());
    EXPECT_TRUE(decoder.TakeState().has_value());
    EXPECT_FALSE(decoder.TakeState().has_value()) << "it is given once";
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
