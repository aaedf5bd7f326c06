#include "uart/target_word.h"

#include "tests/unit/uart/clock_reader_fixture.h"

namespace {

using clock_readers::kClockError;
using Korr::Plim::Trace::Tarnel::Bits;
using Korr::Plim::Trace::Tarnel::TargetWord;
using Korr::Plim::Trace::Tarnel::ThrowClockError;
using support::ErrorOf;

class TargetWords : public clock_readers::ClockReader {};

TEST_F(TargetWords, WordIsReadOnce) {
    memory.words[8] = 0x80000005;
    const TargetWord word(&memory, 8);
    EXPECT_EQ(word.OrZero(), 0x80000005u);
    EXPECT_EQ(word.ForClock(), 0x80000005u);
    EXPECT_EQ(journal.Calls(), std::vector<std::string>{"ReadMemory(0x00000008)"});
}

TEST_F(TargetWords, ZeroThatWasReadIsAValue) {
    EXPECT_EQ(TargetWord(&memory, 8).OrZero(), 0u);
    EXPECT_EQ(TargetWord(&memory, 8).ForClock(), 0u);
}

TEST_F(TargetWords, WordThatCannotBeReadIsZeroForTheLogAndNothingForAClock) {
    memory.failing.insert(8);
    for (const TargetWord& word : {TargetWord(&memory, 8), TargetWord(nullptr, 8), TargetWord()}) {
        EXPECT_EQ(word.OrZero(), 0u);
        EXPECT_EQ(ErrorOf([&] { word.ForClock(); }), kClockError);
    }
}

// An accessor that writes something although it fails.
struct Liar final : Korr::Plim::Trace::MemoryAccessor {
    uint32_t ReadMemory(uint32_t /*address*/, uint32_t& value) override {
        value = 0xBAD;
        return 2;
    }
};

TEST_F(TargetWords, WhatAFailingReadLeavesIsNoValue) {
    Liar liar;
    EXPECT_EQ(TargetWord(&liar, 8).OrZero(), 0u);
}

TEST_F(TargetWords, ClockErrorIsTheSameForAll) { EXPECT_EQ(ErrorOf(ThrowClockError), kClockError); }

TEST_F(TargetWords, BitsTakesBothEnds) {
    EXPECT_EQ(Bits(0x80000001, 31, 31), 1u);
    EXPECT_EQ(Bits(0x80000001, 0, 31), 0x80000001u);
    EXPECT_EQ(Bits(0x00FF0000, 16, 23), 0xFFu);
    EXPECT_EQ(Bits(0xFFFFFFFF, 4, 5), 3u);
}

}  // namespace
