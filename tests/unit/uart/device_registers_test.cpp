#include "uart/device_registers.h"

#include <type_traits>

#include "tests/unit/uart/clock_reader_fixture.h"
#include "uart/device_clock_readers.h"

namespace {

using clock_readers::kNoInformation;
using clock_readers::kNoModule;
using Korr::Plim::Trace::Tarnel::ClockRegisters;
using Korr::Plim::Trace::Tarnel::Tarnel_FerrinDevice;
using Korr::Plim::Trace::Tarnel::Tarnel_GlintarDevice;
using Korr::Plim::Trace::Tarnel::Tarnel_MothwingDevice;
using support::ErrorOf;

class DeviceRegisters : public clock_readers::ClockReader {
  protected:
    template <typename Reader>
    std::string ConstructionError() {
        return ErrorOf([&] { Reader("board/cpu", &identifier, &memory); });
    }
    fakes::FakeDeviceModule& FakeModule() { return identifier.information.modules["MOD_SYSCLK"]; }
    uint32_t Address(const std::string& text) {
        FakeModule().registers["R"] = text;
        return ClockRegisters("board/cpu", &identifier, &memory).Address("R");
    }
};

TEST_F(DeviceRegisters, DeviceWithoutInformationCannotBeParsed) {
    identifier.hasInformation = false;
    EXPECT_EQ(ConstructionError<Tarnel_FerrinDevice>(), kNoInformation);
    EXPECT_EQ(ConstructionError<Tarnel_MothwingDevice>(), kNoInformation);
    EXPECT_EQ(ConstructionError<Tarnel_GlintarDevice>(), kNoInformation);
}

TEST_F(DeviceRegisters, MissingSourceAndMissingNameCannotBeParsed) {
    EXPECT_EQ(ErrorOf([&] { ClockRegisters("board/cpu", nullptr, &memory); }), kNoInformation);
    EXPECT_EQ(ErrorOf([&] { ClockRegisters(nullptr, &identifier, &memory); }), kNoInformation);
}

TEST_F(DeviceRegisters, DeviceWithoutClockModuleIsUndetermined) {
    identifier.information.modules["MOD_OTHER"].registers["CSCTL0"] = "1";
    EXPECT_EQ(ConstructionError<Tarnel_FerrinDevice>(), kNoModule);
    EXPECT_EQ(ConstructionError<Tarnel_MothwingDevice>(), kNoModule);
    EXPECT_EQ(ConstructionError<Tarnel_GlintarDevice>(), kNoModule);
}

TEST_F(DeviceRegisters, RegisterThatTheModuleDoesNotHaveIsUndetermined) {
    identifier.AddClockRegister("OTHER", 4);
    EXPECT_EQ(ConstructionError<Tarnel_FerrinDevice>(), kNoModule);
    EXPECT_EQ(ConstructionError<Tarnel_MothwingDevice>(), kNoModule);
    EXPECT_EQ(ConstructionError<Tarnel_GlintarDevice>(), kNoModule);
    EXPECT_EQ(journal.Count("ReadMemory"), 0u);
}

TEST_F(DeviceRegisters, AddressesAreHexadecimalText) {
    EXPECT_EQ(Address("400FE060"), 0x400FE060u);
    EXPECT_EQ(Address("0x400fe060"), 0x400FE060u);
    EXPECT_EQ(Address("ffffffff"), 0xFFFFFFFFu);
}

TEST_F(DeviceRegisters, AddressTextThatIsNoNumberIsZeroAndALargeOneIsCut) {
    EXPECT_EQ(Address("register"), 0u);
    EXPECT_EQ(Address("100000000"), 0xFFFFFFFFu);
    EXPECT_EQ(Address("123456789ABCDEF0123"), 0xFFFFFFFFu);
}

TEST_F(DeviceRegisters, EachRegisterIsLookedUpOnceInTheOrderOfItsReader) {
    using Names = std::vector<std::string>;
    const auto lookUps = [this](const Names& names, auto read) {
        FakeModule() = fakes::FakeDeviceModule();
        for (const std::string& name : names) identifier.AddClockRegister(name, 4);
        read();
        return FakeModule().asked;
    };
    const auto construct = [this]<typename Reader>(std::type_identity<Reader>) {
        return [this] { Reader("board/cpu", &identifier, &memory); };
    };
    const Names ferrin = {"CSCTL0", "CSCTL1", "CSCTL2", "CSCTL3", "CSCLKEN", "TLVBASE"};
    EXPECT_EQ(lookUps(ferrin, construct(std::type_identity<Tarnel_FerrinDevice>())), ferrin);
    const Names mothwing = {"CPUCLKDIV"};
    EXPECT_EQ(lookUps(mothwing, construct(std::type_identity<Tarnel_MothwingDevice>())), mothwing);
    const Names glintar = {"DID0", "RCC", "RCC2"};
    EXPECT_EQ(lookUps(glintar, construct(std::type_identity<Tarnel_GlintarDevice>())), glintar);
    memory.words[4] = 10U << 16;
    const Names rimefold = {"DID0", "RSCLKCFG", "PLLFREQ0", "PLLFREQ1"};
    EXPECT_EQ(lookUps(rimefold, construct(std::type_identity<Tarnel_GlintarDevice>())), rimefold);
    EXPECT_EQ(identifier.information.asked, Names(4, "MOD_SYSCLK"));
}

// Constructs each reader and asks it for its clock, at a level of the log.
class ClockReaderLevels : public DeviceRegisters {
  protected:
    std::vector<std::string> LinesAt(const char* level) {
        for (const char* name : {"CSCTL0", "CSCTL1", "CSCTL2", "CSCTL3", "CSCLKEN", "TLVBASE", "CPUCLKDIV",
                                 "DID0", "RSCLKCFG", "PLLFREQ0", "PLLFREQ1"}) {
            identifier.AddClockRegister(name, 4);
        }
        Register("DID0", 8, 10U << 16);
        const support::LogAtLevel written(level);
        Tarnel_FerrinDevice("board/cpu", &identifier, &memory).GetFrequency();
        Tarnel_MothwingDevice("board/cpu", &identifier, &memory).GetFrequency();
        Tarnel_GlintarDevice("board/cpu", &identifier, &memory).GetFrequency();
        return written.Get();
    }
};

TEST_F(ClockReaderLevels, AllLinesAreOrdinaryOnes) {
    const std::vector<std::string> lines = {
        "M Tarnel_FerrinDevice: CSCTL0 = 0x0, CSCTL1 = 0x0, CSCTL2 = 0x0, CSCTL3 = 0x0, CSCLKEN = 0x0, "
        "TLVBASE = 0x4",
        "M Tarnel_FerrinDevice: selm = 0, divm = 0", "M Tarnel_MothwingDevice: CPUCLKDIV = 0x0",
        "M Tarnel_GlintarDevice: DID0 addr = 0x8 value = 0xa0000", "M Tarnel_GlintarDevice: Rimefold"};
    EXPECT_EQ(LinesAt("1"), lines);
    EXPECT_EQ(LinesAt("0"), std::vector<std::string>());
}

}  // namespace
