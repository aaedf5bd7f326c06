// The order of the handlers' virtual operations, asked for by calling them on an object that has nothing but
// a table whose functions give their own places in it.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "options/ChannelOptionsHandler.h"
#include "options/XMLOptionsHandler.h"

namespace {

using Korr::Plim::Trace::Tarnel::ChannelOptionsHandler;
using Korr::Plim::Trace::Tarnel::XMLOptionsHandler;

constexpr std::size_t kSlots = 64;  // more than either class has
using SlotFunction = int (*)();

template <int slot>
int Place() {
    return slot;
}
template <std::size_t... slots>
constexpr std::array<SlotFunction, kSlots> Places(std::index_sequence<slots...>) {
    return {&Place<static_cast<int>(slots)>...};
}

template <typename Class, typename Operation>
#if defined(__clang__)
__attribute__((no_sanitize("vptr")))  // the table is not the class's
#endif
int Slot(Operation Class::*member) {
    static const auto table = Places(std::make_index_sequence<kSlots>());
    const void* object[] = {table.data()};
    int (Class::*place)() = nullptr;
    static_assert(sizeof place == sizeof member);
    std::memcpy(&place, &member, sizeof place);
    return (reinterpret_cast<Class*>(object)->*place)();
}

TEST(VirtualOrder, ChannelOptionsHandlerReadsThenSaves) {
    EXPECT_EQ(Slot(&ChannelOptionsHandler::SaveOptions), Slot(&ChannelOptionsHandler::GetOptions) + 1);
}

TEST(VirtualOrder, OwnOperationsOfTheXmlHandlerFollowEachOther) {
    const int first = Slot(&XMLOptionsHandler::ResetCurrentOption);
    EXPECT_GT(first, 0);
    EXPECT_EQ(Slot(&XMLOptionsHandler::ClearCurrentOption), first + 1);
    EXPECT_EQ(Slot(&XMLOptionsHandler::ReleaseLibraryMemory), first + 2);
    EXPECT_EQ(Slot(&XMLOptionsHandler::GetParsedOptions), first + 3);
    EXPECT_EQ(Slot(&XMLOptionsHandler::SortOptions), first + 4);
}

}  // namespace
