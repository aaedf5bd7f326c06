#include "uart/prescaler_calibration.h"
#include "simulator/pelkit/error_reading.h"

#include <cmath>
#include <limits>

#include "tests/unit/uart/collector_fixture.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();
const std::string kNotCalibrated =
    "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings";

class PrescalerCalibration : public CollectorTest {
  protected:
    void SetUp() override {
        OpenLog();
        serialPort.Open(5);
        ASSERT_TRUE(serialPort.GetState(saved));
    }
    void Configure() { ConfigurePort(serialPort, saved, traceClock, autoPrescaler, prescaler, baudRate); }
    std::string Refusal() {
        try {
            Configure();
        } catch (const cPelkitError& error) {
            EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
            return pelkit::TextOf(error);
        }
        ADD_FAILURE() << "the port was configured";
        return std::string();
    }
    void Search(double clock) {
        traceClock = clock;
        autoPrescaler = true;
        Configure();
    }

    // A collector does it.
    void OpenLog() {
        fakes::ScriptedPorts::Plug(6);
        uint32_t any = 0;
        { const UARTDataCollector collector(6, 48e6, false, any, kFile, false); }
        fakes::ScriptedCalls::Instance().Reset();
        ForgetLines();
    }

    SerialPort serialPort;
    LineState saved;
    uint32_t baudRate = 0;
};

TEST(TruncateRate, DropsTheFraction) {
    EXPECT_EQ(TruncateRate(80e6 / 3.0), 26666666U);
    EXPECT_EQ(TruncateRate(0.999), 0U);
    EXPECT_EQ(TruncateRate(1.0), 1U);
    EXPECT_EQ(TruncateRate(4294967294.99), 4294967294U);
}

TEST(TruncateRate, IsZeroWithoutAPositiveRate) {
    EXPECT_EQ(TruncateRate(0.0), 0U);
    EXPECT_EQ(TruncateRate(-0.0), 0U);
    EXPECT_EQ(TruncateRate(-48e6), 0U);
    EXPECT_EQ(TruncateRate(-std::numeric_limits<double>::infinity()), 0U);
    EXPECT_EQ(TruncateRate(std::nan("")), 0U);
}

TEST(TruncateRate, IsTheLargestNumberForWhateverDoesNotFit) {
    EXPECT_EQ(TruncateRate(4294967295.0), kLargest);
    EXPECT_EQ(TruncateRate(4294967296.0), kLargest);
    EXPECT_EQ(TruncateRate(1e300), kLargest);
    EXPECT_EQ(TruncateRate(std::numeric_limits<double>::infinity()), kLargest);
}

TEST_F(PrescalerCalibration, AsksForTheTruncatedRate) {
    traceClock = 48e6;
    prescaler = 0;
    Configure();
    EXPECT_EQ(baudRate, 48000000U);
    prescaler = 24;
    Configure();
    EXPECT_EQ(baudRate, 1920000U);
    traceClock = 80e6;
    prescaler = 2;
    Configure();
    EXPECT_EQ(baudRate, 26666666U);
    EXPECT_EQ(port.Asked().back().baudRate, 26666666U);
}

TEST_F(PrescalerCalibration, TheLargestPrescalerDoesNotWrap) {
    prescaler = kLargest;
    traceClock = 4294967296.0 * 9600.0;
    Configure();
    EXPECT_EQ(baudRate, 9600U);
    EXPECT_EQ(prescaler, kLargest);
}

TEST_F(PrescalerCalibration, AsksForADefinedRateWhateverTheClock) {
    prescaler = 0;
    const std::pair<double, uint32_t> clocks[] = {
        {0.0, 0}, {-1.0, 0}, {std::nan(""), 0}, {1e300, kLargest}, {0.5, 0}};
    for (const auto& [clock, rate] : clocks) {
        traceClock = clock;
        Configure();
        EXPECT_EQ(baudRate, rate) << clock;
        EXPECT_EQ(port.Asked().back().baudRate, rate) << clock;
    }
}

TEST_F(PrescalerCalibration, SetsTheCaptureLineAndKeepsAllOtherMembersAsFound) {
    Configure();
    ASSERT_EQ(port.Asked().size(), 1U);
    const LineState asked = port.Asked().front();
    EXPECT_EQ(asked.length, 28U);
    EXPECT_EQ(asked.baudRate, 1920000U);
    EXPECT_EQ(asked.dataBits, 8);
    EXPECT_EQ(asked.parity, 0);
    EXPECT_EQ(asked.stopBits, 0);
    EXPECT_TRUE(asked.binary);
    EXPECT_FALSE(asked.checkParity);
    EXPECT_FALSE(asked.ctsFlow);
    EXPECT_FALSE(asked.dsrFlow);
    EXPECT_EQ(asked.dtrControl, 0);
    EXPECT_FALSE(asked.dsrSensitivity);
    EXPECT_FALSE(asked.xoffOutput);
    EXPECT_FALSE(asked.xoffInput);
    EXPECT_FALSE(asked.discardNull);
    EXPECT_EQ(asked.rtsControl, 0);
    EXPECT_TRUE(asked.abortOnError);
    EXPECT_EQ(asked.native, fakes::ScriptedPort::ForeignLine().native);
}

TEST_F(PrescalerCalibration, ManualPrescalerNeverLooksAtThePortsRate) {
    port.rateTaken = [](uint32_t) { return 300U; };
    Fail("port.GetState", 31);
    Configure();
    EXPECT_EQ(prescaler, 24U);
    EXPECT_EQ(baudRate, 1920000U);
    EXPECT_EQ(Count("port.GetState"), 1U);  // that of this fixture
    EXPECT_TRUE(NewLines().empty());
}

TEST_F(PrescalerCalibration, PortThatTakesEveryRateGetsPrescalerZero) {
    Search(48000000.75);
    EXPECT_EQ(prescaler, 0U);
    EXPECT_EQ(baudRate, 48000000U);
    EXPECT_EQ(port.Asked().size(), 1U);
    EXPECT_EQ(NewLines(), std::vector<std::string>{Ordinary("Auto Prescalar is = 0")});
}

TEST_F(PrescalerCalibration, PortLimitedToThreeMegabaudGetsPrescalerFifteen) {
    port.rateTaken = [](uint32_t asked) { return std::min(asked, 3000000U); };
    Search(48e6);
    EXPECT_EQ(prescaler, 15U);
    EXPECT_EQ(baudRate, 3000000U);
    const std::vector<LineState> asked = port.Asked();
    ASSERT_EQ(asked.size(), 16U);
    for (uint32_t tried = 0; tried < asked.size(); ++tried) {
        EXPECT_EQ(asked[tried].baudRate, 48000000U / (tried + 1)) << tried;
    }
    EXPECT_EQ(NewLines(), std::vector<std::string>{Ordinary("Auto Prescalar is = 15")});
}

TEST_F(PrescalerCalibration, RateFivePercentBelowIsTaken) {
    port.rateTaken = [](uint32_t asked) { return asked == 1000000 ? 950000U : 1U; };
    Search(1e6);
    EXPECT_EQ(prescaler, 0U);
}

TEST_F(PrescalerCalibration, RateAThousandthPercentMoreBelowIsRefused) {
    port.rateTaken = [](uint32_t asked) { return asked == 1000000 ? 949999U : asked; };
    Search(1e6);
    EXPECT_EQ(prescaler, 1U);
}

TEST_F(PrescalerCalibration, RateFivePercentAboveIsTaken) {
    port.rateTaken = [](uint32_t asked) { return asked == 1000000 ? 1050000U : 1U; };
    Search(1e6);
    EXPECT_EQ(prescaler, 0U);
}

TEST_F(PrescalerCalibration, RateAThousandthPercentMoreAboveIsRefused) {
    port.rateTaken = [](uint32_t asked) { return asked == 1000000 ? 1050001U : asked; };
    Search(1e6);
    EXPECT_EQ(prescaler, 1U);
}

TEST_F(PrescalerCalibration, ComparesTheUntruncatedRequest) {
    // 10.5 Hz are asked for as 10. A reported 10 deviates by 4.76 %, a reported 11 by as much; against a
    // truncated request 11 would deviate by 10 %.
    port.rateTaken = [](uint32_t asked) { return asked == 10 ? 11U : 1000U; };
    Search(10.5);
    EXPECT_EQ(prescaler, 0U);
    EXPECT_EQ(baudRate, 10U);
}

TEST_F(PrescalerCalibration, ExactAnswerToATruncatedRequestCanBeTooFarOff) {
    // 1.9 Hz are asked for as 1, and 1 deviates from 1.9 by 47 %: no prescaler helps.
    traceClock = 1.9;
    autoPrescaler = true;
    EXPECT_EQ(Refusal(), kNotCalibrated);
}

TEST_F(PrescalerCalibration, SearchKeepsTheMembersThatThePortReported) {
    port.rateTaken = [](uint32_t asked) { return asked == 1000000 ? 1U : asked; };
    port.lineTaken = [](LineState& line) {
        line.xoffOutput = true;
        line.native[7] = std::byte{99};
    };
    Search(1e6);
    ASSERT_EQ(port.Asked().size(), 2U);
    const LineState second = port.Asked()[1];
    EXPECT_EQ(second.baudRate, 500000U);
    EXPECT_EQ(second.dataBits, 8);
    EXPECT_TRUE(second.xoffOutput);
    EXPECT_EQ(second.native[7], std::byte{99});
}

TEST_F(PrescalerCalibration, ExhaustedSearchThrowsSilentlyAndLeavesThePortOpen) {
    port.rateTaken = [](uint32_t) { return 4000000000U; };
    traceClock = 48e6;
    autoPrescaler = true;
    EXPECT_EQ(Refusal(), kNotCalibrated);
    EXPECT_EQ(prescaler, 8191U);
    EXPECT_EQ(baudRate, 48000000U / 8192U);
    EXPECT_EQ(port.Asked().size(), 8192U);
    EXPECT_TRUE(port.IsOpen());
    EXPECT_TRUE(serialPort.IsOpen());
    EXPECT_TRUE(NewLines().empty());
}

TEST_F(PrescalerCalibration, SearchAcceptsTheLastPrescaler) {
    port.rateTaken = [](uint32_t asked) { return asked == 81920000U / 8192U ? asked : 4000000000U; };
    Search(81920000.0);
    EXPECT_EQ(prescaler, 8191U);
    EXPECT_EQ(baudRate, 10000U);
}

TEST_F(PrescalerCalibration, SearchWithoutAUsableClockIsExhausted) {
    autoPrescaler = true;
    const double infinite = std::numeric_limits<double>::infinity();
    for (const double clock : {0.0, -48e6, std::nan(""), 1e300, infinite, -infinite}) {
        traceClock = clock;
        EXPECT_EQ(Refusal(), kNotCalibrated) << clock;
        EXPECT_TRUE(port.IsOpen());
    }
}

TEST_F(PrescalerCalibration, SearchStartsAtZeroWhateverWasGiven) {
    prescaler = 77;
    Search(48e6);
    EXPECT_EQ(prescaler, 0U);
    EXPECT_EQ(port.Asked().front().baudRate, 48000000U);
}

TEST_F(PrescalerCalibration, RefusedLineClosesThePort) {
    Fail("port.SetState", 87);
    EXPECT_EQ(Refusal(), "Failed to set requested COM port state");
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(NewLines(), std::vector<std::string>{Error("Failed to set Comm state with error code = 87")});
}

TEST_F(PrescalerCalibration, UnreadableAnswerClosesThePort) {
    autoPrescaler = true;
    Fail("port.GetState", 31);
    EXPECT_EQ(Refusal(), kNotCalibrated);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(NewLines(),
              std::vector<std::string>{Error("Failed to get programmed Comm state with error code = 31")});
}

TEST_F(PrescalerCalibration, InvalidAnswerClosesThePort) {
    autoPrescaler = true;
    port.invalidStates = {2};
    fakes::ScriptedCalls::LastError() = 13;
    EXPECT_EQ(Refusal(), kNotCalibrated);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(NewLines(),
              std::vector<std::string>{Error("Failed to get programmed Comm state with error code = 13")});
}

TEST_F(PrescalerCalibration, RefusalDuringTheSearchClosesThePort) {
    autoPrescaler = true;
    port.rateTaken = [](uint32_t) { return 1U; };
    Fail("port.SetState", 87, 3);
    EXPECT_EQ(Refusal(),
              "Failed to configure COM port during prescalar calibration. Please set prescalar manually in "
              "Receiver settings");
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(prescaler, 2U);
    EXPECT_EQ(NewLines(), std::vector<std::string>{Error("Failed to set Comm state with error code = 87")});
}

TEST_F(PrescalerCalibration, LoggedErrorNumberIsTheOneAfterTheClose) {
    Fail("port.SetState", 87);
    Fail("port.Close", 6);
    EXPECT_EQ(Refusal(), "Failed to set requested COM port state");
    EXPECT_EQ(LastLine(), Error("Failed to set Comm state with error code = 6"));
}

TEST_F(PrescalerCalibration, LoggedErrorNumberOfTheSearchIsTheOneAfterTheClose) {
    autoPrescaler = true;
    Fail("port.GetState", 31);
    Fail("port.Close", 6);
    EXPECT_EQ(Refusal(), kNotCalibrated);
    EXPECT_EQ(LastLine(), Error("Failed to get programmed Comm state with error code = 6"));
}

TEST_F(PrescalerCalibration, LoggedErrorNumberOfARefusedSearchRateIsTheOneAfterTheClose) {
    autoPrescaler = true;
    port.rateTaken = [](uint32_t) { return 1U; };
    Fail("port.SetState", 87, 2);
    Fail("port.Close", 6);
    Refusal();
    EXPECT_EQ(LastLine(), Error("Failed to set Comm state with error code = 6"));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
