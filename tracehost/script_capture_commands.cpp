// Script commands that read or save what a channel driver captured.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tracehost/script_session.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Session = ScriptSession;
using Arguments = ScriptArguments;

constexpr std::size_t kSampleSize = 8;
constexpr uint32_t kMostSamples = 131072;  // 1 MiB, so that an answer stays one line of 2 MiB
constexpr uint32_t kLongestWait = 3600000;
constexpr uint8_t kFill = 0xEE;
constexpr auto kPollPause = std::chrono::milliseconds(5);

std::string Hexadecimal(const uint8_t* bytes, std::size_t count) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

void Samples(Session& session, const Arguments& arguments, Answer& answer) {
    answer["samples"] = DriverOf(session, arguments).GetNumSamples();
}

/// The buffer stands between two guard samples: a driver that writes beside it is found out.
void Read(Session& session, const Arguments& arguments, Answer& answer) {
    CChannelDriver& driver = DriverOf(session, arguments);
    const uint32_t start = arguments.Number(1);
    const uint32_t count = arguments.Number(2, kMostSamples);
    const std::size_t size = count * kSampleSize;
    std::vector<uint8_t> memory(size + 2 * kSampleSize, kFill);
    uint8_t* const buffer = memory.data() + kSampleSize;
    uint32_t samplesRead = 0;
    const uint32_t result = driver.SeekReadTraceData(start, count, buffer, samplesRead);
    answer["samples"] = result;
    answer["data"] = Hexadecimal(buffer, size);
    const auto untouched = [](uint8_t byte) { return byte == kFill; };
    const bool guarded = std::all_of(memory.data(), buffer, untouched) &&
                         std::all_of(buffer + size, memory.data() + memory.size(), untouched);
    if (!guarded) throw HostError("the plug-in wrote beside the buffer");
    if (result != samplesRead) throw HostError("the plug-in returned another number than it stored");
}

void Save(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).SaveFile(arguments.TextOrNull(1), arguments.SignedNumber(2));
}

void Load(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).LoadFile(arguments.TextOrNull(1));
}

void WaitSamples(Session& session, const Arguments& arguments, Answer& answer) {
    CChannelDriver& driver = DriverOf(session, arguments);
    const uint32_t wanted = arguments.Number(1);
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(arguments.Number(2, kLongestWait));
    uint32_t samples = driver.GetNumSamples();
    while (samples < wanted && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPollPause);
        samples = driver.GetNumSamples();
    }
    answer["samples"] = samples;
}

}  // namespace

const std::vector<ScriptCommand>& CaptureCommands() {
    static const std::vector<ScriptCommand> commands = {
        {"samples", "CPU", 1, 1, Samples},
        {"read", "CPU START COUNT", 3, 3, Read},
        {"save", "CPU FILE FORMAT", 3, 3, Save},
        {"load", "CPU FILE", 2, 2, Load},
        {"wait-samples", "CPU N MS", 3, 3, WaitSamples},
    };
    return commands;
}

}  // namespace Korr::Plim::Trace::Tracehost
