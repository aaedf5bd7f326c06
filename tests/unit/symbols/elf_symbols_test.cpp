#include "symbols/elf_symbols.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/unit/symbols/elf_builder.h"

namespace {

using namespace Korr::Plim::Trace::Symbols;

ElfSymbols Read(const ElfBuilder& builder) {
    const auto bytes = builder.Build();
    return ElfSymbols(ElfFile(bytes));
}

std::string NameAt(const ElfSymbols& symbols, uint32_t address) {
    const Symbol* const found = symbols.FunctionAt(address);
    return found != nullptr ? found->name : "";
}

std::string Refusal(const std::vector<uint8_t>& bytes) {
    try {
        const ElfFile file(bytes);
        return "";
    } catch (const ElfError& error) {
        return error.what();
    }
}

TEST(ElfSymbols, FunctionIsFoundFromItsFirstToItsLastByte) {
    ElfBuilder firmware;
    firmware.symbols = {{"main", 0x08000041, 12}, {"delay", 0x08000061, 8}};
    const ElfSymbols symbols = Read(firmware);
    EXPECT_EQ(NameAt(symbols, 0x0800003F), "");
    EXPECT_EQ(NameAt(symbols, 0x08000040), "main");
    EXPECT_EQ(NameAt(symbols, 0x08000041), "main") << "a code address with the Thumb bit";
    EXPECT_EQ(NameAt(symbols, 0x0800004B), "main");
    EXPECT_EQ(NameAt(symbols, 0x0800004C), "");
    EXPECT_EQ(NameAt(symbols, 0x08000067), "delay");
    EXPECT_EQ(NameAt(symbols, 0x08000068), "");
    EXPECT_EQ(NameAt(symbols, 0xFFFFFFFF), "");
}

TEST(ElfSymbols, ObjectsKeepTheirLowestBit) {
    ElfBuilder firmware;
    firmware.symbols = {{"flags", 0x20000001, 1, 1, 1, 2}, {"main", 0x08000041, 12}};
    const ElfSymbols symbols = Read(firmware);
    ASSERT_NE(symbols.ObjectAt(0x20000001), nullptr);
    EXPECT_EQ(symbols.ObjectAt(0x20000001)->name, "flags");
    EXPECT_EQ(symbols.ObjectAt(0x20000000), nullptr);
    EXPECT_EQ(symbols.ObjectAt(0x08000040), nullptr) << "a function is no object";
    EXPECT_EQ(symbols.FunctionAt(0x20000001), nullptr);
}

TEST(ElfSymbols, OfSeveralNamesTheGlobalThenTheWeakThenTheFirstIsTaken) {
    ElfBuilder firmware;
    firmware.symbols = {{"aa_local", 0x08000041, 4, 2, 0}, {"zz_global", 0x08000041, 0, 2, 1},
                        {"weak", 0x08000041, 4, 2, 2},     {"b_local", 0x08000061, 4, 2, 0},
                        {"m_weak", 0x08000061, 4, 2, 2},   {"d_local", 0x08000081, 4, 2, 0},
                        {"c_local", 0x08000081, 4, 2, 0},  {"twice", 0x080000A1, 8},
                        {"twice", 0x080000A1, 0},          {"twice", 0x080000A1, 6}};
    const ElfSymbols symbols = Read(firmware);
    ASSERT_EQ(symbols.Functions().size(), 4U);
    EXPECT_EQ(symbols.Functions()[3].size, 6U) << "of several sizes of one name the smallest but none";
    EXPECT_EQ(NameAt(symbols, 0x08000040), "zz_global");
    EXPECT_EQ(symbols.Functions()[0].size, 4U) << "another name of the address tells the size";
    EXPECT_EQ(NameAt(symbols, 0x08000060), "m_weak");
    EXPECT_EQ(NameAt(symbols, 0x08000080), "c_local");
}

TEST(ElfSymbols, WithoutASizeItReachesToTheNextOrToTheEndOfItsSection) {
    ElfBuilder firmware;
    firmware.symbols = {
        {"first", 0x08000041, 0}, {"last", 0x08000081, 0}, {"far", 0x09000001, 0, 2, 1, 0xFFF1}};
    const ElfSymbols symbols = Read(firmware);
    EXPECT_EQ(NameAt(symbols, 0x0800007F), "first");
    EXPECT_EQ(NameAt(symbols, 0x080000FF), "last");
    EXPECT_EQ(NameAt(symbols, 0x08000100), "") << "behind its section";
    EXPECT_EQ(symbols.Functions()[2].size, 1U) << "nothing tells where an absolute symbol ends";
}

TEST(ElfSymbols, AnEnclosingFunctionIsFoundBehindTheOneItEncloses) {
    ElfBuilder firmware;
    firmware.symbols = {{"outer", 0x08000041, 0x40}, {"inner", 0x08000051, 4}};
    const ElfSymbols symbols = Read(firmware);
    EXPECT_EQ(NameAt(symbols, 0x08000050), "inner");
    EXPECT_EQ(NameAt(symbols, 0x08000054), "outer");
}

TEST(ElfSymbols, WhatIsUndefinedNamelessOrNoFunctionIsLeftOut) {
    ElfBuilder firmware;
    firmware.symbols = {
        {"elsewhere", 0x08000041, 4, 2, 1, 0}, {"", 0x08000051, 4}, {"$t", 0x08000060, 0, 0, 0}};
    const ElfSymbols symbols = Read(firmware);
    EXPECT_TRUE(symbols.Functions().empty());
    EXPECT_TRUE(symbols.Objects().empty());
}

TEST(ElfSymbols, NamesAreBoundedAllTogether) {
    ElfBuilder firmware;
    const std::string name(ElfFile::kLongestText, 'x');
    constexpr uint32_t kFit = ElfSymbols::kMostNames / ElfFile::kLongestText;
    for (uint32_t i = 0; i < kFit; ++i) firmware.symbols.push_back({name, 0x08000001 + 2 * i, 2});
    EXPECT_EQ(Read(firmware).Functions().size(), kFit);
    firmware.symbols.push_back({"a", 0x08000001 + 2 * kFit, 2});
    firmware.symbols.push_back({"object", 0x20000000, 4, 1, 1, 2});
    const ElfSymbols symbols = Read(firmware);
    EXPECT_EQ(symbols.Functions().size(), kFit) << "from the lowest address on";
    EXPECT_EQ(symbols.Objects().size(), 0U);
}

TEST(ElfSymbols, TheDynamicTableServesWhereThereIsNoOther) {
    ElfBuilder firmware;
    firmware.tableType = 11;
    firmware.symbols = {{"main", 0x08000041, 4}};
    EXPECT_EQ(NameAt(Read(firmware), 0x08000040), "main");
}

TEST(ElfSymbols, LongerEntriesAreSteppedOver) {
    ElfBuilder firmware;
    firmware.entrySize = 24;
    firmware.symbols = {{"main", 0x08000041, 4}, {"delay", 0x08000061, 4}};
    EXPECT_EQ(Read(firmware).Functions().size(), 2U);
}

TEST(ElfSymbols, ExceptionsHaveTheNamesOfTheirHandlers) {
    ElfBuilder firmware;
    firmware.text[0] = 0x20001000;
    firmware.text[1] = 0x08000081;   // Reset
    firmware.text[3] = 0x080000A1;   // HardFault: shared
    firmware.text[7] = 0xEFFF5BC2;   // the vendor's checksum
    firmware.text[15] = 0x08000091;  // SysTick
    firmware.text[16] = 0x080000A1;  // shared: the default handler
    firmware.text[17] = 0x080000B1;
    firmware.text[18] = 0x080000C3;  // not the first byte of a function
    firmware.text[19] = 0x080000C4;  // no Thumb code: the table has ended
    firmware.text[20] = 0x080000D1;
    firmware.symbols = {{"Start", 0x08000081, 8},     {"Tick", 0x08000091, 8},  {"Default", 0x080000A1, 8},
                        {"Uart1_IRQ", 0x080000B1, 8}, {"Other", 0x080000C1, 8}, {"Behind", 0x080000D1, 8}};
    const ElfSymbols symbols = Read(firmware);
    EXPECT_EQ(symbols.ExceptionName(0), "Thread");
    EXPECT_EQ(symbols.ExceptionName(1), "Start");
    EXPECT_EQ(symbols.ExceptionName(2), "NMI") << "no handler";
    EXPECT_EQ(symbols.ExceptionName(3), "HardFault") << "a handler of several names none of them";
    EXPECT_EQ(symbols.ExceptionName(15), "Tick");
    EXPECT_EQ(symbols.ExceptionName(16), "IRQ 0");
    EXPECT_EQ(symbols.ExceptionName(17), "Uart1_IRQ");
    EXPECT_EQ(symbols.ExceptionName(18), "IRQ 2");
    EXPECT_EQ(symbols.ExceptionName(20), "IRQ 4");
    EXPECT_EQ(symbols.ExceptionName(511), "IRQ 495");
}

TEST(ElfSymbols, TheVectorTableIsLookedForBySectionName) {
    ElfBuilder firmware;
    firmware.textAddress = 0x10000000;
    firmware.textName = ".isr_vector";
    firmware.text[2] = 0x10000081;
    firmware.symbols = {{"OnNmi", 0x10000081, 8}};
    EXPECT_EQ(Read(firmware).ExceptionName(2), "OnNmi");
}

TEST(ElfFile, OtherFilesAreRefusedInWords) {
    ElfBuilder firmware;
    const auto good = firmware.Build();
    EXPECT_EQ(Refusal(good), "");
    EXPECT_EQ(Refusal({}), "this is no ELF file");
    auto wrong = good;
    wrong[0] = 'E';
    EXPECT_EQ(Refusal(wrong), "this is no ELF file");
    for (const std::size_t place : {4U, 5U, 18U}) {  // 64 bits, big endian, another machine
        wrong = good;
        ++wrong[place];
        EXPECT_EQ(Refusal(wrong), "this is no ELF file of a 32-bit little-endian ARM target") << place;
    }
    EXPECT_EQ(Refusal(std::vector<uint8_t>(ElfFile::kLargestFile + 1)), "the file is larger than 64 MiB");
}

TEST(ElfFile, WordsComeFromTheLoadedImageAlone) {
    ElfBuilder firmware;
    firmware.text.back() = 0x12345678;
    const auto bytes = firmware.Build();
    const ElfFile file(bytes);
    EXPECT_EQ(file.WordAt(0x080000FC), 0x12345678U);
    EXPECT_FALSE(file.WordAt(0x080000FD)) << "its last byte lies behind the image";
    EXPECT_FALSE(file.WordAt(0x07FFFFFF));
    EXPECT_FALSE(file.WordAt(0xFFFFFFFF));
}

TEST(ElfFile, TextsEndInTheirTable) {
    const std::vector<uint8_t> table = {'a', 'b', 0, 'c'};
    EXPECT_EQ(ElfFile::Text(table, 0), "ab");
    EXPECT_EQ(ElfFile::Text(table, 1), "b");
    EXPECT_EQ(ElfFile::Text(table, 3), "") << "without its end";
    EXPECT_EQ(ElfFile::Text(table, 4), "");
}

TEST(ElfFile, TextsThatManyNamesCouldShareAreNotLong) {
    std::vector<uint8_t> table(ElfFile::kLongestText + 2, 'x');
    table.back() = 0;
    EXPECT_EQ(ElfFile::Text(table, 0), "") << "one byte too long";
    EXPECT_EQ(ElfFile::Text(table, 1).size(), ElfFile::kLongestText);
}

TEST(ElfFile, AFileCutAnywhereGivesLessNotWorse) {
    ElfBuilder firmware;
    firmware.symbols = {{"main", 0x08000041, 12}, {"flags", 0x20000000, 4, 1, 1, 2}};
    const auto whole = firmware.Build();
    std::size_t named = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::vector<uint8_t> bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        try {
            const ElfSymbols symbols{ElfFile(bytes)};
            named += symbols.Functions().size();
        } catch (const ElfError&) {
            EXPECT_LT(length, 52U);
        }
    }
    EXPECT_GE(named, 1U);
}

TEST(ElfFile, AnyChangedBytesGetAnAnswer) {
    ElfBuilder firmware;
    firmware.symbols = {
        {"main", 0x08000041, 12}, {"delay", 0x08000061, 0}, {"flags", 0x20000000, 4, 1, 1, 2}};
    const auto whole = firmware.Build();
    std::mt19937 chance(7);
    for (int round = 0; round < 3000; ++round) {
        auto bytes = whole;
        for (int change = 0; change < 6; ++change) {
            bytes[chance() % bytes.size()] = static_cast<uint8_t>(chance());
        }
        try {
            const ElfSymbols symbols{ElfFile(bytes)};
            for (const Symbol& symbol : symbols.Functions()) {
                EXPECT_GT(symbol.size, 0U);
                EXPECT_FALSE(symbol.name.empty());
            }
            EXPECT_FALSE(symbols.ExceptionName(chance() % 512).empty());
        } catch (const ElfError&) {
            continue;
        }
    }
}

TEST(ElfSymbols, FirmwareOfARealTargetIsNamed) {
    const char* const recording = std::getenv("TARNEL_SWO_RECORDING");
    if (recording == nullptr) GTEST_SKIP() << "TARNEL_TEST_DATA names no folder with swo-tpiu-8mbaud.elf";
    std::string path = recording;
    path.replace(path.rfind(".bin"), 4, ".elf");
    std::ifstream stream(path, std::ios::binary);
    if (!stream) GTEST_SKIP() << "no " << path;
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
    const ElfSymbols symbols{ElfFile(bytes)};
    EXPECT_EQ(NameAt(symbols, 0x08000210), "delay");
    EXPECT_EQ(NameAt(symbols, 0x0800021B), "delay");
    EXPECT_EQ(NameAt(symbols, 0x080002B4), "bubble_sort");
    EXPECT_EQ(NameAt(symbols, 0x080002EC), "TIM2_IRQ");
    EXPECT_EQ(symbols.ExceptionName(44), "TIM2_IRQ");
    EXPECT_EQ(symbols.ExceptionName(15), "SysTick");
}

}  // namespace
