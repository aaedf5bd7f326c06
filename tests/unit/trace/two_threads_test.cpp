// What is decoded on a thread of its own is what is decoded on one thread.
#include "trace/recording_index.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/unit/trace/test_recording.h"
#include "trace/profile_query.h"
#include "trace/text_parts.h"
#include "trace/window_query.h"

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr size_t kLarge = CaptureAnalysis::kWorthAThread;

/// Captures of about a MiB: with and without timestamps, frames and damage.
Bytes LargeCapture(unsigned seed) {
    const bool framed = seed % 4 >= 2;
    Bytes bytes = FirmwareStream(seed, framed ? 200000 : 400000, seed % 2 == 0).bytes;
    if (framed) bytes = Frame(Mixed(bytes, 2, seed), {30, 60}, seed).bytes;
    return seed % 3 == 0 ? bytes : Harmed(bytes, seed, 200);
}

IndexOptions OnThreads(bool two, size_t budget = IndexOptions{}.budget) {
    IndexOptions options;
    options.analysis.onTwoThreads = two;
    options.budget = budget;
    return options;
}

/// An index on one thread and one on two, which are fed the same.
struct Both {
    explicit Both(const Bytes& capture, size_t budget = IndexOptions{}.budget)
        : bytes(capture), one(OnThreads(false, budget)), two(OnThreads(true, budget)) {}
    void Feed(size_t count) {
        const auto piece = std::span(bytes).subspan(fed, std::min(count, bytes.size() - fed));
        one.Feed(piece);
        two.Feed(piece);
        fed += piece.size();
    }
    void Idle() {
        one.Idle();
        two.Idle();
    }
    void Finish() {
        one.Finish();
        two.Finish();
    }

    const Bytes& bytes;
    size_t fed = 0;
    RecordingIndex one;
    RecordingIndex two;
};

void ExpectSameSoFar(const Both& both) {
    const CaptureAnalysis& one = both.one.Analysis();
    const CaptureAnalysis& two = both.two.Analysis();
    ASSERT_EQ(one.Bytes(), both.fed);
    ASSERT_EQ(two.Bytes(), both.fed);
    ASSERT_EQ(both.one.EndPosition(), both.two.EndPosition());
    ASSERT_EQ(both.one.Timed(), both.two.Timed());
    ASSERT_EQ(both.one.Bytes(), both.two.Bytes()) << "of memory";
    ASSERT_TRUE(one.Counts() == two.Counts());
    ASSERT_TRUE(one.Losses().Entries() == two.Losses().Entries());
    ASSERT_TRUE(one.Losses().Totals() == two.Losses().Totals());
    ASSERT_TRUE(one.Losses().Unlisted() == two.Losses().Unlisted());
    ASSERT_EQ(one.FramingIsKnown(), two.FramingIsKnown());
    ASSERT_EQ(one.FramingFound().framed, two.FramingFound().framed);
    ASSERT_EQ(one.BytesOfStreams() == nullptr, two.BytesOfStreams() == nullptr);
    if (one.BytesOfStreams() != nullptr) {
        ASSERT_EQ(*one.BytesOfStreams(), *two.BytesOfStreams());
    }
    ASSERT_EQ(one.Features().validity, two.Features().validity);
    ASSERT_EQ(one.Features().packets, two.Features().packets);
    ASSERT_EQ(both.one.Summaries().Blocks(), both.two.Summaries().Blocks());
    ASSERT_EQ(both.one.Summaries().BlockBytes(), both.two.Summaries().BlockBytes());
}

std::string Window(const RecordingIndex& index, const Bytes& bytes, double from, double to, bool columns) {
    const RecordingAxis axis({}, index.Timed());
    const TrackTypes types = index.Summaries().Types();
    const WindowFrame frame(axis, index.Timed(), from, to, 200, std::bitset<kTracks>().set(), types);
    WindowQuery query(index, frame, columns);
    return Text(query.Answer(Memory(bytes)));
}

std::string Lines(const RecordingIndex& index, const Bytes& bytes, uint8_t port, uint64_t from) {
    std::string all;
    const TextParts parts(index, port);
    const auto take = [&all](TextLine&& line) {
        all += std::to_string(line.number) + " " + std::to_string(line.offset) + " " + line.text + "\n";
        return true;
    };
    ReadLines(parts.From(from, 20, UINT64_MAX), Memory(bytes), port, index.Timed(), take);
    return all;
}

void ExpectSameAnswers(const Both& both, unsigned seed) {
    std::mt19937 random(seed);
    const double end = RecordingAxis({}, both.one.Timed()).At(both.one.EndPosition());
    for (int i = 0; i < 12; ++i) {
        const double width = std::max(1.0, end / std::pow(10, i % 5));
        const double from = std::floor((end - width) * static_cast<double>(random() % 1000) / 1e3);
        for (const bool columns : {false, true}) {
            ASSERT_EQ(FirstDifference(Window(both.one, both.bytes, from, from + width, columns),
                                      Window(both.two, both.bytes, from, from + width, columns)),
                      "")
                << from << " and " << width << " more";
        }
        const uint64_t place = random() % both.fed;
        const ReplayPlan one = both.one.PlanFrom(place);
        const ReplayPlan two = both.two.PlanFrom(place);
        ASSERT_EQ(one.from.has_value(), two.from.has_value());
        if (!one.from) continue;
        EXPECT_EQ(one.from->state.offset, two.from->state.offset);
        EXPECT_EQ(one.from->standing.place, two.from->standing.place);
        EXPECT_EQ(one.from->standing.ticks, two.from->standing.ticks);
        EXPECT_TRUE(one.from->exceptions.running == two.from->exceptions.running);
        const auto position = static_cast<uint64_t>(from);
        ProfileQuery samplesOfOne(both.one, position, position + static_cast<uint64_t>(width));
        ProfileQuery samplesOfTwo(both.two, position, position + static_cast<uint64_t>(width));
        EXPECT_EQ(samplesOfOne.Answer(Memory(both.bytes)).Counts().size(),
                  samplesOfTwo.Answer(Memory(both.bytes)).Counts().size());
    }
    for (const uint8_t port : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
        if (!both.one.Summaries().Types().IsText(port)) continue;
        const uint64_t lines = TextParts(both.one, port).Lines();
        ASSERT_EQ(lines, TextParts(both.two, port).Lines());
        const uint64_t from = lines == 0 ? 0 : random() % lines;
        EXPECT_EQ(Lines(both.one, both.bytes, port, from), Lines(both.two, both.bytes, port, from));
    }
}

class TwoThreads : public testing::TestWithParam<unsigned> {};

TEST_P(TwoThreads, IndexAsOneDoes) {
    const Bytes capture = LargeCapture(GetParam());
    ASSERT_GT(capture.size(), 2 * kLarge);
    Both both(capture);
    std::mt19937 random(GetParam());
    while (both.fed < capture.size()) {
        both.Feed(random() % 3 == 0 ? 1 + random() % 50000 : kLarge + random() % (2 * kLarge));
        if (random() % 4 == 0) both.Idle();
        ASSERT_NO_FATAL_FAILURE(ExpectSameSoFar(both));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSameAnswers(both, GetParam()));
    both.Finish();
    ASSERT_NO_FATAL_FAILURE(ExpectSameSoFar(both));
    ExpectSameAnswers(both, GetParam() + 100);
}

TEST_P(TwoThreads, StayInABudgetAsOneDoes) {
    const Bytes block = LargeCapture(GetParam());
    Bytes capture;
    while (capture.size() < 9'000'000) capture.insert(capture.end(), block.begin(), block.end());
    Both both(capture, 100'000);
    while (both.fed < capture.size()) both.Feed(3 * kLarge);
    both.Finish();
    EXPECT_GT(both.two.Summaries().BlockBytes(), uint64_t{1} << RecordingSummaries::kBlockShift);
    ASSERT_NO_FATAL_FAILURE(ExpectSameSoFar(both));
    ExpectSameAnswers(both, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Captures, TwoThreads, testing::Range(1U, 5U));

/// Notes which threads gave it the text.
struct Threads : TextReceiver {
    void Write(uint8_t, const uint8_t*, size_t) override { all.insert(std::this_thread::get_id()); }
    std::set<std::thread::id> all;
};

TEST(ThreadOfItsOwn, DecodesLargePiecesAlone) {
    const Bytes capture = FirmwareStream(1, 800000, false).bytes;
    const auto own = std::this_thread::get_id();
    for (const bool two : {false, true}) {
        Threads threads;
        AnalysisOptions options;
        options.text = &threads;
        options.textPorts.set();
        options.onTwoThreads = two;
        CaptureAnalysis analysis(options);
        for (int i = 0; i < 5; ++i) analysis.Feed(std::span(capture).first(kLarge - 1));
        EXPECT_EQ(threads.all, std::set{own});
        for (int i = 0; i < (two ? 1000 : 3) && threads.all.size() < 2; ++i) analysis.Feed(capture);
        EXPECT_EQ(threads.all.size(), two ? 2U : 1U);
        analysis.Finish();
    }
}

/// Throws at some packet.
struct Fragile : PacketReceiver, TextReceiver {
    void OnPacket(const Packet&, const PacketTime&) override {
        if (++packets == throwAt) throw std::runtime_error("the receiver's");
    }
    void Write(uint8_t, const uint8_t*, size_t) override {
        if (++texts == throwAtText) throw std::runtime_error("the decoder's");
    }
    uint64_t packets = 0;
    uint64_t throwAt = 0;
    uint64_t texts = 0;
    uint64_t throwAtText = 0;
};

TEST(ThreadOfItsOwn, EndsWithTheErrorOfEitherThread) {
    const Bytes capture = FirmwareStream(1, 800000, false).bytes;
    for (const uint64_t at : {1U, 100000U, 300000U}) {
        for (const bool decoding : {false, true}) {
            Fragile receiver;
            (decoding ? receiver.throwAtText : receiver.throwAt) = at / (decoding ? 10 : 1) + 1;
            AnalysisOptions options;
            options.packets = &receiver;
            options.text = &receiver;
            options.textPorts.set();
            options.onTwoThreads = true;
            CaptureAnalysis analysis(options);
            try {
                analysis.Feed(capture);
                ADD_FAILURE() << "nothing was thrown";
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), decoding ? "the decoder's" : "the receiver's");
            }
            analysis.Finish();  // of what was not lost
        }
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
