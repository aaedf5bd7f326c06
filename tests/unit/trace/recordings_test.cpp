// Recordings of real targets and vectors of another project, with what is known of them. They are not part of
// the sources: the tests are skipped where there are none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/unit/trace/packet_log.h"
#include "trace/capture_decoder.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {
namespace {

struct Contents {
    void OnPacket(const Packet& packet) {
        ++counts[std::string(KindName(packet.kind))];
        if (packet.kind != PacketKind::Stimulus) return;
        const TextBytes bytes = TextOf(packet);
        text[packet.source].append(reinterpret_cast<const char*>(bytes.bytes.data()), bytes.count);
    }
    void OnFrameStep(const FrameStep&) { ++counts["frame step"]; }

    std::map<std::string, int> counts;
    std::map<int, std::string> text;
};

using Counts = std::map<std::string, int>;

class Recordings : public testing::Test {
  protected:
    /// Of a file in the folder of recordings. Skips the test when there is none.
    Contents Read(const std::string& name) {
        const char* recording = std::getenv("TARNEL_SWO_RECORDING");
        const auto path = std::filesystem::path(recording == nullptr ? "" : recording).parent_path() / name;
        std::ifstream file(path, std::ios::binary);
        if (recording == nullptr || !file) {
            skipped = true;
            return {};
        }
        bytes.assign(std::istreambuf_iterator<char>(file), {});
        Contents contents;
        CaptureDecoder<Contents> decoder(contents);
        decoder.Feed(bytes);
        decoder.Finish();
        framing = decoder.Found();
        return contents;
    }

    Bytes bytes;
    Framing framing;
    bool skipped = false;
};

#define SKIP_WITHOUT_RECORDING() \
    if (skipped) GTEST_SKIP() << "there is no such recording in the folder of TARNEL_SWO_RECORDING"

TEST_F(Recordings, OfACortexM3InFramesIsReadWithoutAWordAboutItsFraming) {
    const Contents contents = Read("swo-tpiu-8mbaud.bin");
    SKIP_WITHOUT_RECORDING();
    EXPECT_EQ(contents.counts, (Counts{{"stimulus", 97},
                                       {"exception", 16},
                                       {"pc-sample", 393},
                                       {"data-value", 31},
                                       {"data-pc", 9},
                                       {"data-address", 26},
                                       {"overflow", 14}}));
    EXPECT_EQ(contents.text.at(0), "OnOffOnOffOnOffOnOffOnOff");
    EXPECT_EQ(contents.text.at(1).substr(0, 4), "Sort");
    EXPECT_EQ(contents.text.size(), 2U);
    EXPECT_TRUE(framing.framed);
    EXPECT_EQ(framing.stream, 1);
    EXPECT_EQ(framing.alignment.best.phase, 0U);
    EXPECT_EQ(framing.alignment.best.Score(), 1.0);
    EXPECT_NEAR(framing.raw.Share(), 0.53, 0.02);
}

TEST_F(Recordings, OfATargetThatWasResetIsReadFromTheResetOn) {
    const Contents contents = Read("event-counters-reset.bin");
    SKIP_WITHOUT_RECORDING();
    EXPECT_EQ(contents.counts, (Counts{{"sync", 4},
                                       {"local-time", 26183},
                                       {"page", 1},
                                       {"event-counters", 26125},
                                       {"data-value", 60},
                                       {"unknown-hardware", 1},
                                       {"malformed", 1},
                                       {"unsynchronised", 1}}));
    EXPECT_FALSE(framing.framed);
    const std::vector<Packet> packets = Decode(bytes);
    for (const Packet& packet : packets) {
        EXPECT_TRUE(!IsDamage(packet.kind) || packet.offset + packet.length <= 128) << packet.offset;
    }
}

/// Their two headers 37 and 2E are hardware packets of an unassigned kind.
const Counts kEveryKind{{"sync", 5},
                        {"overflow", 4},
                        {"local-time", 15},
                        {"global-time-low", 10},
                        {"global-time-high", 4},
                        {"page", 3},
                        {"stimulus", 20},
                        {"event-counters", 1},
                        {"exception", 3},
                        {"pc-sample", 2},
                        {"pc-sleep", 1},
                        {"data-value", 6},
                        {"unknown-hardware", 2},
                        {"malformed", 1},
                        {"unsynchronised", 1}};

TEST_F(Recordings, OfEveryKindOfPacketOfArmv7M) {
    const Contents contents = Read("itm-every-kind.bin");
    SKIP_WITHOUT_RECORDING();
    EXPECT_EQ(contents.counts, kEveryKind);
    EXPECT_FALSE(framing.framed);
}

TEST_F(Recordings, OfTheSameInFrames) {
    const Contents contents = Read("itm-every-kind-tpiu.bin");
    SKIP_WITHOUT_RECORDING();
    EXPECT_EQ(contents.counts, kEveryKind);
    EXPECT_TRUE(framing.framed);
    EXPECT_EQ(framing.stream, 0x14);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
