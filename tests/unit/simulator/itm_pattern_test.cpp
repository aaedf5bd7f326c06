#include "simulator/swosource/signal/itm_pattern.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Simulator {
namespace {

/// Reads ITM and DWT packets as the architecture describes them; written without a look at the generator.
class Decoder {
  public:
    explicit Decoder(std::vector<uint8_t> stream) : bytes(std::move(stream)) {
        while (at < bytes.size()) Packet();
    }

    std::map<std::string, uint64_t> packets;
    std::map<unsigned, std::vector<uint32_t>> ports;
    std::string text;
    std::vector<uint32_t> timestamps;
    std::vector<uint32_t> counterSamples;
    std::vector<std::pair<unsigned, unsigned>> exceptions;  ///< function, number
    size_t incomplete = 0;                                  ///< bytes of a packet that is cut off at the end

  private:
    void Packet() {
        const size_t begin = at;
        const uint8_t header = Next();
        try {
            if (header == 0x00) {
                Synchronisation();
            } else if (header == 0x70) {
                ++packets["overflow"];
            } else if ((header & 0x0F) == 0) {
                Timestamp(header);
            } else if ((header & 0x03) != 0) {
                Source(header);
            } else {
                throw std::runtime_error("reserved header " + std::to_string(header));
            }
        } catch (const std::out_of_range&) {
            incomplete = bytes.size() - begin;
            at = bytes.size();
        }
    }

    uint8_t Next() { return bytes.at(at++); }

    /// At least 47 bits 0, then a bit 1.
    void Synchronisation() {
        size_t zeros = 1;
        uint8_t byte = 0;
        while ((byte = Next()) == 0) ++zeros;
        if (zeros < 5 || byte != 0x80) throw std::runtime_error("no synchronisation packet");
        ++packets["synchronisation"];
    }

    void Timestamp(uint8_t header) {
        uint32_t value = header >> 4 & 7;
        if ((header & 0x80) != 0) {
            value = 0;
            int shift = 0;
            uint8_t byte = 0;
            do {
                byte = Next();
                value |= static_cast<uint32_t>(byte & 0x7F) << shift;
                shift += 7;
                if (shift > 28) throw std::runtime_error("timestamp too long");
            } while ((byte & 0x80) != 0);
        } else if (value == 0 || value == 7) {
            throw std::runtime_error("not a short timestamp");
        }
        timestamps.push_back(value);
        ++packets["local timestamp"];
    }

    void Source(uint8_t header) {
        const unsigned id = header >> 3;
        const unsigned size = (header & 3) == 3 ? 4 : header & 3;
        uint32_t value = 0;
        for (unsigned i = 0; i < size; ++i) value |= static_cast<uint32_t>(Next()) << (8 * i);
        if ((header & 4) == 0) {
            Stimulus(id, value);
        } else if (id == 1 && size == 2) {
            exceptions.emplace_back(value >> 12 & 3, value & 0x1FF);
            ++packets["exception trace"];
        } else if (id == 2 && size == 4) {
            ++packets["PC sample"];
        } else {
            throw std::runtime_error("unknown hardware source " + std::to_string(id));
        }
    }

    void Stimulus(unsigned port, uint32_t value) {
        ports[port].push_back(value);
        ++packets["port " + std::to_string(port)];
        if (port == 0) text += static_cast<char>(value);
    }

    std::vector<uint8_t> bytes;
    size_t at = 0;
};

std::vector<uint8_t> Read(ItmPattern& pattern, size_t count) {
    std::vector<uint8_t> bytes(count);
    EXPECT_EQ(pattern.Read(bytes.data(), count), count);
    return bytes;
}

TEST(ItmPattern, IsAWellFormedStreamThatAnotherDecoderReads) {
    ItmPattern pattern;
    const Decoder decoder(Read(pattern, 200'000));
    for (const char* kind : {"synchronisation", "port 0", "port 1", "port 31", "local timestamp",
                             "exception trace", "PC sample", "overflow"}) {
        EXPECT_GT(decoder.packets.count(kind), 0U) << kind;
    }
    EXPECT_EQ(decoder.ports.size(), 3U);
}

TEST(ItmPattern, BeginsWithASynchronisationPacket) {
    ItmPattern pattern;
    EXPECT_EQ(Read(pattern, 6), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0x80}));
}

TEST(ItmPattern, CountsOnPort1AndSpeaksOnPort0) {
    ItmPattern pattern;
    const Decoder decoder(Read(pattern, 50'000));
    const std::vector<uint32_t>& counter = decoder.ports.at(1);
    for (size_t i = 0; i < counter.size(); ++i) ASSERT_EQ(counter[i], i);
    EXPECT_EQ(decoder.text.substr(0, 50), "tick 000000, level 300 mV\ntick 000001, level 307 m");
}

TEST(ItmPattern, TimestampsTellTheTimeThatTheBytesTakeOnTheWire) {
    constexpr uint32_t kBytes = 200'000;
    for (const uint32_t prescaler : {11U, 23U}) {
        const uint32_t byteTime = 10 * (prescaler + 1);
        ItmPattern pattern;
        pattern.SetByteTime(byteTime);
        const Decoder decoder(Read(pattern, kBytes));
        uint32_t ticks = 0;
        for (const uint32_t each : decoder.timestamps) ticks += each;
        EXPECT_NEAR(ticks * 4, kBytes * byteTime, 100 * byteTime) << "within a round of the firmware";
    }
}

TEST(ItmPattern, EntersLeavesAndReturnsFromItsInterruptInTurn) {
    ItmPattern pattern;
    const Decoder decoder(Read(pattern, 10'000));
    ASSERT_GT(decoder.exceptions.size(), 30U);
    for (size_t i = 0; i < decoder.exceptions.size(); ++i) {
        const std::pair<unsigned, unsigned> expected(i % 3 + 1, i % 3 == 2 ? 0U : 15U);
        ASSERT_EQ(decoder.exceptions[i], expected) << i;
    }
}

TEST(ItmPattern, ReportsThePacketsThatItSentInFull) {
    for (const size_t count : std::initializer_list<std::size_t>{1, 6, 7, 1000, 33'333}) {
        ItmPattern pattern;
        const Decoder decoder(Read(pattern, count));
        const auto content = pattern.Content();
        for (const auto& [kind, number] : decoder.packets) {
            EXPECT_EQ(content["packets"].value(kind, uint64_t{0}), number) << kind << " in " << count;
        }
        EXPECT_EQ(content["text"]["bytes"], decoder.text.size());
    }
}

TEST(ItmPattern, ReportsItsLinesOfText) {
    ItmPattern pattern;
    const Decoder decoder(Read(pattern, 20'000));
    const auto text = pattern.Content()["text"];
    const std::string whole = decoder.text.substr(0, decoder.text.rfind('\n'));
    EXPECT_EQ(text["lines"], std::count(decoder.text.begin(), decoder.text.end(), '\n'));
    EXPECT_EQ(text["last_line"], whole.substr(whole.rfind('\n') + 1));
}

TEST(ItmPattern, IsTheSameHoweverItIsRead) {
    ItmPattern whole;
    ItmPattern single;
    const auto expected = Read(whole, 5000);
    for (const uint8_t byte : expected) ASSERT_EQ(Read(single, 1)[0], byte);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
