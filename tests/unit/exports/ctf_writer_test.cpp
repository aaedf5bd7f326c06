// The packets of a stream in the Common Trace Format: where they end, and what their heads say.
#include "exports/ctf_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/unit/exports/memory_output.h"

namespace Korr::Plim::Trace::Exports {

namespace {

using Swo::PacketKind;

constexpr std::size_t kHead = 56;
constexpr std::size_t kSleep = 20;  // bytes of an event of a sleeping processor

uint64_t NumberAt(const std::string& bytes, std::size_t place) {
    uint64_t number = 0;
    std::string part = bytes.substr(place, sizeof number);
    part.resize(sizeof number);
    std::memcpy(&number, part.data(), sizeof number);
    return number;
}

struct CtfWriters : testing::Test {
    MemoryOutput metadata, stream;
    CtfWriter writer{metadata, stream};
    CaptureFacts facts;

    CtfWriters() { writer.OnBegin(facts, Axis{}); }

    void Add(PacketKind kind, uint64_t time) {
        Swo::Packet packet{};
        packet.kind = kind;
        packet.offset = 7 * time;
        packet.length = 1;
        writer.OnPacket(packet, {time, time, packet.offset, Swo::TimeQuality::Exact, 0});
    }
    /// Takes the first packet off the stream. \return its events
    std::string Take(uint64_t begin, uint64_t end, uint64_t number, uint64_t discarded) {
        const uint64_t size = NumberAt(stream.text, 24) / 8;
        EXPECT_EQ(NumberAt(stream.text, 0), 0xC1FC1FC1U);
        EXPECT_EQ(NumberAt(stream.text, 8), begin);
        EXPECT_EQ(NumberAt(stream.text, 16), end);
        EXPECT_EQ(NumberAt(stream.text, 32) / 8, size);
        EXPECT_EQ(NumberAt(stream.text, 40), number);
        EXPECT_EQ(NumberAt(stream.text, 48), discarded);
        const std::string events = stream.text.substr(kHead, size - kHead);
        stream.text.erase(0, size);
        return events;
    }
};

TEST_F(CtfWriters, APacketHoldsTheEventsThatFitAndNoPartOfOne) {
    constexpr uint64_t kFit = (CtfWriter::kMostBytes - kHead) / kSleep;
    static_assert(kHead + (kFit + 1) * kSleep > CtfWriter::kMostBytes);
    for (uint64_t time = 1; time <= 2 * kFit + 1; ++time) Add(PacketKind::PcSleep, time);
    EXPECT_EQ(stream.text.size(), 2 * (kHead + kFit * kSleep)) << "what is full is written at once";
    writer.OnEnd(2 * kFit + 1);
    std::string all = Take(1, kFit, 0, 0);
    all += Take(kFit + 1, 2 * kFit, 1, 0);
    all += Take(2 * kFit + 1, 2 * kFit + 1, 2, 0);
    EXPECT_EQ(stream.text, "");
    ASSERT_EQ(all.size(), (2 * kFit + 1) * kSleep);
    for (uint64_t time = 1; time <= 2 * kFit + 1; ++time) {
        const std::size_t place = (time - 1) * kSleep;
        ASSERT_EQ(static_cast<CtfEvent>(all[place]), CtfEvent::PcSleep);
        ASSERT_EQ(NumberAt(all, place + 1), time);
        ASSERT_EQ(NumberAt(all, place + 9), 7 * time);
        ASSERT_EQ(all.substr(place + 17, 3), std::string("\0\0\0", 3));
    }
}

TEST_F(CtfWriters, ALossEndsThePacket) {
    Add(PacketKind::PcSleep, 1);
    Add(PacketKind::Overflow, 2);
    Add(PacketKind::PcSleep, 3);
    writer.OnEnd(3);
    EXPECT_EQ(Take(1, 1, 0, 0).size(), kSleep);
    EXPECT_EQ(Take(2, 3, 1, 1).size(), 2 * kSleep);
    EXPECT_EQ(stream.text, "");
}

TEST_F(CtfWriters, ALineOfAnyBytesEndsWithItsOnlyZero) {
    const std::string line("a\0\x80\xC3\xA9z", 6);
    writer.OnLine(3, line, {5, 5, 1, Swo::TimeQuality::Exact, Swo::kSuspect}, 9);
    writer.OnEnd(9);
    const std::string event = Take(9, 9, 0, 0);
    EXPECT_EQ(static_cast<CtfEvent>(event[0]), CtfEvent::Text);
    EXPECT_EQ(event.substr(17), std::string("\0\1\0\3", 4) + "a\xE2\x90\x80\xEF\xBF\xBD\xC3\xA9z" + '\0');
}

}  // namespace

}  // namespace Korr::Plim::Trace::Exports
