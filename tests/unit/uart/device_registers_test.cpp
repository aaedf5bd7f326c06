#include "uart/device_registers.h"

#include "tests/unit/uart/clock_reader_fixture.h"
#include "uart/device_clock_readers.h"

namespace {

using clock_readers::kNoInformation;
using clock_readers::kNoModule;
using Korr::Plim::Trace::Tarnel::Bits;
using Korr::Plim::Trace::Tarnel::ClockRegisters;
using Korr::Plim::Trace::Tarnel::ReadTargetWord;
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
    uint32_t Address(const std::string& text) {
        identifier.information.modules["MOD_SYSCLK"].registers["R"] = text;
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

TEST_F(DeviceRegisters, FailingReadIsToldAndGivesZero) {
    uint32_t word = 1;
    memory.words[8] = 5;
    EXPECT_TRUE(ReadTargetWord(&memory, 8, word));
    EXPECT_EQ(word, 5u);
    memory.failing.insert(8);
    EXPECT_FALSE(ReadTargetWord(&memory, 8, word));
    EXPECT_EQ(word, 0u);
}

TEST_F(DeviceRegisters, MissingAccessorReadsNothing) {
    uint32_t word = 1;
    EXPECT_FALSE(ReadTargetWord(nullptr, 4, word));
    EXPECT_EQ(word, 0u);
}

TEST_F(DeviceRegisters, RegistersKeepInMindThatOneCouldNotBeRead) {
    identifier.AddClockRegister("R", 4);
    ClockRegisters registers("board/cpu", &identifier, &memory);
    registers.Read("R");
    EXPECT_TRUE(registers.AllRead());
    memory.failing.insert(4);
    registers.Read("R");
    memory.failing.clear();
    registers.Read("R");
    EXPECT_FALSE(registers.AllRead());
}

TEST_F(DeviceRegisters, BitsTakesBothEnds) {
    EXPECT_EQ(Bits(0x80000001, 31, 31), 1u);
    EXPECT_EQ(Bits(0x80000001, 0, 31), 0x80000001u);
    EXPECT_EQ(Bits(0x00FF0000, 16, 23), 0xFFu);
    EXPECT_EQ(Bits(0xFFFFFFFF, 4, 5), 3u);
}

}  // namespace
