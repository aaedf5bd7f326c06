#include <cmath>
#include <limits>

#include "tests/unit/uart/clock_reader_fixture.h"
#include "uart/device_clock_readers.h"

namespace {

using clock_readers::kClockError;
using Korr::Plim::Trace::Tarnel::Tarnel_FerrinDevice;
using support::ErrorOf;

constexpr uint32_t kTable = 0x00201000;
constexpr uint32_t kConstantWord = kTable + 100;
constexpr uint32_t kCalibrationWord = kTable + 76;
constexpr uint32_t kTuneMinusOne = 0x1FFF;

class FerrinDevice : public clock_readers::ClockReader {
  protected:
    void SetUp() override {
        Set(0, 0);
        identifier.AddClockRegister("TLVBASE", kTable);
    }
    void Set(uint32_t csctl0, uint32_t csctl1, uint32_t csclken = 0) {
        Register("CSCTL0", 0x40010404, csctl0);
        Register("CSCTL1", 0x40010408, csctl1);
        Register("CSCTL2", 0x4001040C, 0x22);
        Register("CSCTL3", 0x40010410, 0x33);
        Register("CSCLKEN", 0x40010430, csclken);
    }
    void SetDco(uint32_t range, uint32_t tune) { Set(Field(range, 16) | tune, 3); }
    void SetCalibration(float constant, uint32_t calibration) {
        memory.words[kConstantWord] = std::bit_cast<uint32_t>(constant);
        memory.words[kCalibrationWord] = calibration;
    }
    double Frequency() { return Tarnel_FerrinDevice("board/cpu", &identifier, &memory).GetFrequency(); }
};

TEST_F(FerrinDevice, EachSourceGivesItsFrequency) {
    Set(0, 0);
    EXPECT_EQ(Frequency(), 32768.0);
    Set(0, 1);
    EXPECT_EQ(Frequency(), 10240.0);
    Set(0, 2);
    EXPECT_EQ(Frequency(), 32768.0);
    Set(0, 2, 0x8000);
    EXPECT_EQ(Frequency(), 131072.0);
    Set(0, 2, ~0x8000U);
    EXPECT_EQ(Frequency(), 32768.0);
    Set(0, 4);
    EXPECT_EQ(Frequency(), 25165824.0);
}

TEST_F(FerrinDevice, UnknownSourcesThrowEvenWhenEveryRegisterWasRead) {
    for (uint32_t selm = 5; selm <= 7; ++selm) {
        Set(0, selm);
        const Tarnel_FerrinDevice reader("board/cpu", &identifier, &memory);
        EXPECT_EQ(ErrorOf([&] { reader.GetFrequency(); }), kClockError) << selm;
    }
}

TEST_F(FerrinDevice, DividesByEachPowerOfTwo) {
    for (uint32_t divm = 0; divm <= 7; ++divm) {
        Set(0, 4 | Field(divm, 16));
        EXPECT_EQ(Frequency(), 25165824.0 / std::pow(2.0, divm)) << divm;
    }
}

TEST_F(FerrinDevice, UntunedDcoRunsAtTheCentreOfItsRange) {
    const double centres[] = {1.5e6, 3e6, 6e6, 12e6, 24e6, 48e6, 1.5e6, 1.5e6};
    for (uint32_t range = 0; range < 8; ++range) {
        SetDco(range, 0);
        EXPECT_EQ(Frequency(), centres[range]) << range;
    }
}

TEST_F(FerrinDevice, UntunedDcoIsDividedWithoutReadingTheDescriptorTable) {
    Set(Field(3, 16), 3 | Field(2, 16));
    EXPECT_EQ(Frequency(), 12000000.0 / 4);
    EXPECT_EQ(journal.Count("ReadMemory"), 5u);
}

TEST_F(FerrinDevice, TuneIsATwosComplementNumber) {
    SetCalibration(0.5F, 768);  // 1 - 0.5 * tune / 8
    SetDco(3, kTuneMinusOne);
    EXPECT_EQ(Frequency(), 12e6 / 1.0625);
    SetDco(3, 1);
    EXPECT_EQ(Frequency(), 12e6 / 0.9375);
    SetCalibration(1.0F / 1024, 768);
    SetDco(3, 0x1000);
    EXPECT_EQ(Frequency(), 12e6 / 1.5);
    SetDco(3, 0x0FFF);
    EXPECT_EQ(Frequency(), 12e6 / (1.0 - 4095.0 / 8192.0));
}

TEST_F(FerrinDevice, CalibrationShiftsTheTuning) {
    SetCalibration(0.25F, 764);  // 1 - 0.25 * 4 / (8 * (1 + 0.25 * 4))
    SetDco(2, 4);
    EXPECT_EQ(Frequency(), 6e6 / 0.9375);
}

TEST_F(FerrinDevice, TunedDcoIsComputedInSinglePrecision) {
    SetCalibration(0.00287F, 711);
    SetDco(4, 37);
    const float constant = 0.00287F;
    const float divisor = 1.0F - constant * 37.0F / (8.0F * (1.0F + constant * 57.0F));
    EXPECT_EQ(Frequency(), 24e6 / static_cast<double>(divisor));
    const double precise = 24e6 / (1.0 - 0.00287 * 37.0 / (8.0 * (1.0 + 0.00287 * 57.0)));
    EXPECT_NE(Frequency(), precise);
    EXPECT_NEAR(Frequency(), precise, 10.0);
}

TEST_F(FerrinDevice, TheInternalResistorCalibrationIsAlwaysUsed) {
    SetCalibration(0.5F, 768);
    for (const uint32_t flag : {0U, 0x00010000U, 0x00400000U, 0x80000000U}) {
        Set(flag | 1, 3);
        Frequency();
    }
    for (const std::string& call : journal.Calls()) {
        EXPECT_NE(call, "ReadMemory(" + fakes::Hexadecimal(kTable + 132) + ")");
        EXPECT_NE(call, "ReadMemory(" + fakes::Hexadecimal(kTable + 108) + ")");
    }
    EXPECT_EQ(journal.Count("ReadMemory"), 4u * 7);
}

TEST_F(FerrinDevice, InfiniteFrequencyIsTheClockError) {
    SetCalibration(8.0F, 768);  // 1 - 8 * 1 / 8
    SetDco(3, 1);
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError);
}

TEST_F(FerrinDevice, CalibrationThatIsNoNumberIsTheClockError) {
    SetDco(3, 1);
    for (const float constant :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        SetCalibration(constant, 0);
        EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError);
    }
}

TEST_F(FerrinDevice, InfiniteDivisorGivesTheClockErrorForAResultOfZero) {
    SetCalibration(-1.0F, 767);  // 1 + 1 / (8 * 0)
    SetDco(3, 1);
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError);
}

TEST_F(FerrinDevice, NegativeFrequencyIsReturnedAsItIs) {
    SetCalibration(16.0F, 768);  // 1 - 16 / 8
    SetDco(3, 1);
    EXPECT_EQ(Frequency(), -12e6);
}

TEST_F(FerrinDevice, ExtremeCalibrationWordsHaveADefinedResult) {
    SetDco(5, 0x1000);
    for (const uint32_t calibration : {0U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SetCalibration(1.0F, calibration);
        EXPECT_TRUE(std::isfinite(Frequency())) << calibration;
    }
}

TEST_F(FerrinDevice, DescriptorTableAddressWrapsAt32Bits) {
    identifier.AddClockRegister("TLVBASE", 0xFFFFFFFF);
    memory.words[99] = std::bit_cast<uint32_t>(0.5F);
    memory.words[75] = 768;
    SetDco(3, 1);
    EXPECT_EQ(Frequency(), 12e6 / 0.9375);
}

TEST_F(FerrinDevice, ReadsItsRegistersInOrderAndLogsThem) {
    Set(0x11, 0x20001, 0x44);
    Tarnel_FerrinDevice("board/cpu", &identifier, &memory).GetFrequency();
    const std::vector<std::string> expected = {"GetDeviceInformation(board/cpu)", "ReadMemory(0x40010404)",
                                               "ReadMemory(0x40010408)",          "ReadMemory(0x4001040C)",
                                               "ReadMemory(0x40010410)",          "ReadMemory(0x40010430)"};
    EXPECT_EQ(journal.Calls(), expected);
    const std::vector<std::string> lines = {
        "M Tarnel_FerrinDevice: CSCTL0 = 0x11, CSCTL1 = 0x20001, CSCTL2 = 0x22, CSCTL3 = 0x33, CSCLKEN = "
        "0x44, TLVBASE = 0x201000",
        "M Tarnel_FerrinDevice: selm = 1, divm = 2"};
    EXPECT_EQ(log.Get(), lines);
}

TEST_F(FerrinDevice, UnreadableRegisterIsTheClockErrorOnlyWhereItIsUsed) {
    memory.failing = {0x40010408};
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError) << "CSCTL1";
    memory.failing = {0x40010430};
    EXPECT_EQ(Frequency(), 32768.0) << "CSCLKEN with SELM 0";
    Set(0, 2);
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError) << "CSCLKEN with SELM 2";
    memory.failing = {0x40010404};
    EXPECT_EQ(Frequency(), 32768.0) << "CSCTL0 with SELM 2";
    SetDco(3, 0);
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError) << "CSCTL0 with SELM 3";
}

TEST_F(FerrinDevice, RegistersThatAreOnlyLoggedMayBeUnreadable) {
    memory.failing = {0x4001040C, 0x40010410};
    SetDco(3, 0);
    EXPECT_EQ(Frequency(), 12e6);
    EXPECT_TRUE(
        log.Has("M Tarnel_FerrinDevice: CSCTL0 = 0x30000, CSCTL1 = 0x3, CSCTL2 = 0x0, CSCTL3 = 0x0, "
                "CSCLKEN = 0x0, TLVBASE = 0x201000"));
}

TEST_F(FerrinDevice, FieldsTakeNothingFromTheirNeighbours) {
    SetCalibration(0.5F, 768);
    Set(~Field(7, 16) & ~0x1FFFU, 3);
    EXPECT_EQ(Frequency(), 1.5e6) << "DCORSEL 0 and DCOTUNE 0";
    Set(~Field(7, 16), 3);
    EXPECT_EQ(Frequency(), 1.5e6 / 1.0625) << "DCORSEL 0 and DCOTUNE -1";
    Set(~0x1FFFU, 3);
    EXPECT_EQ(Frequency(), 1.5e6) << "DCORSEL 7 and DCOTUNE 0";
    Set(0, ~7U);
    EXPECT_EQ(Frequency(), 32768.0 / 128) << "SELM 0 and DIVM 7";
    Set(0, ~Field(7, 16) & ~3U);
    EXPECT_EQ(Frequency(), 25165824.0) << "SELM 4 and DIVM 0";
}

TEST_F(FerrinDevice, DcoIsDividedWhetherItIsTunedOrNot) {
    SetCalibration(0.5F, 768);
    for (uint32_t divm = 0; divm <= 7; ++divm) {
        Set(Field(3, 16), 3 | Field(divm, 16));
        EXPECT_EQ(Frequency(), 12e6 / std::pow(2.0, divm)) << divm;
        Set(Field(3, 16) | kTuneMinusOne, 3 | Field(divm, 16));
        EXPECT_EQ(Frequency(), 12e6 / 1.0625 / std::pow(2.0, divm)) << divm;
    }
}

TEST_F(FerrinDevice, CalibrationIsASignedNumber) {
    SetCalibration(0.25F, static_cast<uint32_t>(-4));  // 1 - 0.25 * 772 / (8 * (1 + 0.25 * 772))
    SetDco(2, 772);
    EXPECT_EQ(Frequency(), 6e6 / static_cast<double>(1.0F - 193.0F / 1552.0F));
    SetCalibration(0.25F, 776);  // 1 - 0.25 * 1 / (8 * (1 - 0.25 * 8))
    SetDco(2, 1);
    EXPECT_EQ(Frequency(), 6e6 / 1.03125);
}

TEST_F(FerrinDevice, TheConstantIsReadBeforeTheCalibration) {
    SetCalibration(0.5F, 768);
    SetDco(3, 1);
    const Tarnel_FerrinDevice reader("board/cpu", &identifier, &memory);
    journal.Clear();
    reader.GetFrequency();
    const std::vector<std::string> reads = {"ReadMemory(" + fakes::Hexadecimal(kConstantWord) + ")",
                                            "ReadMemory(" + fakes::Hexadecimal(kCalibrationWord) + ")"};
    EXPECT_EQ(journal.Calls(), reads);
}

TEST_F(FerrinDevice, UnreadableCalibrationIsTheClockErrorOnlyWhereItIsUsed) {
    SetDco(3, 0);
    memory.failing = {kConstantWord, kCalibrationWord};
    EXPECT_EQ(Frequency(), 12e6);
    SetDco(3, kTuneMinusOne);
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError);
    SetCalibration(0.0F, 0);
    memory.failing = {kCalibrationWord};
    EXPECT_EQ(ErrorOf([&] { Frequency(); }), kClockError);
}

}  // namespace
