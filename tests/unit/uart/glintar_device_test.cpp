#include "tests/unit/uart/clock_reader_fixture.h"
#include "uart/device_clock_readers.h"

namespace {

using clock_readers::kClockError;
using Korr::Plim::Trace::Tarnel::Tarnel_GlintarDevice;
using support::ErrorOf;

constexpr uint32_t kBypass = 1U << 11;
constexpr uint32_t kUseSysDiv = 1U << 22;
constexpr uint32_t kUseRcc2 = 1U << 31;
constexpr uint32_t kDiv400 = 1U << 30;
constexpr uint32_t kUsePll = 1U << 28;

class GlintarDevice : public clock_readers::ClockReader {
  protected:
    void SetClass(uint32_t deviceClass) { Register("DID0", 0x400FE000, Field(deviceClass, 16)); }
    double RunClock(uint32_t deviceClass, uint32_t rcc, uint32_t rcc2 = 0) {
        SetClass(deviceClass);
        Register("RCC", 0x400FE060, rcc);
        Register("RCC2", 0x400FE070, rcc2);
        return Tarnel_GlintarDevice("board/cpu", &identifier, &memory).GetFrequency();
    }
    double Rimefold(uint32_t rsclkcfg, uint32_t pllfreq0 = 0, uint32_t pllfreq1 = 0,
                    uint32_t deviceClass = 10) {
        SetClass(deviceClass);
        Register("RSCLKCFG", 0x400FE0B0, rsclkcfg);
        Register("PLLFREQ0", 0x400FE160, pllfreq0);
        Register("PLLFREQ1", 0x400FE164, pllfreq1);
        return Tarnel_GlintarDevice("board/cpu", &identifier, &memory).GetFrequency();
    }
    static uint32_t Crystal(uint32_t xtal) { return kBypass | Field(xtal, 6); }
    static uint32_t Oscillator2(uint32_t source) { return kUseRcc2 | kBypass | Field(source, 4); }
};

TEST_F(GlintarDevice, EachCrystalSelectionGivesItsFrequency) {
    const double crystals[] = {1e6,     1843200,  2e6,  2457600, 3579545,  3686400,  4e6,
                               4096000, 4915200,  5e6,  5120000, 6e6,      6144000,  7372800,
                               8e6,     8192000,  10e6, 12e6,    12288000, 13560000, 14318180,
                               16e6,    16384000, 18e6, 20e6,    24e6,     25e6};
    for (uint32_t xtal = 0; xtal <= 26; ++xtal) EXPECT_EQ(RunClock(5, Crystal(xtal)), crystals[xtal]) << xtal;
}

TEST_F(GlintarDevice, ReservedCrystalSelectionsThrow) {
    for (uint32_t xtal = 27; xtal <= 31; ++xtal) {
        EXPECT_EQ(ErrorOf([&] { RunClock(5, Crystal(xtal)); }), kClockError) << xtal;
    }
}

TEST_F(GlintarDevice, InternalOscillatorDependsOnTheClass) {
    EXPECT_EQ(RunClock(1, kBypass | Field(1, 4)), 12000000.0);
    EXPECT_EQ(RunClock(3, kBypass | Field(1, 4)), 12000000.0);
    EXPECT_EQ(RunClock(4, kBypass | Field(1, 4)), 16000000.0);
    EXPECT_EQ(RunClock(255, kBypass | Field(1, 4)), 16000000.0);
    EXPECT_EQ(RunClock(1, kBypass | Field(2, 4)), 3000000.0);
    EXPECT_EQ(RunClock(4, kBypass | Field(2, 4)), 4000000.0);
}

TEST_F(GlintarDevice, InternalOscillatorIsDividedWhenTheDividerIsInUse) {
    EXPECT_EQ(RunClock(1, kBypass | Field(1, 4) | kUseSysDiv | Field(2, 23)), 4000000.0);
    EXPECT_EQ(RunClock(1, kBypass | Field(1, 4) | Field(2, 23)), 12000000.0);
}

TEST_F(GlintarDevice, LowFrequencySources) {
    EXPECT_EQ(RunClock(5, kBypass | Field(3, 4)), 30000.0);
    EXPECT_EQ(RunClock(5, 0, Oscillator2(7)), 32768.0);
}

TEST_F(GlintarDevice, UnknownOscillatorSourcesThrow) {
    for (uint32_t source = 4; source <= 6; ++source) {
        EXPECT_EQ(ErrorOf([&] { RunClock(5, 0, Oscillator2(source)); }), kClockError) << source;
    }
}

TEST_F(GlintarDevice, PllGives200Or400MHz) {
    EXPECT_EQ(RunClock(5, 0), 200000000.0);
    EXPECT_EQ(RunClock(5, 0, kUseRcc2), 200000000.0);
    EXPECT_EQ(RunClock(5, 0, kUseRcc2 | kDiv400), 400000000.0);
    EXPECT_EQ(RunClock(5, 0, kDiv400), 200000000.0) << "without USERCC2 the 400 MHz bit has no meaning";
}

TEST_F(GlintarDevice, PllIsDividedByRcc) {
    EXPECT_EQ(RunClock(5, kUseSysDiv | Field(15, 23)), 200000000.0 / 16);
    EXPECT_EQ(RunClock(5, kUseSysDiv), 200000000.0);
}

TEST_F(GlintarDevice, Rcc2OverridesTheDivider) {
    EXPECT_EQ(RunClock(5, kUseSysDiv | Field(1, 23), kUseRcc2 | Field(63, 23)), 200000000.0 / 64);
    EXPECT_EQ(RunClock(5, kUseSysDiv | Field(1, 23), Field(63, 23)), 200000000.0 / 2);
}

TEST_F(GlintarDevice, DividerOf400MHzTakesAnotherBit) {
    EXPECT_EQ(RunClock(5, kUseSysDiv, kUseRcc2 | kDiv400 | Field(2, 23) | Field(1, 22)), 400000000.0 / 6);
    EXPECT_EQ(RunClock(5, kUseSysDiv, kUseRcc2 | kDiv400 | Field(2, 23)), 400000000.0 / 5);
    EXPECT_EQ(RunClock(5, 0, kUseRcc2 | kDiv400 | Field(2, 23) | Field(1, 22)), 400000000.0)
        << "the divider is switched by RCC bit 22, not by that of RCC2";
}

TEST_F(GlintarDevice, Rcc2OverridesBypassAndSource) {
    EXPECT_EQ(RunClock(5, Crystal(21), kUseRcc2), 200000000.0);
    EXPECT_EQ(RunClock(5, 0, kUseRcc2 | kBypass | Field(1, 4)), 16000000.0);
    EXPECT_EQ(RunClock(5, Field(21, 6), kUseRcc2 | kBypass), 16000000.0);
}

TEST_F(GlintarDevice, MainOscillatorAndPowerDownBitsPlayNoPart) {
    EXPECT_EQ(RunClock(5, Crystal(21) | 1U | (1U << 13)), 16000000.0);
}

TEST_F(GlintarDevice, RimefoldPllFollowsItsDividers) {
    EXPECT_EQ(Rimefold(kUsePll | 3, 96, 4), 76800000.0);
    EXPECT_EQ(Rimefold(kUsePll, 100 | Field(512, 10)), 16e6 * 100.5);
    EXPECT_EQ(Rimefold(kUsePll | 1, 96, Field(2, 8) | 3), 16e6 * 96 / 12 / 2);
    // What divides and names the source without the PLL makes no difference.
    const uint32_t otherSource = Field(0x3FF, 10) | Field(0xF, 20);
    EXPECT_EQ(Rimefold(kUsePll | otherSource | 3, 96, 4 | Field(7, 5)), 76800000.0);
}

TEST_F(GlintarDevice, RimefoldPllThatMultipliesByZeroGivesZero) { EXPECT_EQ(Rimefold(kUsePll), 0.0); }

TEST_F(GlintarDevice, RimefoldPllFieldsAreBounded) {
    EXPECT_EQ(Rimefold(kUsePll | 0x3FF, 0xFFFFFFFF, 0xFFFFFFFF),
              16e6 * (1023 + 1023.0 / 1024) / (32 * 32) / 1024);
}

TEST_F(GlintarDevice, RimefoldPllTakesOnlyTheInternalOscillator) {
    for (uint32_t source = 1; source <= 15; ++source) {
        EXPECT_EQ(ErrorOf([&] { Rimefold(kUsePll | Field(source, 24), 96, 4); }), kClockError) << source;
    }
}

TEST_F(GlintarDevice, RimefoldWithoutPllDividesTheInternalOscillator) {
    EXPECT_EQ(Rimefold(0), 16000000.0);
    EXPECT_EQ(Rimefold(Field(3, 10)), 4000000.0);
    EXPECT_EQ(Rimefold(Field(0x3FF, 10)), 16000000.0 / 1024);
}

TEST_F(GlintarDevice, RimefoldWithoutPllRefusesEveryOtherSource) {
    for (uint32_t source = 1; source <= 15; ++source) {
        EXPECT_EQ(ErrorOf([&] { Rimefold(Field(source, 20)); }), kClockError) << source;
    }
}

TEST_F(GlintarDevice, ClassesTenAndTwelveAreRimefold) {
    EXPECT_EQ(Rimefold(0, 0, 0, 12), 16000000.0);
    for (const uint32_t deviceClass : {0U, 9U, 11U, 13U, 255U}) {
        EXPECT_EQ(RunClock(deviceClass, 0), 200000000.0) << deviceClass;
    }
}

TEST_F(GlintarDevice, ClassIsTheThirdByteOfDid0) {
    Register("DID0", 0x400FE000, 0xFF0CFFFF);
    Register("RSCLKCFG", 4, 0);
    Register("PLLFREQ0", 8, 0);
    Register("PLLFREQ1", 12, 0);
    const Tarnel_GlintarDevice reader("board/cpu", &identifier, &memory);
    EXPECT_EQ(reader.DeviceClass(), 12u);
    EXPECT_EQ(reader.GetFrequency(), 16e6) << "a Rimefold";
}

TEST_F(GlintarDevice, RunClockFieldsTakeNothingFromTheirNeighbours) {
    // Each field at one value with all other bits of its register set, then the other way round.
    const uint32_t rccOthers = ~(kBypass | kUseSysDiv | Field(3, 4) | Field(31, 6) | Field(15, 23));
    EXPECT_EQ(RunClock(5, rccOthers | kBypass | Field(6, 6)), 4e6) << "OSCSRC 0, XTAL 6, no divider";
    EXPECT_EQ(RunClock(5, rccOthers | kBypass | Field(31, 6) | Field(2, 4)), 4e6) << "OSCSRC 2";
    EXPECT_EQ(RunClock(5, rccOthers | Field(3, 4) | Field(31, 6) | Field(15, 23)), 200e6) << "BYPASS 0";
    EXPECT_EQ(RunClock(5, rccOthers | kUseSysDiv | Field(3, 4) | Field(31, 6) | Field(4, 23)), 40e6)
        << "SYSDIV 4";
    const uint32_t rcc = kUseSysDiv | Field(3, 4) | Field(31, 6) | Field(15, 23);
    const uint32_t rcc2Others = ~(kDiv400 | kBypass | Field(7, 4) | Field(63, 23) | Field(1, 22));
    EXPECT_EQ(RunClock(5, rcc, rcc2Others | Field(7, 4) | Field(9, 23) | Field(1, 22)), 20e6) << "SYSDIV2 9";
    EXPECT_EQ(RunClock(5, rcc, rcc2Others | kDiv400 | Field(7, 4) | Field(9, 23)), 400e6 / 19)
        << "SYSDIV2 9, no low bit";
    EXPECT_EQ(RunClock(5, Field(31, 6), rcc2Others | kBypass | Field(1, 4) | Field(63, 23)), 16e6)
        << "OSCSRC2 1";
    EXPECT_EQ(RunClock(5, rcc, ~kUseRcc2), 200e6 / 16) << "without USERCC2 none of RCC2 counts";
}

TEST_F(GlintarDevice, TheDividerWorksOnEverySource) {
    const uint32_t divide = kUseSysDiv | Field(3, 23);
    EXPECT_EQ(RunClock(5, divide), 200e6 / 4);
    EXPECT_EQ(RunClock(5, divide, kUseRcc2 | kDiv400 | Field(3, 23)), 400e6 / 7);
    EXPECT_EQ(RunClock(5, divide | Crystal(21)), 16e6 / 4);
    EXPECT_EQ(RunClock(3, divide | kBypass | Field(1, 4)), 12e6 / 4);
    EXPECT_EQ(RunClock(5, divide | kBypass | Field(1, 4)), 16e6 / 4);
    EXPECT_EQ(RunClock(5, divide | kBypass | Field(2, 4)), 4e6 / 4);
    EXPECT_EQ(RunClock(5, divide | kBypass | Field(3, 4)), 30000.0 / 4);
    EXPECT_EQ(RunClock(5, divide, Oscillator2(7) | Field(3, 23)), 32768.0 / 4);
}

TEST_F(GlintarDevice, RimefoldFieldsTakeNothingFromTheirNeighbours) {
    const uint32_t others = ~(kUsePll | Field(15, 24) | Field(15, 20) | Field(0x3FF, 10) | 0x3FFU);
    EXPECT_EQ(Rimefold(others | Field(15, 24) | Field(9, 10) | 0x3FFU), 1.6e6) << "OSCSRC 0, OSYSDIV 9";
    EXPECT_EQ(Rimefold(others | kUsePll | Field(15, 20) | Field(0x3FF, 10) | 4U, 5), 16e6) << "PSYSDIV 4";
    EXPECT_EQ(Rimefold(kUsePll, ~Field(0x3FF, 10)), 16e6 * 1023) << "MFRAC 0";
    EXPECT_EQ(Rimefold(kUsePll, ~0x3FFU), 16e6 * (1023.0 / 1024)) << "MINT 0";
    EXPECT_EQ(Rimefold(kUsePll, 96, ~0x1FU), 16e6 * 96 / 32) << "N 0, Q 31";
    EXPECT_EQ(Rimefold(kUsePll, 96, ~Field(31, 8)), 16e6 * 96 / 32) << "Q 0, N 31";
}

TEST_F(GlintarDevice, ReadsAndLogsTheRunClockRegisters) {
    RunClock(5, 0);
    const std::vector<std::string> calls = {"GetDeviceInformation(board/cpu)", "ReadMemory(0x400FE000)",
                                            "ReadMemory(0x400FE060)", "ReadMemory(0x400FE070)"};
    EXPECT_EQ(journal.Calls(), calls);
    EXPECT_EQ(log.Get(),
              std::vector<std::string>{"M Tarnel_GlintarDevice: DID0 addr = 0x400fe000 value = 0x50000"});
}

TEST_F(GlintarDevice, ReadsAndLogsTheRimefoldRegisters) {
    Rimefold(0);
    const std::vector<std::string> calls = {"GetDeviceInformation(board/cpu)", "ReadMemory(0x400FE000)",
                                            "ReadMemory(0x400FE0B0)", "ReadMemory(0x400FE160)",
                                            "ReadMemory(0x400FE164)"};
    EXPECT_EQ(journal.Calls(), calls);
    const std::vector<std::string> lines = {"M Tarnel_GlintarDevice: DID0 addr = 0x400fe000 value = 0xa0000",
                                            "M Tarnel_GlintarDevice: Rimefold"};
    EXPECT_EQ(log.Get(), lines);
}

TEST_F(GlintarDevice, UnreadableRegisterIsTheClockErrorButTheClassIsThere) {
    memory.failing.insert(0x400FE070);
    EXPECT_EQ(ErrorOf([&] { RunClock(5, 0); }), kClockError);
    EXPECT_EQ(Tarnel_GlintarDevice("board/cpu", &identifier, &memory).DeviceClass(), 5u);
    memory.failing = {0x400FE060};
    EXPECT_EQ(ErrorOf([&] { RunClock(5, 0); }), kClockError);
}

TEST_F(GlintarDevice, UnreadableClassIsTheClockErrorAndLoggedAsZero) {
    memory.failing.insert(0x400FE000);
    EXPECT_EQ(ErrorOf([&] { RunClock(10, 0); }), kClockError);
    EXPECT_EQ(log.Get(),
              std::vector<std::string>{"M Tarnel_GlintarDevice: DID0 addr = 0x400fe000 value = 0x0"});
}

TEST_F(GlintarDevice, UnreadablePllIsTheClockErrorOnlyWhereItIsUsed) {
    for (const uint32_t unreadable : {0x400FE160U, 0x400FE164U}) {
        memory.failing = {unreadable};
        EXPECT_EQ(Rimefold(0), 16e6);
        EXPECT_EQ(ErrorOf([&] { Rimefold(kUsePll, 96, 4); }), kClockError);
    }
    memory.failing = {0x400FE0B0};
    EXPECT_EQ(ErrorOf([&] { Rimefold(0); }), kClockError);
}

}  // namespace
