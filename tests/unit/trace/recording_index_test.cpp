// What the index of a recording shows is what decoding all of it shows.
#include "trace/recording_index.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/unit/trace/test_recording.h"
#include "trace/profile_query.h"
#include "trace/text_parts.h"
#include "trace/window_events.h"
#include "trace/window_fold.h"
#include "trace/window_query.h"

namespace Korr::Plim::Trace::Swo {
namespace {

struct Stretch {
    double from;
    double to;
};

std::vector<Stretch> RandomStretches(const Recording& recording, unsigned seed) {
    std::mt19937 random(seed);
    const double end = recording.Axis().At(recording.index.EndPosition());
    std::vector<Stretch> all = {{0, end}, {0, end / 1000}, {end - end / 1000, end}};
    for (int i = 0; i < 12; ++i) {
        const double from = end * static_cast<double>(random() % 1000000) / 1e6;
        const double width = end / std::pow(10, static_cast<double>(random() % 6)) *
                             static_cast<double>(1 + random() % 9) / 10;
        all.push_back({std::floor(from), std::floor(from) + std::max(1.0, std::floor(width))});
    }
    return all;
}

class RecordingIndexes : public testing::TestWithParam<unsigned> {};

TEST_P(RecordingIndexes, ShowInAnyWindowWhatDecodingAllShows) {
    const Recording recording(Capture(GetParam()));
    const RecordingAxis axis = recording.Axis();
    const TrackTypes types = recording.index.Summaries().Types();
    for (const Stretch& stretch : RandomStretches(recording, GetParam())) {
        for (const bool columns : {false, true}) {
            const WindowFrame frame(axis, recording.index.Timed(), stretch.from, stretch.to, 50,
                                    std::bitset<kTracks>().set(), types);
            WindowQuery query(recording.index, frame, columns);
            const WindowAnswer answer = query.Answer(Memory(recording.bytes));
            const WindowAnswer whole = answer.exact ? DecodeAll<WindowEvents>(recording, frame)
                                                    : DecodeAll<WindowFold>(recording, frame);
            ASSERT_EQ(FirstDifference(Text(answer), Text(whole)), "")
                << stretch.from << " to " << stretch.to << " of " << recording.bytes.size();
        }
    }
}

TEST_P(RecordingIndexes, TellEveryPacketWithItsTime) {
    const Recording recording(Capture(GetParam()));
    const All all(recording.bytes);
    const RecordingAxis axis = recording.Axis();
    const TrackTypes types = recording.index.Summaries().Types();
    for (const Stretch& stretch : RandomStretches(recording, GetParam())) {
        const WindowFrame frame(axis, recording.index.Timed(), stretch.from, stretch.to, 50,
                                std::bitset<kTracks>().set(RowOf({TrackKind::Pc, 0})), types);
        WindowQuery query(recording.index, frame, false);
        const WindowAnswer answer = query.Answer(Memory(recording.bytes));
        std::vector<double> times;
        std::vector<double> addresses;
        for (size_t i = 0; i < all.packets.size(); ++i) {
            const double time = axis.At(all.standings[i].Position(recording.index.Timed()));
            const PacketKind kind = all.packets[i].kind;
            const bool asleep = kind == PacketKind::PcSleep;
            const bool prohibited = kind == PacketKind::PcProhibited;
            const bool sample = kind == PacketKind::PcSample || asleep || prohibited;
            if (!sample || time < stretch.from || time >= stretch.to) continue;
            times.push_back(time);
            addresses.push_back(asleep ? -1.0 : prohibited ? -2.0 : all.packets[i].value);
        }
        if (!answer.exact) continue;
        if (times.empty()) {
            EXPECT_TRUE(answer.tracks.empty());
            continue;
        }
        ASSERT_EQ(answer.tracks.size(), 1U);
        EXPECT_EQ(std::get<std::vector<double>>(answer.tracks[0].arrays[0].data), times);
        EXPECT_EQ(std::get<std::vector<double>>(answer.tracks[0].arrays[2].data), addresses);
    }
}

TEST_P(RecordingIndexes, TakeDecodingUpNearWhatIsAskedFor) {
    const Recording recording(Capture(GetParam()));
    const uint64_t end = recording.bytes.size();
    size_t near = 0;
    constexpr uint64_t kPlaces = 20;
    for (uint64_t i = 0; i < kPlaces; ++i) {
        const uint64_t place = end * i / kPlaces;
        const ReplayPlan plan = recording.index.PlanFrom(place);
        const uint64_t from = plan.from ? plan.from->state.offset : 0;
        EXPECT_LE(from, place);
        if (place - from <= 2 * 65536) ++near;
    }
    EXPECT_GE(near, kPlaces - 4) << "of " << end << " bytes";
}

TEST_P(RecordingIndexes, HaveTheTextOfTheWhole) {
    const Recording recording(Capture(GetParam()));
    const All all(recording.bytes);
    for (const uint8_t port : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
        if (!recording.index.Summaries().Types().IsText(port)) continue;
        std::vector<std::string> lines;
        bool open = false;
        for (const Packet& packet : all.packets) {
            if (packet.kind != PacketKind::Stimulus || packet.source != port) continue;
            const TextBytes text = TextOf(packet);
            for (size_t i = 0; i < text.count; ++i) {
                if (!open) lines.emplace_back();
                open = text.bytes[i] != '\n';
                if (open) lines.back() += static_cast<char>(text.bytes[i]);
                if (lines.back().size() == LineSplitter::kLongestLine) open = false;
            }
        }
        for (std::string& line : lines) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
        }
        const TextParts parts(recording.index, port);
        EXPECT_EQ(parts.Lines(), lines.size());
        for (const uint64_t from : {uint64_t{0}, uint64_t{1}, lines.size() / 2, lines.size() - 1}) {
            std::vector<std::string> found;
            const auto take = [&](TextLine&& line) {
                if (line.number < from) return true;
                EXPECT_EQ(line.number, from + found.size());
                found.push_back(line.text);
                return found.size() < 5;
            };
            ReadLines(parts.From(from, 5, UINT64_MAX), Memory(recording.bytes), port, recording.index.Timed(),
                      take);
            const auto begin =
                lines.begin() + static_cast<std::ptrdiff_t>(std::min<uint64_t>(from, lines.size()));
            const auto behind = begin + std::min<std::ptrdiff_t>(5, lines.end() - begin);
            EXPECT_EQ(found, std::vector<std::string>(begin, behind))
                << "port " << int{port} << " line " << from;
        }
    }
}

TEST_P(RecordingIndexes, CountTheSamplesOfAnyStretch) {
    const Recording recording(Capture(GetParam()));
    const All all(recording.bytes);
    const RecordingAxis axis = recording.Axis();
    for (const Stretch& stretch : RandomStretches(recording, GetParam())) {
        std::map<uint32_t, uint32_t> wanted;
        for (size_t i = 0; i < all.packets.size(); ++i) {
            const double time = axis.At(all.standings[i].Position(recording.index.Timed()));
            const Packet& packet = all.packets[i];
            const bool counts = packet.kind == PacketKind::PcSample && (packet.flags & kSuspect) == 0;
            if (counts && time >= stretch.from && time < stretch.to) ++wanted[packet.value];
        }
        ProfileQuery query(recording.index, axis.PositionAt(stretch.from), axis.PositionAt(stretch.to));
        std::map<uint32_t, uint32_t> found;
        const PcHistogram histogram = query.Answer(Memory(recording.bytes));
        for (const auto& [address, samples] : histogram.Counts()) found[address] = samples;
        ASSERT_EQ(found, wanted) << stretch.from << " to " << stretch.to;
    }
}

/// All of the recording in one column: what the summaries of blocks come to is what its events come to.
TEST_P(RecordingIndexes, SumBlocksUpToWhatTheEventsComeTo) {
    const Recording recording(Capture(GetParam()));
    const RecordingAxis axis = recording.Axis();
    const TrackTypes types = recording.index.Summaries().Types();
    std::bitset<kTracks> tracks;
    tracks.set();
    for (size_t row = 0; row < track_row::kPort; ++row) tracks.reset(row);  // their shares are rounded
    const uint64_t end = recording.index.EndPosition();
    const WindowFrame frame(axis, recording.index.Timed(), 0, axis.At(end), 1, tracks, types);
    WindowColumns columns(frame);
    recording.index.Summaries().Show(columns, end, recording.bytes.size());
    EXPECT_EQ(FirstDifference(Text(columns.Take()), Text(DecodeAll<WindowFold>(recording, frame))), "");
}

TEST_P(RecordingIndexes, TellTheSharesOfExceptionsByBlocks) {
    const Recording recording(Capture(GetParam()));
    const RecordingAxis axis = recording.Axis();
    const TrackTypes types = recording.index.Summaries().Types();
    std::bitset<kTracks> tracks;
    for (size_t row = track_row::kException; row < track_row::kPort; ++row) tracks.set(row);
    const uint64_t end = recording.index.EndPosition();
    const WindowFrame frame(axis, recording.index.Timed(), 0, axis.At(end), 1, tracks, types);
    WindowColumns columns(frame);
    recording.index.Summaries().Show(columns, end, recording.bytes.size());
    const WindowAnswer shown = columns.Take();
    const WindowAnswer folded = DecodeAll<WindowFold>(recording, frame);
    ASSERT_EQ(shown.tracks.size(), folded.tracks.size());
    for (size_t i = 0; i < shown.tracks.size(); ++i) {
        EXPECT_EQ(shown.tracks[i].track, folded.tracks[i].track);
        EXPECT_EQ(shown.tracks[i].arrays[1].data, folded.tracks[i].arrays[1].data) << "entries";
        EXPECT_NEAR(std::get<std::vector<float>>(shown.tracks[i].arrays[2].data)[0],
                    std::get<std::vector<float>>(folded.tracks[i].arrays[2].data)[0], 0.01);
    }
}

TEST(RecordingIndex, BecomesCoarserToStayInItsBudget) {
    IndexOptions small;
    small.budget = 1 << 14;
    const Bytes bytes =
        FirmwareStream(3, 2500000, true).bytes;  // several times the distance between two looks
    const Recording recording(bytes, small);
    const Recording ample(bytes);
    EXPECT_EQ(ample.index.Summaries().BlockBytes(), 16384U);
    EXPECT_GT(recording.index.Summaries().BlockBytes(), 16384U);
    const RecordingAxis axis = recording.Axis();
    const TrackTypes types = recording.index.Summaries().Types();
    const double end = axis.At(recording.index.EndPosition());
    const WindowFrame frame(axis, recording.index.Timed(), end / 2, end / 2 + end / 100, 20,
                            std::bitset<kTracks>().set(), types);
    WindowQuery query(recording.index, frame, false);
    WindowQuery wanted(ample.index, frame, false);
    EXPECT_EQ(FirstDifference(Text(query.Answer(Memory(bytes))), Text(wanted.Answer(Memory(bytes)))), "");
}

INSTANTIATE_TEST_SUITE_P(Captures, RecordingIndexes, testing::Range(1U, 9U));

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
