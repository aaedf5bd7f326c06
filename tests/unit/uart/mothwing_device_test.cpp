#include "tests/unit/uart/clock_reader_fixture.h"
#include "uart/device_clock_readers.h"

namespace {

using Korr::Plim::Trace::Tarnel::Tarnel_MothwingDevice;

class MothwingDevice : public clock_readers::ClockReader {
  protected:
    double Frequency(uint32_t cpuclkdiv) {
        Register("CPUCLKDIV", 0x600820B8, cpuclkdiv);
        return Tarnel_MothwingDevice("board/cpu", &identifier, &memory).GetFrequency();
    }
};

TEST_F(MothwingDevice, OnlyTheLowestBitOfTheDividerCounts) {
    EXPECT_EQ(Frequency(0), 48000000.0);
    EXPECT_EQ(Frequency(1), 24000000.0);
    EXPECT_EQ(Frequency(2), 48000000.0);
    EXPECT_EQ(Frequency(3), 24000000.0);
    EXPECT_EQ(Frequency(0xFFFFFFFE), 48000000.0);
    EXPECT_EQ(Frequency(0xFFFFFFFF), 24000000.0);
}

TEST_F(MothwingDevice, UnreadableRegisterIsTheClockError) {
    memory.failing.insert(0x600820B8);
    EXPECT_EQ(support::ErrorOf([&] { Frequency(0); }), clock_readers::kClockError);
}

TEST_F(MothwingDevice, LogsTheDivider) {
    Frequency(0x1F);
    EXPECT_EQ(log.Get(), std::vector<std::string>{"M Tarnel_MothwingDevice: CPUCLKDIV = 0x1f"});
}

}  // namespace
