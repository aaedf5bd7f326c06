// The order of the handlers' virtual operations. With the compilers that this test is built with, a pointer
// to a virtual member function holds one more than its place in the table, in bytes.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "options/ChannelOptionsHandler.h"
#include "options/XMLOptionsHandler.h"

namespace {

using Korr::Plim::Trace::Tarnel::ChannelOptionsHandler;
using Korr::Plim::Trace::Tarnel::XMLOptionsHandler;

template <typename Member>
std::intptr_t Slot(Member member) {
    std::array<std::intptr_t, 2> raw{};
    static_assert(sizeof member == sizeof raw);
    std::memcpy(raw.data(), &member, sizeof raw);
    EXPECT_EQ(raw[0] & 1, 1) << "not virtual";
    return (raw[0] - 1) / static_cast<std::intptr_t>(sizeof(void*));
}

TEST(VirtualOrder, ChannelOptionsHandlerReadsThenSaves) {
    EXPECT_EQ(Slot(&ChannelOptionsHandler::SaveOptions), Slot(&ChannelOptionsHandler::GetOptions) + 1);
}

TEST(VirtualOrder, OwnOperationsOfTheXmlHandlerFollowEachOther) {
    const std::intptr_t first = Slot(&XMLOptionsHandler::ResetCurrentOption);
    EXPECT_EQ(Slot(&XMLOptionsHandler::ClearCurrentOption), first + 1);
    EXPECT_EQ(Slot(&XMLOptionsHandler::ReleaseLibraryMemory), first + 2);
    EXPECT_EQ(Slot(&XMLOptionsHandler::GetParsedOptions), first + 3);
    EXPECT_EQ(Slot(&XMLOptionsHandler::SortOptions), first + 4);
}

}  // namespace
