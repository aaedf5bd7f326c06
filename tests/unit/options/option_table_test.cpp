#include "options/option_table.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace Korr::Plim::Trace::Tarnel {
namespace {

struct Row {
    uint32_t id;
    const char* key;
    const char* label;
    const char* group;
    const char* choices;
    uint32_t kind;
    uint32_t parentId;
    int32_t hostFlag;
};

constexpr Row kRows[] = {
    {0, "RCVRFWVER", "", "SWO Selection", "", 6, 8, 0},
    {1, "ENCTYPE", "Encoding Type", "SWO Selection", "UART", 1, 8, 1},
    {2, "PRESCALAR", "Prescalar", "SWO Selection", "Auto,Manual", 1, 8, 0},
    {3, "PRESCALARVAL", "", "SWO Selection", "Prescalar value", 5, 2, 1},
    {4, "CLKFREQ", "Target Clk Frequency", "UART Options", "Auto,Manual", 1, 1, 1},
    {5, "CLKFREQVAL", "", "UART Options", "Frequency in Hz", 5, 4, 1},
    {6, "COMPORT", "COM Port Number", "UART Options", "", 1, 1, 1},
    {7, "TSPRESCALAR", "Resolution", "Timestamping", "1,4,16,64", 1, 8, 0},
    {8, "", "", "", "", 6, 8, 0},
};

TEST(OptionTable, EveryRowHoldsItsFixedTextsAndNumbers) {
    static_assert(sizeof(kRows) / sizeof(kRows[0]) == kOptionRows);
    for (const Row& expected : kRows) {
        SCOPED_TRACE(expected.id);
        const OptionDescriptor& row = OptionTable()[expected.id];
        EXPECT_EQ(row.id, expected.id);
        EXPECT_STREQ(row.key, expected.key);
        EXPECT_STREQ(row.label, expected.label);
        EXPECT_STREQ(row.group, expected.group);
        EXPECT_STREQ(row.choices, expected.choices);
        EXPECT_EQ(row.kind, expected.kind);
        EXPECT_EQ(row.parentId, expected.parentId);
        EXPECT_EQ(row.hostFlag, expected.hostFlag);
        EXPECT_FALSE(row.extraFlag1);
        EXPECT_FALSE(row.extraFlag2);
    }
}

TEST(OptionTable, EveryRowStartsWithAnyProbe) {
    // Runs first in its own process: nothing has called GetOptions yet.
    for (uint32_t row = 0; row < kOptionRows; ++row) EXPECT_EQ(OptionTable()[row].probeKind, 2u) << row;
}

TEST(OptionTable, EveryKeyIsFound) {
    for (uint32_t id = 0; id < kOptionNone; ++id) EXPECT_EQ(FindOptionId(kRows[id].key), id);
}

TEST(OptionTable, OtherTextsAreNoKey) {
    for (const char* text : {"comport", "", "CHANNEL-SETUP", "COMPORT ", " COMPORT", "COMPOR", "COMPORTS",
                             "VERSION", "RCVRNAME", "8"}) {
        EXPECT_EQ(FindOptionId(text), kOptionNone) << text;
    }
    EXPECT_EQ(FindOptionId(std::string("COMPORT\0", 8)), kOptionNone);
}

TEST(OptionTable, OnlyFreeValuesHaveAPlaceholder) {
    EXPECT_STREQ(OptionPlaceholder(kOptionPrescalerValue), "Prescalar value");
    EXPECT_STREQ(OptionPlaceholder(kOptionClockValue), "Frequency in Hz");
    for (const uint32_t id : {0u, 1u, 2u, 4u, 6u, 7u, 8u, 9u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(OptionPlaceholder(id), "") << id;
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
