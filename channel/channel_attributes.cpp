#include <array>
#include <cstring>

#include "channel/ChannelDriver.h"
#include "channel/channel_log.h"
#include "channel/text_numbers.h"
#include "source_utilities/environment.h"
#include "source_utilities/file_system.h"
#include "source_utilities/visible_text.h"
#include "uart/target_word.h"

using KORR_PLIM::kLogChatty;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogMessage;
using KORR_PLIM::Visible;

namespace Korr::Plim::Trace::Tarnel {
namespace {

// The host's type codes of attribute values.
constexpr uint32_t kTypeBoolean = 0;
constexpr uint32_t kTypeChannel = 1;
constexpr uint32_t kTypeInteger = 2;
constexpr uint32_t kTypeText = 5;
constexpr uint32_t kTypeReal = 6;

// Comparators of the target's data watchpoint unit.
struct Comparator {
    const char* attribute;
    uint32_t address;
};
constexpr std::array<Comparator, 4> kComparators = {
    {{"WP0 Comp", 0xE0001020}, {"WP1 Comp", 0xE0001030}, {"WP2 Comp", 0xE0001040}, {"WP3 Comp", 0xE0001050}}};

bool Is(const char* name, const char* attribute) { return std::strcmp(name, attribute) == 0; }

void Answer(TraceAttribute& answer, uint32_t type, const char* value) {
    answer.type = type;
    answer.value = value;
}

void AnswerUnhandled(const char* name, TraceAttribute& answer) {
    LogMessage(kLogOrdinary, "%s: Unhandled Attribute = %s", kChannelDriverTag, Visible(name).Text());
    Answer(answer, kTypeChannel, "0");
}

}  // namespace

void ChannelDriver::GetAttribute(const char* name, TraceAttribute& answer) {
    if (name == nullptr) ThrowError("Null attribute name");
    attrText.clear();
    LogMessage(kLogChatty, "%s: Get the attribute %s.", kChannelDriverTag, Visible(name).Text());
    answer.name = name;
    if (AnswerFrequency(name, answer)) return;
    if (Is(name, "Buffer Wrapped") || Is(name, "TWP Source")) return Answer(answer, kTypeBoolean, "0");
    if (AnswerTimestampPrescale(name, answer) || AnswerComparator(name, answer)) return;
    if (Is(name, "ITM Exception Map Name")) return Answer(answer, kTypeText, exceptionMapName);
    if (AnswerChannelType(name, answer)) return;
    AnswerUnhandled(name, answer);
}

bool ChannelDriver::AnswerFrequency(const char* name, TraceAttribute& answer) {
    const double clock = traceClockHz;
    if (Is(name, "Trace Data Frequency")) {
        attrText = FormatReal(clock / (prescaler + 1.0));
    } else if (Is(name, "Timing Clock Frequency")) {
        attrText = FormatReal(clock);
    } else {
        return false;
    }
    Answer(answer, kTypeReal, attrText.c_str());
    return true;
}

bool ChannelDriver::AnswerTimestampPrescale(const char* name, TraceAttribute& answer) {
    if (!Is(name, "ITM Timestamp Prescale")) return false;
    attrText = std::to_string(timestampPrescale);
    Answer(answer, kTypeInteger, attrText.c_str());
    return true;
}

bool ChannelDriver::AnswerComparator(const char* name, TraceAttribute& answer) {
    for (const Comparator& comparator : kComparators) {
        if (!Is(name, comparator.attribute)) continue;
        attrText = std::to_string(TargetWord(memoryAccess, comparator.address).OrZero());
        Answer(answer, kTypeInteger, attrText.c_str());
        return true;
    }
    return false;
}

bool ChannelDriver::AnswerChannelType(const char* name, TraceAttribute& answer) {
    if (std::strstr(name, "ITMChannelType_") == nullptr) return false;
    if (!itmChannelTypesLoaded) LoadItmChannelTypes();
    const int32_t channel = ParseInteger(std::strchr(name, '_') + 1);
    if (channel < 0 || channel >= static_cast<int32_t>(kItmChannels)) {
        AnswerUnhandled(name, answer);
        return true;
    }
    const bool isOne = itmChannelType[static_cast<std::size_t>(channel)] == 1;
    Answer(answer, kTypeChannel, isOne ? "1" : "0");
    return true;
}

void ChannelDriver::LoadItmChannelTypes() {
    const std::string folder = KORR_PLIM::GetEnvironment("KORR_TRACE_SETTINGS_DIR");
    const ItmTypes types = ReadItmTypes(folder + KORR_PLIM::platform::PathSeparator() + kItmSetupFile);
    for (std::size_t channel = 0; channel < types.size(); ++channel) itmChannelType[channel] = types[channel];
    itmChannelTypesLoaded = true;
}

void ChannelDriver::ResetItmChannelTypes() {
    for (auto& type : itmChannelType) type = kItmTypeNotSet;
    itmChannelTypesLoaded = false;
}

}  // namespace Korr::Plim::Trace::Tarnel
