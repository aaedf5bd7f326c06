// Verdicts and ratios at the borders of the rules, on measures that are made up.
#include <gtest/gtest.h>

#include <cmath>
#include <span>

#include "trace/signal_check.h"

namespace Korr::Plim::Trace::Swo {

namespace {

/// What a stream of 10,000 bytes measures that is whole, or of which this share is.
SignalFeatures Made(double validity = 1) {
    SignalFeatures features;
    features.line.bytes = 10000;
    features.line.entropy = 5;
    features.line.shortRuns = 0.5;
    features.line.longRuns = 0.2;
    features.line.bitSet.fill(0.5);
    features.line.pairEqual.fill(0.5);
    features.validity = validity;
    features.packets = 1000;
    features.syncs = 1;
    return features;
}

/// Verdict and confidence on what `change` makes of such a stream.
template <class Change>
std::string Told(Change&& change) {
    SignalFeatures features = Made();
    change(features);
    const Diagnosis diagnosis = Diagnose(features);
    return std::string(SignalVerdictName(diagnosis.verdict)) + " " +
           std::string(ConfidenceName(diagnosis.confidence));
}
std::string ToldOfShare(double validity) {
    return Told([=](SignalFeatures& f) { f.validity = validity; });
}

TEST(SignalRules, TheShareOfPacketsDecides) {
    EXPECT_EQ(ToldOfShare(1), "good sure");
    EXPECT_EQ(ToldOfShare(0.996), "good sure");
    EXPECT_EQ(ToldOfShare(0.994), "good likely");
    EXPECT_EQ(ToldOfShare(0.9912), "good likely");
    EXPECT_EQ(ToldOfShare(0.9908), "good unsure");
    EXPECT_EQ(ToldOfShare(0.99), "good unsure");
    EXPECT_EQ(ToldOfShare(0.9899), "damaged sure");
    EXPECT_EQ(ToldOfShare(0.80), "damaged unsure");
    EXPECT_EQ(ToldOfShare(0.799), "rate-too-low unsure");
}

TEST(SignalRules, FewBytesOfNoPacketsTellNothing) {
    const auto garbage = [](uint64_t bytes) {
        return Told([=](SignalFeatures& f) { f.validity = 0.3, f.line.bytes = bytes; });
    };
    EXPECT_EQ(garbage(255), "unclear unsure");
    EXPECT_EQ(garbage(256), "rate-too-low unsure");
    EXPECT_EQ(Told([](SignalFeatures& f) { f.packets = 0; }), "unclear unsure");
    EXPECT_EQ(Told([](SignalFeatures& f) { f.packets = 0, f.validity = 0.9; }), "unclear unsure");
}

TEST(SignalRules, ManyValuesOrAnIdleLineShowThatBitsAreMissing) {
    const auto garbage = [](double ones, double entropy) {
        return Told(
            [=](SignalFeatures& f) { f.validity = 0.3, f.line.ones = ones, f.line.entropy = entropy; });
    };
    EXPECT_EQ(garbage(0, 6.3), "rate-too-low unsure");
    EXPECT_EQ(garbage(0, 6.31), "rate-too-low likely");
    EXPECT_EQ(garbage(0.02, 5), "rate-too-low likely");
    EXPECT_EQ(garbage(0.019, 5), "rate-too-low unsure");
}

TEST(SignalRules, ManchesterHasShortRunsAloneAndFewValues) {
    const auto code = [](double shortRuns, double longRuns, double entropy, uint64_t syncs, uint64_t bytes) {
        return Told([=](SignalFeatures& f) {
            f.line.shortRuns = shortRuns, f.line.longRuns = longRuns, f.line.entropy = entropy;
            f.syncs = syncs, f.line.bytes = bytes;
        });
    };
    EXPECT_EQ(code(0.9, 0, 1, 0, 256), "manchester sure");
    EXPECT_EQ(code(0.8001, 0.05, 1, 0, 256), "manchester sure");
    EXPECT_EQ(code(0.7999, 0.05, 1, 0, 256), "manchester likely");
    EXPECT_EQ(code(0.9, 0, 4, 0, 256), "manchester likely");
    EXPECT_EQ(code(0.9, 0, 4.5, 0, 256), "manchester unsure");
    EXPECT_EQ(code(0.70, 0, 1, 0, 256), "manchester unsure");
    EXPECT_EQ(code(0.699, 0, 1, 0, 256), "good sure");
    EXPECT_EQ(code(0.9, 0.051, 1, 0, 256), "good sure");
    EXPECT_EQ(code(0.9, 0, 4.51, 0, 256), "good sure");
    EXPECT_EQ(code(0.9, 0, 1, 1, 256), "good sure");
    EXPECT_EQ(code(0.9, 0, 1, 0, 255), "good sure");
}

TEST(SignalRules, AResetIsAStretchWithGoodBytesOnBothSides) {
    const auto stretch = [](uint64_t bytes, uint64_t offset, uint64_t length, uint64_t lost, bool framed) {
        return Told([=](SignalFeatures& f) {
            f.line.bytes = bytes, f.stretchOffset = offset, f.stretchLength = length, f.framed = framed;
            f.phaseScore = framed ? 1 : 0;
            f.validity = 1 - static_cast<double>(lost) / static_cast<double>(bytes);
        });
    };
    EXPECT_EQ(stretch(10000, 1, 64, 64, false), "reset-in-between sure");
    EXPECT_EQ(stretch(10000, 9935, 64, 64, false), "reset-in-between sure");
    EXPECT_EQ(stretch(10000, 0, 64, 64, false), "good likely") << "at the beginning";
    EXPECT_EQ(stretch(10000, 9936, 64, 64, false), "good likely") << "at the end";
    EXPECT_EQ(stretch(10000, 1, 63, 63, false), "good likely") << "short";
    EXPECT_EQ(stretch(10000, 1, 64, 64, true), "tpiu-framed sure");
    EXPECT_EQ(stretch(10000, 1, 64, 127, false), "reset-in-between sure");
    EXPECT_EQ(stretch(10000, 1, 64, 129, false), "damaged sure") << "as much damage again elsewhere";
    EXPECT_EQ(stretch(1400, 1, 64, 127, false), "reset-in-between unsure");
    EXPECT_EQ(stretch(1300, 1, 64, 127, false), "damaged sure") << "too much of the rest";
}

TEST(SignalRules, FramesHaveToFitOrToBeGiven) {
    const auto framed = [](double score, double validity) {
        return Told([=](SignalFeatures& f) { f.framed = true, f.phaseScore = score, f.validity = validity; });
    };
    EXPECT_EQ(framed(1, 1), "tpiu-framed sure");
    EXPECT_EQ(framed(0.95, 0.876), "tpiu-framed sure");
    EXPECT_EQ(framed(0.95, 0.874), "tpiu-framed likely");
    EXPECT_EQ(framed(0, 0.80), "tpiu-framed unsure");
    EXPECT_EQ(framed(0, 0.79), "rate-too-low unsure");
    EXPECT_EQ(framed(0.949, 1), "rate-too-low unsure");
    EXPECT_EQ(Told([](SignalFeatures& f) { f.phaseScore = 0.5, f.validity = 0.85; }), "damaged likely")
        << "frames that were not taken";
}

TEST(SignalRules, WithoutSynchronisationIn64KiBItIsGoodForUsAlone) {
    const auto unsynchronised = [](uint64_t bytes, uint64_t syncs, double validity) {
        return Told([=](SignalFeatures& f) { f.line.bytes = bytes, f.syncs = syncs, f.validity = validity; });
    };
    EXPECT_EQ(unsynchronised(65536, 0, 1), "good-no-sync sure");
    EXPECT_EQ(unsynchronised(65536, 0, 0.99), "good-no-sync unsure");
    EXPECT_EQ(unsynchronised(65536, 0, 0.989), "damaged sure");
    EXPECT_EQ(unsynchronised(65536, 1, 1), "good sure");
    EXPECT_EQ(unsynchronised(65535, 0, 1), "good sure");
}

TEST(SignalRules, FramesWithoutItmTakeManyBytesToTell) {
    const auto frames = [](uint64_t bytes, double score, bool without) {
        return Told([=](SignalFeatures& f) {
            f.line.bytes = bytes, f.phaseScore = score, f.framesWithoutItm = without, f.validity = 0.3;
        });
    };
    EXPECT_EQ(frames(1024, 1, true), "tpiu-no-itm sure");
    EXPECT_EQ(frames(1024, 0.95, true), "tpiu-no-itm unsure");
    EXPECT_EQ(frames(1024, 0.949, true), "rate-too-low unsure");
    EXPECT_EQ(frames(1023, 1, true), "rate-too-low unsure");
    EXPECT_EQ(frames(1024, 1, false), "rate-too-low unsure");
}

TEST(SignalRules, NoiseHasAllValues) {
    const auto noise = [](uint64_t bytes, double entropy, double validity) {
        return Told([=](SignalFeatures& f) {
            f.line.bytes = bytes, f.line.entropy = entropy, f.validity = validity;
        });
    };
    EXPECT_EQ(noise(1024, 7.95, 0.3), "noise sure");
    EXPECT_EQ(noise(1024, 7.8, 0.3), "noise unsure");
    EXPECT_EQ(noise(1024, 7.79, 0.3), "rate-too-low likely");
    EXPECT_EQ(noise(1023, 7.95, 0.3), "rate-too-low likely");
    EXPECT_EQ(noise(1024, 7.95, 1), "good sure");
}

/// What a port measures that is `ratio` times as fast as the line, and samples each data bit by chance
/// otherwise: bit j of a byte is bit (j + 1.5) / ratio of the line's, counted from the start bit.
LineFeatures MadeTooFast(double ratio, double equal = 1) {
    LineFeatures line = Made().line;
    const auto source = [ratio](int bit) { return std::floor((bit + 1.5) / ratio); };
    for (int bit = 0; bit < 7; ++bit) {
        if (source(bit) == source(bit + 1)) line.pairEqual[static_cast<size_t>(bit)] = equal;
    }
    if (source(0) == 0) line.bitSet[0] = equal == 1 ? 0 : 0.1;
    return line;
}

TEST(SignalRules, FewShortRunsAreAPortThatIsTooFast) {
    const auto runs = [](double shortRuns, double validity) {
        return Told([=](SignalFeatures& f) { f.line.shortRuns = shortRuns, f.validity = validity; });
    };
    EXPECT_EQ(runs(0.1, 0.3), "rate-too-high sure");
    EXPECT_EQ(runs(0.2, 0.3), "rate-too-high likely");
    EXPECT_EQ(runs(0.385, 0.3), "rate-too-high unsure");
    EXPECT_EQ(runs(0.386, 0.3), "rate-too-low unsure");
    EXPECT_EQ(runs(0.1, 0.8), "damaged unsure");
}

TEST(SignalRules, ARatioUpTo118PerCentIsNear) {
    const auto ratio = [](double value) {
        return Told([=](SignalFeatures& f) { f.line = MadeTooFast(value), f.validity = 0.3; });
    };
    EXPECT_EQ(ratio(1.10), "rate-near sure");
    EXPECT_EQ(ratio(1.16), "rate-near sure");
    EXPECT_EQ(ratio(1.19), "rate-too-high sure");
    EXPECT_EQ(ratio(7.0), "rate-too-high sure");
}

TEST(SignalRules, ErrorsOfTheLineCountUnlessWhatCameIsGarbage) {
    const auto errors = [](std::optional<uint64_t> counted, bool logged, double validity, double ratio) {
        return Told([=](SignalFeatures& f) {
            f.lineErrors = counted, f.readErrorLogged = logged, f.validity = validity;
            if (ratio > 0) f.line = MadeTooFast(ratio);
        });
    };
    EXPECT_EQ(errors(0, false, 0.3, 0), "rate-too-low unsure");
    EXPECT_EQ(errors(1, false, 0.3, 0), "rate-too-low unsure");
    EXPECT_EQ(errors(std::nullopt, true, 0.3, 0), "rate-too-low unsure");
    EXPECT_EQ(errors(1, true, 0.799, 0), "rate-too-low unsure");
    EXPECT_EQ(errors(1, true, 0.8, 0), "line-errors sure");
    EXPECT_EQ(errors(1, false, 0.3, 2), "rate-too-high sure");
    EXPECT_EQ(errors(1, false, 0.9, 2), "line-errors sure");
    EXPECT_EQ(errors(1, false, 1, 0), "line-errors sure");
    EXPECT_EQ(errors(0, true, 1, 0), "good sure") << "it was an end of another kind";
    const auto few = [](uint64_t bytes) {
        return Told([=](SignalFeatures& f) { f.lineErrors = 1, f.validity = 0, f.line.bytes = bytes; });
    };
    EXPECT_EQ(few(0), "line-errors sure");
    EXPECT_EQ(few(255), "line-errors sure") << "too few to be garbage";
    EXPECT_EQ(few(256), "rate-too-low unsure");
    EXPECT_EQ(Told([](SignalFeatures& f) { f.lineErrors = 1, f.validity = 0.3, f.line.entropy = 7.95; }),
              "noise sure");
}

TEST(LineRatio, IsToldFromTheBitsThatAreDoubled) {
    for (const double ratio : {1.1, 1.15, 1.25, 1.5, 2.0, 2.5, 3.0, 3.7, 4.0, 5.0, 6.0, 7.0}) {
        const auto found = EstimateTooFast(MadeTooFast(ratio));
        ASSERT_TRUE(found) << ratio;
        EXPECT_TRUE(found->exact);
        EXPECT_LE(found->lowest, ratio + 1e-9);
        EXPECT_GE(found->highest, ratio - 1e-9);
    }
    EXPECT_FALSE(EstimateTooFast(Made().line));
    EXPECT_FALSE(EstimateTooFast(MadeTooFast(1.03)));
    EXPECT_FALSE(EstimateTooFast(MadeTooFast(8.6))) << "a byte holds one bit of the line";
    EXPECT_LE(EstimateTooFast(MadeTooFast(7.7))->highest, 8);
}

TEST(LineRatio, OfAPortThatLosesItsPlaceIsToldFromTheBitsThatAreOftenDoubled) {
    const auto told = [](double ratio, double equal) { return EstimateTooFast(MadeTooFast(ratio, equal)); };
    for (const double ratio : {1.5, 2.0, 3.0, 4.0}) {
        const auto found = told(ratio, 0.85);
        ASSERT_TRUE(found) << ratio;
        EXPECT_FALSE(found->exact);
        EXPECT_LE(found->lowest, ratio + 1e-9);
        EXPECT_GE(found->highest, ratio - 1e-9);
    }
    EXPECT_TRUE(told(2, 0.661));
    EXPECT_FALSE(told(2, 0.659)) << "not often enough";
    EXPECT_FALSE(told(5, 0.85)) << "beyond 4.5 bits of few places are left";
    LineFeatures line = MadeTooFast(1.4, 0.75);
    line.shortRuns = 0.6;
    EXPECT_TRUE(EstimateTooFast(line));
    line.shortRuns = 0.601;
    EXPECT_FALSE(EstimateTooFast(line)) << "doubled bits make no short runs";
    line = MadeTooFast(2, 0.75);
    line.pairEqual[0] = 0.669;
    EXPECT_TRUE(EstimateTooFast(line)) << "0.08 apart";
    line.pairEqual[0] = 0.671;
    EXPECT_FALSE(EstimateTooFast(line)) << "less";
    line = MadeTooFast(2, 0.75);
    line.bitSet[0] = 0.2;
    EXPECT_TRUE(EstimateTooFast(line));
    line.bitSet[0] = 0.201;
    EXPECT_FALSE(EstimateTooFast(line)) << "the start bit is not there once more";
}

TEST(LineRatio, OfOnePairThatIsOftenDoubledMoreIsAsked) {
    const auto told = [](double ratio, double equal, double shortRuns, double others) {
        LineFeatures line = MadeTooFast(ratio, equal);
        line.shortRuns = shortRuns;
        line.pairEqual[0] = others;
        return EstimateTooFast(line).has_value();
    };
    EXPECT_TRUE(told(1.15, 0.761, 0.5, 0.5));
    EXPECT_FALSE(told(1.15, 0.759, 0.5, 0.5));
    EXPECT_TRUE(told(1.15, 0.8, 0.47, 0.5));
    EXPECT_FALSE(told(1.15, 0.8, 0.469, 0.5));
    EXPECT_TRUE(told(1.15, 0.8, 0.5, 0.749));
    EXPECT_FALSE(told(1.15, 0.8, 0.5, 0.751));
    EXPECT_FALSE(told(1.067, 0.9, 0.5, 0.5)) << "the last pair is so in many streams";
}

TEST(LineRatio, FewShortRunsContradictALittleTooFast) {
    const auto exact = [](double ratio, double shortRuns) {
        LineFeatures line = MadeTooFast(ratio);
        line.shortRuns = shortRuns;
        const auto found = EstimateTooFast(line);
        return found && found->exact;
    };
    EXPECT_TRUE(exact(1.25, 0.351));
    EXPECT_FALSE(exact(1.25, 0.35));
    EXPECT_TRUE(exact(1.28, 0.2));
}

TEST(LineRatio, LittleTooSlowShowsInTheLastDataBit) {
    const auto slow = [](double last, double pair, double shortRuns) {
        LineFeatures line = Made().line;
        line.bitSet[2] = 0.6;  // the most of bits 2 to 6
        line.bitSet[0] = line.bitSet[1] = 0.9;
        line.bitSet[7] = last, line.pairEqual[6] = pair, line.shortRuns = shortRuns;
        return SeemsLittleTooSlow(line);
    };
    EXPECT_TRUE(slow(0.621, 0.60, 0.53));
    EXPECT_FALSE(slow(0.619, 0.60, 0.53));
    EXPECT_FALSE(slow(0.621, 0.601, 0.53));
    EXPECT_FALSE(slow(0.621, 0.60, 0.529));
    LineFeatures line = MadeTooFast(1.15, 0.8);
    line.bitSet[7] = 0.7, line.shortRuns = 0.55;
    EXPECT_FALSE(EstimateTooFast(line)) << "then it is not too fast";
    line.bitSet[7] = 0.5;
    EXPECT_TRUE(EstimateTooFast(line));
}

TEST(LineMeasures, CountRunsThatBeginAndEndInsideAByte) {
    const auto of = [](std::initializer_list<uint8_t> bytes) {
        return MeasureLine(std::span<const uint8_t>(bytes.begin(), bytes.size()));
    };
    EXPECT_EQ(of({0x00}).innerRuns, 0U) << "from the start bit to the stop bit";
    EXPECT_EQ(of({0xFF}).innerRuns, 0U);
    EXPECT_EQ(of({0x0F}).innerRuns, 2U);
    EXPECT_EQ(of({0x0F}).longRuns, 1);
    EXPECT_EQ(of({0x0F}).shortRuns, 0);
    EXPECT_EQ(of({0x33}).innerRuns, 4U);
    EXPECT_EQ(of({0x33}).longRuns, 0);
    EXPECT_EQ(of({0x33}).shortRuns, 0);
    EXPECT_EQ(of({0x07}).longRuns, 1) << "three bits, and five";
    const LineFeatures line = of({0x0F, 0x33, 0x55, 0x55});
    EXPECT_EQ(line.innerRuns, 22U);
    EXPECT_DOUBLE_EQ(line.shortRuns, 16.0 / 22);
    EXPECT_DOUBLE_EQ(line.longRuns, 2.0 / 22);
    EXPECT_EQ(line.bitSet, (std::array<double, 8>{1, 0.5, 0.75, 0.25, 0.75, 0.25, 0.5, 0}));
    EXPECT_EQ(line.pairEqual, (std::array<double, 7>{0.5, 0.25, 0.5, 0, 0.5, 0.25, 0.5}));
}

TEST(LineMeasures, EntropyCountsWhatFewBytesHide) {
    ByteCounts counts{};
    counts[0x00] = 25, counts[0xFF] = 75;
    const LineFeatures line = MeasureLine(counts);
    EXPECT_EQ(line.bytes, 100U);
    EXPECT_EQ(line.zeros, 0.25);
    EXPECT_EQ(line.ones, 0.75);
    EXPECT_NEAR(line.entropy, 0.8112781 + 1 / (2 * 0.6931472 * 100), 1e-6);
    counts.fill(1);
    EXPECT_EQ(MeasureLine(counts).entropy, 8) << "no more than there can be";
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
