#include "simulator/swosource/signal/itm_pattern.h"

#include <algorithm>
#include <cstdio>

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr uint8_t kPort0Byte = 0x01;
constexpr uint8_t kPort1Word = 0x0B;
constexpr uint8_t kPort31HalfWord = 0xFA;
constexpr uint8_t kExceptionTrace = 0x0E;
constexpr uint8_t kPcSample = 0x17;
constexpr uint8_t kOverflow = 0x70;
constexpr uint8_t kEntry = 1;
constexpr uint8_t kExit = 2;
constexpr uint8_t kReturn = 3;
constexpr uint16_t kTickInterrupt = 15;
constexpr uint32_t kLongestTimestamp = 0x0FFFFFFF;  // four bytes of 7 bits
constexpr uint64_t kClocksPerTick = 4;              // the usual timestamp prescale

}  // namespace

size_t ItmPattern::Read(uint8_t* buffer, size_t count) {
    size_t given = 0;
    while (given < count) {
        if (pending.empty()) RunFirmwareOnce();
        const Packet& packet = pending.front();
        const size_t part = std::min(count - given, packet.bytes.size() - sentOfFront);
        std::copy_n(packet.bytes.begin() + static_cast<std::ptrdiff_t>(sentOfFront), part, buffer + given);
        given += part;
        sentOfFront += part;
        if (sentOfFront < packet.bytes.size()) break;
        Count(packet);
        pending.pop_front();
        sentOfFront = 0;
    }
    return given;
}

void ItmPattern::RunFirmwareOnce() {
    if (round % 16 == 0) Send(Kind::kSync, std::string(5, '\0') + '\x80');
    SendException(kEntry, kTickInterrupt);
    SendTimestamp(5);
    SendValue(Kind::kCounter, kPort1Word, round, 4);
    SendException(kExit, kTickInterrupt);
    SendException(kReturn, 0);
    SendTimestamp(3 + round % 500);
    char text[64];
    std::snprintf(text, sizeof text, "tick %06u, level %3u mV\n", round, 300 + (round * 7) % 400);
    SendText(text);
    SendTimestamp(TicksOnTheWire());
    SendValue(Kind::kPcSample, kPcSample, 0x08000100 + (round * 52) % 0x4000, 4);
    SendValue(Kind::kPort31, kPort31HalfWord, round & 0xFFFF, 2);
    if (round % 50 == 49) Send(Kind::kOverflow, std::string(1, kOverflow));
    ++round;
}

void ItmPattern::Send(Kind kind, std::string bytes) {
    clocksMade += bytes.size() * byteTime;
    pending.push_back({kind, std::move(bytes)});
}

/// Ticks from the last timestamp to the moment at which the bytes so far are on the wire; at least one.
uint32_t ItmPattern::TicksOnTheWire() const {
    const uint64_t ticks = clocksMade / kClocksPerTick;
    return ticks > ticksTold ? static_cast<uint32_t>(std::min<uint64_t>(ticks - ticksTold, kLongestTimestamp))
                             : 1;
}

void ItmPattern::SendValue(Kind kind, uint8_t header, uint32_t value, int size) {
    std::string bytes(1, static_cast<char>(header));
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    Send(kind, bytes);
}

void ItmPattern::SendText(const std::string& text) {
    for (const char character : text) SendValue(Kind::kText, kPort0Byte, static_cast<uint8_t>(character), 1);
}

/// In one byte up to 6, else 7 bits a byte, lowest first, the highest bit telling that more follow.
void ItmPattern::SendTimestamp(uint32_t ticks) {
    ticksTold += ticks;
    if (ticks >= 1 && ticks <= 6) {
        Send(Kind::kTimestamp, std::string(1, static_cast<char>(ticks << 4)));
        return;
    }
    std::string bytes(1, '\xC0');
    do {
        const uint32_t more = ticks > 0x7F ? 0x80 : 0;
        bytes += static_cast<char>((ticks & 0x7F) | more);
        ticks >>= 7;
    } while (ticks != 0);
    Send(Kind::kTimestamp, bytes);
}

void ItmPattern::SendException(uint8_t function, uint16_t number) {
    const uint32_t value = (number & 0x1FFU) | static_cast<uint32_t>(function) << 12;
    SendValue(Kind::kException, kExceptionTrace, value, 2);
}

void ItmPattern::Count(const Packet& packet) {
    ++packets[packet.kind];
    if (packet.kind != Kind::kText) return;
    ++textBytes;
    line += packet.bytes[1];
    if (line.back() != '\n') return;
    ++lines;
    line.pop_back();
    lastLine.swap(line);
    line.clear();
}

const char* ItmPattern::Name(Kind kind) {
    switch (kind) {
        case Kind::kSync:
            return "synchronisation";
        case Kind::kText:
            return "port 0";
        case Kind::kCounter:
            return "port 1";
        case Kind::kPort31:
            return "port 31";
        case Kind::kTimestamp:
            return "local timestamp";
        case Kind::kException:
            return "exception trace";
        case Kind::kPcSample:
            return "PC sample";
        case Kind::kOverflow:
            return "overflow";
    }
    return "";
}

nlohmann::ordered_json ItmPattern::Content() const {
    nlohmann::ordered_json counts = nlohmann::ordered_json::object();
    for (const auto& [kind, count] : packets) counts[Name(kind)] = count;
    return {{"packets", counts}, {"text", {{"bytes", textBytes}, {"lines", lines}, {"last_line", lastLine}}}};
}

}  // namespace Korr::Plim::Trace::Simulator
