// Verdicts on signals: a made-up target's ITM stream on a line, received at other rates by two kinds of UART.
#include "trace/signal_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "simulator/swosource/signal/itm_pattern.h"
#include "simulator/swosource/signal/uart_receiver.h"
#include "trace/capture_analysis.h"

namespace Korr::Plim::Trace::Swo {

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Firmware(size_t count) {
    Simulator::ItmPattern pattern;
    Bytes bytes(count);
    pattern.Read(bytes.data(), count);
    return bytes;
}

/// Other packets than the pattern's: words on several ports, data watches, event counters.
Bytes MixedStream(size_t count) {
    std::mt19937 engine(5);
    const auto random = [&engine] { return static_cast<uint32_t>(engine()); };
    Bytes bytes;
    while (bytes.size() < count) {
        const uint32_t kind = random() % 20;
        const auto add = [&](std::initializer_list<uint32_t> values) {
            for (const uint32_t value : values) bytes.push_back(static_cast<uint8_t>(value));
        };
        if (kind < 10) {
            add({0x01, static_cast<uint32_t>("hello swo world\n"[random() % 16])});
        } else if (kind < 14) {
            add({0x13, random() & 0xFF, random() & 0xFF, random() & 0xFF, random() & 0xFF});
        } else if (kind < 16) {
            add({0x17, (random() & 0x7F) * 2, random() & 0xF, 0, 8});
        } else if (kind < 19) {
            add({0xC0, 0x80 | random() % 128, random() % 128});
        } else {
            add({0x0E, 15, 0x10U * (1 + random() % 3)});
        }
        if (random() % 512 == 0) add({0, 0, 0, 0, 0, 0x80});
    }
    return bytes;
}

/// Received at `ratio` times the line's rate by a UART that waits for a stop bit before the next start bit.
/// \param idle how often the line idles behind a byte
Bytes Received(const Bytes& sent, double ratio, double idle) {
    std::mt19937 random(7);
    Simulator::UartReceiver receiver(1e6, 1e6 * ratio);
    Bytes received;
    for (const uint8_t byte : sent) {
        receiver.Send(byte, received);
        if (std::uniform_real_distribution<double>(0, 1)(random) < idle) {
            receiver.Idle(static_cast<int>(1 + random() % 39), received);
        }
    }
    receiver.Idle(40, received);
    return received;
}

/// What a UART makes of a line that takes a low stop bit for the next start bit.
Bytes Sampled(const std::vector<bool>& line, double ratio) {
    Bytes received;
    const double bit = 1 / ratio;
    const auto level = [&](double time) { return line[static_cast<size_t>(time)]; };
    for (double time = 0; time + 9.5 * bit < static_cast<double>(line.size());) {
        if (level(time)) {
            time += 0.05;
            continue;
        }
        unsigned value = 0;
        for (int i = 0; i < 8; ++i) value |= level(time + bit * (1.5 + i)) ? 1U << i : 0;
        received.push_back(static_cast<uint8_t>(value));
        time += 9.5 * bit;
    }
    return received;
}

/// The same by a UART that takes a low stop bit for the next start bit.
Bytes ReceivedWithoutWaiting(const Bytes& sent, double ratio, double idle) {
    std::mt19937 random(7);
    std::vector<bool> line;
    for (const uint8_t byte : sent) {
        line.push_back(false);
        for (int bit = 0; bit < 8; ++bit) line.push_back((byte >> bit & 1) != 0);
        line.push_back(true);
        if (std::uniform_real_distribution<double>(0, 1)(random) < idle) {
            line.insert(line.end(), 1 + random() % 39, true);
        }
    }
    return Sampled(line, ratio);
}

SignalFeatures Measure(const Bytes& bytes) {
    CaptureAnalysis analysis({});
    analysis.Feed(bytes);
    analysis.Finish();
    return analysis.Features();
}

SignalVerdict VerdictOf(const Bytes& bytes) { return Diagnose(Measure(bytes)).verdict; }

struct Stream {
    const char* name;
    Bytes bytes;
};
const std::vector<Stream>& Streams() {
    static const std::vector<Stream> streams = {{"firmware", Firmware(8000)}, {"mixed", MixedStream(8000)}};
    return streams;
}

template <class Check>
void ForEachLine(double ratio, Check check) {
    for (const Stream& stream : Streams()) {
        for (const double idle : {0.0, 0.03, 0.3}) {
            SCOPED_TRACE(std::string(stream.name) + " at " + std::to_string(ratio) + ", idle " +
                         std::to_string(idle));
            check(Received(stream.bytes, ratio, idle));
        }
    }
}

TEST(SignalVerdict, AStreamAtItsRateIsGood) {
    for (const double ratio : {0.96, 0.97, 0.99, 1.0, 1.01, 1.03, 1.04, 1.05, 1.06}) {
        ForEachLine(ratio, [](const Bytes& bytes) { EXPECT_EQ(VerdictOf(bytes), SignalVerdict::Good); });
    }
}

TEST(SignalVerdict, APortThatIsTooFastIsToldByHowMuch) {
    for (const double ratio :
         {1.17, 1.18, 1.19, 1.2, 1.21, 1.22, 1.23, 1.24, 1.25, 1.3, 1.5, 1.75, 2.0, 2.5, 3.0, 4.0}) {
        ForEachLine(ratio, [ratio](const Bytes& bytes) {
            const Diagnosis diagnosis = Diagnose(Measure(bytes));
            EXPECT_EQ(diagnosis.verdict, SignalVerdict::RateTooHigh);
            ASSERT_TRUE(diagnosis.ratio);
            EXPECT_LE(diagnosis.ratio->lowest, ratio + 0.01);
            EXPECT_GE(diagnosis.ratio->highest, ratio - 0.01);
            EXPECT_LE(diagnosis.ratio->highest / diagnosis.ratio->lowest, 1.25);
        });
    }
}

TEST(SignalVerdict, APortThatIsTooFastIsToldToWhenItDoesNotWaitForTheStopBit) {
    for (const double ratio : {1.5, 2.0, 4.0}) {
        for (const Stream& stream : Streams()) {
            EXPECT_EQ(VerdictOf(ReceivedWithoutWaiting(stream.bytes, ratio, 0.3)), SignalVerdict::RateTooHigh)
                << stream.name << ratio;
        }
    }
}

TEST(SignalVerdict, APortThatIsTooSlowIsTold) {
    for (const double ratio : {0.25, 0.33, 0.5, 0.6, 0.75, 0.8, 0.81, 0.82, 0.83, 0.84, 0.85}) {
        ForEachLine(ratio,
                    [](const Bytes& bytes) { EXPECT_EQ(VerdictOf(bytes), SignalVerdict::RateTooLow); });
    }
    for (const double ratio : {0.25, 0.5, 0.75}) {
        for (const Stream& stream : Streams()) {
            EXPECT_EQ(VerdictOf(ReceivedWithoutWaiting(stream.bytes, ratio, 0.3)), SignalVerdict::RateTooLow)
                << stream.name << ratio;
        }
    }
}

TEST(SignalVerdict, APortThatIsSomePerCentOffIsNear) {
    for (const double ratio :
         {0.86, 0.87, 0.88, 0.89, 0.91, 0.92, 0.94, 1.07, 1.08, 1.1, 1.12, 1.13, 1.14, 1.15, 1.16}) {
        ForEachLine(ratio, [](const Bytes& bytes) { EXPECT_EQ(VerdictOf(bytes), SignalVerdict::RateNear); });
    }
    for (const double ratio : {0.9, 1.1}) {
        for (const Stream& stream : Streams()) {
            EXPECT_EQ(VerdictOf(ReceivedWithoutWaiting(stream.bytes, ratio, 0.3)), SignalVerdict::RateNear)
                << stream.name << ratio;
        }
    }
}

/// From 0.945 to 0.95 all data bits are still sampled in their places, and the stop bit in the next start
/// bit: what is left of the bytes does not show by how little the port is too slow.
TEST(SignalVerdict, APortThatLosesTheStopBitAloneIsTooSlow) {
    for (const double ratio : {0.945, 0.95}) {
        ForEachLine(ratio,
                    [](const Bytes& bytes) { EXPECT_EQ(VerdictOf(bytes), SignalVerdict::RateTooLow); });
    }
}

TEST(SignalVerdict, ManchesterCodeIsTold) {
    for (const Stream& stream : Streams()) {
        // Each bit of the line is sent as itself and its opposite.
        std::vector<bool> halves;
        for (const uint8_t byte : stream.bytes) {
            for (int bit = -1; bit < 9; ++bit) {
                const bool high = bit == 8 || (bit >= 0 && (byte >> bit & 1) != 0);
                halves.push_back(high);
                halves.push_back(!high);
            }
        }
        const Bytes received = Sampled(halves, 1);
        EXPECT_EQ(VerdictOf(received), SignalVerdict::Manchester) << stream.name;
    }
}

TEST(SignalVerdict, BytesByChanceAreNoise) {
    std::mt19937 random(1);
    for (const size_t count : {2000u, 20000u, 200000u}) {
        Bytes noise(count);
        for (uint8_t& byte : noise) byte = static_cast<uint8_t>(random());
        EXPECT_EQ(VerdictOf(noise), SignalVerdict::Noise) << count;
    }
}

TEST(SignalVerdict, NothingIsNothing) {
    EXPECT_EQ(VerdictOf({}), SignalVerdict::NoBytes);
    SignalFeatures silent;
    silent.lineErrors = 3;
    EXPECT_EQ(Diagnose(silent).verdict, SignalVerdict::LineErrors);
    EXPECT_FALSE(IsUsable(silent, SignalVerdict::LineErrors));
}

TEST(SignalVerdict, FewBytesOfPacketsAreGoodAndOthersUnclear) {
    EXPECT_EQ(VerdictOf({0x01, 'h', 0x01, 'i', 0x01, '\n'}), SignalVerdict::Good);
    EXPECT_EQ(VerdictOf(Bytes(100, 0x04)), SignalVerdict::Unclear);
}

TEST(SignalVerdict, AStreamWithoutSynchronisationIsGoodForUsAlone) {
    Bytes bytes;
    while (bytes.size() < 70000) bytes.insert(bytes.end(), {0x01, 'h', 0xC0, 0x05, 0x13, 1, 2, 3, 4});
    EXPECT_EQ(VerdictOf(bytes), SignalVerdict::GoodNoSync);
    bytes.resize(60000);
    EXPECT_EQ(VerdictOf(bytes), SignalVerdict::Good);
}

TEST(SignalVerdict, AStretchOfAnotherRateIsAReset) {
    Bytes bytes = Firmware(30000);
    const Bytes other = Received(Firmware(400), 0.5, 0);
    bytes.insert(bytes.begin() + 10000, other.begin(), other.end());
    const SignalFeatures features = Measure(bytes);
    EXPECT_EQ(Diagnose(features).verdict, SignalVerdict::ResetInBetween);
    EXPECT_NEAR(static_cast<double>(features.stretchOffset), 10000, 40);
}

TEST(SignalVerdict, BytesThatGoMissingNowAndThenDoNotChangeIt) {
    const Bytes whole = Firmware(40000);
    Bytes bytes;
    for (size_t i = 0; i < whole.size(); i += 5000) bytes.insert(bytes.end(), &whole[i], &whole[i] + 4700);
    EXPECT_EQ(VerdictOf(bytes), SignalVerdict::Good);
}

TEST(SignalVerdict, ChangedBytesEverywhereAreDamage) {
    Bytes bytes = Firmware(40000);
    for (size_t i = 50; i < bytes.size(); i += 97) bytes[i] = 0x04;
    EXPECT_EQ(VerdictOf(bytes), SignalVerdict::Damaged);
}

TEST(SignalVerdict, ErrorsThatTheDriverCountedAreTold) {
    SignalFeatures features = Measure(Firmware(20000));
    features.lineErrors = 0;
    EXPECT_EQ(Diagnose(features).verdict, SignalVerdict::Good);
    features.lineErrors = 5;
    EXPECT_EQ(Diagnose(features).verdict, SignalVerdict::LineErrors);
    features = Measure(Firmware(20000));
    features.validity = 0.9;
    features.readErrorLogged = true;
    EXPECT_EQ(Diagnose(features).verdict, SignalVerdict::LineErrors);
    SignalFeatures fast = Measure(Received(Firmware(20000), 2, 0));
    fast.lineErrors = 5;
    EXPECT_EQ(Diagnose(fast).verdict, SignalVerdict::RateTooHigh);
}

TEST(SignalVerdict, AWrongRateIsToldThoughThePortCountsErrorsAndItsReadsEnd) {
    const auto told = [](double ratio) {
        SignalFeatures features = Measure(Received(Firmware(20000), ratio, 0.03));
        features.lineErrors = 500;
        features.readErrorLogged = true;
        const SignalVerdict verdict = Diagnose(features).verdict;
        EXPECT_FALSE(IsUsable(features, verdict)) << ratio;
        return verdict;
    };
    EXPECT_EQ(told(0.5), SignalVerdict::RateTooLow);
    EXPECT_EQ(told(0.9), SignalVerdict::RateNear);
    EXPECT_EQ(told(1.1), SignalVerdict::RateNear);
    EXPECT_EQ(told(2), SignalVerdict::RateTooHigh);
}

/// Frames of one stream and padding.
Bytes Framed(const Bytes& stream, uint8_t id) {
    Bytes framed;
    bool first = true;
    for (size_t i = 0; i < stream.size();) {
        uint8_t aux = 0;
        for (unsigned place = 0; place < 15; ++place) {
            if (first) {
                framed.push_back(static_cast<uint8_t>(id << 1 | 1));
                first = false;
                continue;
            }
            const uint8_t byte = i < stream.size() ? stream[i] : 0;
            ++i;
            if (place % 2 == 0) {
                framed.push_back(byte & 0xFE);
                aux = static_cast<uint8_t>(aux | (byte & 1) << place / 2);
            } else {
                framed.push_back(byte);
            }
        }
        framed.push_back(aux);
        // A frame begins with its stream, so that the phase shows.
        first = true;
    }
    return framed;
}

TEST(SignalVerdict, FramesAreToldWithAndWithoutItm) {
    EXPECT_EQ(VerdictOf(Framed(Firmware(20000), 1)), SignalVerdict::TpiuFramed);
    std::mt19937 random(9);
    Bytes instructions(20000);
    for (uint8_t& byte : instructions) byte = static_cast<uint8_t>(random());
    EXPECT_EQ(VerdictOf(Framed(instructions, 2)), SignalVerdict::TpiuNoItm);
}

TEST(SignalVerdict, NamesAndWhatIsUsable) {
    EXPECT_EQ(SignalVerdictName(SignalVerdict::NoBytes), "no-bytes");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::GoodNoSync), "good-no-sync");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::TpiuFramed), "tpiu-framed");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::TpiuNoItm), "tpiu-no-itm");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::RateTooHigh), "rate-too-high");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::RateTooLow), "rate-too-low");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::RateNear), "rate-near");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::Manchester), "manchester");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::ResetInBetween), "reset-in-between");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::Noise), "noise");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::LineErrors), "line-errors");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::Damaged), "damaged");
    EXPECT_EQ(SignalVerdictName(SignalVerdict::Unclear), "unclear");
    SignalFeatures packets;
    packets.packets = 1;
    for (const auto verdict : {SignalVerdict::NoBytes, SignalVerdict::TpiuNoItm, SignalVerdict::RateTooHigh,
                               SignalVerdict::RateTooLow, SignalVerdict::RateNear, SignalVerdict::Manchester,
                               SignalVerdict::Noise}) {
        EXPECT_FALSE(IsUsable(packets, verdict)) << SignalVerdictName(verdict);
    }
    for (const auto verdict : {SignalVerdict::Good, SignalVerdict::GoodNoSync, SignalVerdict::TpiuFramed,
                               SignalVerdict::ResetInBetween, SignalVerdict::Damaged}) {
        EXPECT_TRUE(IsUsable({}, verdict)) << SignalVerdictName(verdict);
    }
    for (const auto verdict : {SignalVerdict::LineErrors, SignalVerdict::Unclear}) {
        EXPECT_TRUE(IsUsable(packets, verdict)) << SignalVerdictName(verdict);
        EXPECT_FALSE(IsUsable({}, verdict)) << SignalVerdictName(verdict);
    }
}

TEST(LineFeatures, MeasureWhatTheBytesAre) {
    const LineFeatures none = MeasureLine(Bytes{});
    EXPECT_EQ(none.bytes, 0u);
    EXPECT_EQ(none.entropy, 0);
    const LineFeatures equal = MeasureLine(Bytes(1000, 0x55));
    EXPECT_EQ(equal.entropy, 0);
    EXPECT_EQ(equal.shortRuns, 1);
    EXPECT_EQ(equal.innerRuns, 8000u);
    EXPECT_EQ(equal.bitSet[0], 1);
    EXPECT_EQ(equal.bitSet[1], 0);
    EXPECT_EQ(equal.pairEqual[3], 0);
    Bytes all;
    for (int i = 0; i < 256000; ++i) all.push_back(static_cast<uint8_t>(i));
    const LineFeatures every = MeasureLine(all);
    EXPECT_NEAR(every.entropy, 8, 1e-3);
    EXPECT_NEAR(every.zeros, 1.0 / 256, 1e-9);
    EXPECT_NEAR(every.ones, 1.0 / 256, 1e-9);
    EXPECT_NEAR(every.pairEqual[0], 0.5, 1e-9);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
