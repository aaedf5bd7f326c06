#include <gtest/gtest.h>

#include <chrono>

#include "symbols/demangle.h"
#include "symbols/demangled_size.h"
#include "symbols/elf_file.h"

namespace {

using Korr::Plim::Trace::Symbols::ElfFile;
using Korr::Plim::Trace::Symbols::kMostDemangling;
using Korr::Plim::Trace::Symbols::MostDemangled;

std::string Demangle(const std::string& name) {
    uint64_t room = kMostDemangling;
    return Korr::Plim::Trace::Symbols::Demangle(name, room);
}

/// A function of "a", "b<a, a>", "b<b<a, a>, b<a, a> >" and so on, each of which is twice the one before.
std::string Doubling(int times) {
    const std::string digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const auto part = [&](int number) {
        if (number == 0) return std::string("S_");
        const auto digit = static_cast<std::size_t>(number - 1);
        return (digit < 36 ? "S" : "S" + std::string(1, digits[digit / 36])) + digits[digit % 36] + "_";
    };
    std::string name = "_Z1f1a";
    for (int i = 0; i < times; ++i) {
        const std::string before = part(i == 0 ? 0 : i + 1);
        name += (i == 0 ? "1b" : part(1)) + "I" + before + before + "E";
    }
    return name;
}

TEST(Demangle, NamesOfCxxAreShownAsInTheSource) {
    EXPECT_EQ(Demangle("_ZN6sensor4readEi"), "sensor::read(int)");
    EXPECT_EQ(Demangle("i"), "i") << "no mangled name";
    EXPECT_EQ(Demangle("_Znonsense"), "_Znonsense");
    EXPECT_EQ(Demangle(Doubling(2)), "f(a, b<a, a>, b<b<a, a>, b<a, a> >)");
}

TEST(Demangle, NamesOfTemplatesAreShownToo) {
    for (const char* const name :
         {"_ZNSt6vectorIiSaIiEE9push_backERKi",
          "_ZSt4moveIRSt10unique_ptrIN3app6DriverESt14default_deleteIS2_EEEONSt16remove_"
          "referenceIT_E4typeEOS7_",
          "_ZNSt8_Rb_treeIjSt4pairIKjN3net7SessionEESt10_Select1stIS4_ESt4lessIjESaIS4_EE24_M_get_insert_"
          "unique_posERS1_",
          "_ZNSt17_Function_handlerIFvRKN4uart5FrameEEZN3app3App5startEvEUlS3_E_E9_M_invokeERKSt9_Any_"
          "dataS3_",
          "_ZN3spi8transferIJhhhEEEvDpT_", "_ZN4recvIiEEvT_"}) {
        EXPECT_NE(Demangle(name), name);
    }
}

TEST(Demangle, WhatWouldBeTooLongStaysAsItStands) {
    const std::string fits = Doubling(7);
    EXPECT_GT(Demangle(fits).size(), 1000U);
    EXPECT_LE(Demangle(fits).size(), ElfFile::kLongestText);
    const std::string tooLong = Doubling(10);
    EXPECT_EQ(Demangle(tooLong), tooLong);
    // It would take all memory there is.
    const auto begin = std::chrono::steady_clock::now();
    const std::string endless = Doubling(60);
    EXPECT_EQ(Demangle(endless), endless);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(Demangle, NamesThatCameToMuchLeaveNoRoomForOthers) {
    const std::string name = "_ZN6sensor4readEi";
    uint64_t room = 20;
    EXPECT_EQ(Korr::Plim::Trace::Symbols::Demangle(name, room), "sensor::read(int)");
    EXPECT_EQ(room, 3U);
    EXPECT_EQ(Korr::Plim::Trace::Symbols::Demangle(name, room), "sensor::read(int)");
    EXPECT_EQ(room, 0U);
    EXPECT_EQ(Korr::Plim::Trace::Symbols::Demangle(name, room), name);
    room = kMostDemangling;
    EXPECT_EQ(Korr::Plim::Trace::Symbols::Demangle("_Znonsense", room), "_Znonsense");
    EXPECT_LT(room, kMostDemangling) << "what is tried in vain counts, too";
}

TEST(MostDemangled, IsNeverLessThanTheText) {
    for (int times = 0; times < 9; ++times) {
        EXPECT_GE(MostDemangled(Doubling(times)), static_cast<double>(Demangle(Doubling(times)).size()));
    }
    EXPECT_GT(MostDemangled(Doubling(60)), 1e18);
}

}  // namespace
