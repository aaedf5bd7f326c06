#include "exports/perfetto_writer.h"

#include <cstring>

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

namespace field {
constexpr uint32_t kPacket = 1;  // of the file
constexpr uint32_t kTimestamp = 8;
constexpr uint32_t kSequence = 10;
constexpr uint32_t kTrackEvent = 11;
constexpr uint32_t kSequenceFlags = 13;
constexpr uint32_t kTrackDescriptor = 60;
constexpr uint32_t kUuid = 1;  // of a descriptor
constexpr uint32_t kName = 2;
constexpr uint32_t kProcess = 3;
constexpr uint32_t kParent = 5;
constexpr uint32_t kCounter = 8;
constexpr uint32_t kPid = 1;  // of a process
constexpr uint32_t kProcessName = 6;
constexpr uint32_t kAnnotation = 4;  // of an event
constexpr uint32_t kType = 9;
constexpr uint32_t kTrack = 11;
constexpr uint32_t kCategory = 22;
constexpr uint32_t kEventName = 23;
constexpr uint32_t kCounterValue = 30;
constexpr uint32_t kCounterDouble = 44;
constexpr uint32_t kUnsigned = 3;  // of an annotation
constexpr uint32_t kText = 6;
constexpr uint32_t kAnnotationName = 10;
}  // namespace field

constexpr uint64_t kOnlySequence = 1;
constexpr uint64_t kStateCleared = 1;  // nothing that follows needs what came before

/// As the format wants its texts: in UTF-8, as nearly all are.
class CleanText {
  public:
    explicit CleanText(std::string_view given) : text(given) {
        if (PlainPart(given) == given.size()) return;
        clean.reserve(given.size() * kReplacement.size());
        while (!given.empty()) {
            const std::size_t plain = PlainPart(given);
            clean += given.substr(0, plain);
            given.remove_prefix(plain);
            if (!given.empty()) clean += TakeCharacter(given);
        }
        text = clean;
    }
    operator std::string_view() const { return text; }

  private:
    /// How much of it, from its beginning on, is ASCII.
    static std::size_t PlainPart(std::string_view part) {
        std::size_t size = 0;
        for (uint64_t eight = 0; size + sizeof eight <= part.size(); size += sizeof eight) {
            std::memcpy(&eight, &part[size], sizeof eight);
            if ((eight & 0x8080808080808080) != 0) break;
        }
        while (size < part.size() && (part[size] & 0x80) == 0) ++size;
        return size;
    }

    std::string clean;
    std::string_view text;
};

}  // namespace

void PerfettoWriter::WritePacket(uint32_t kind) {
    packet.AddInteger(field::kSequence, kOnlySequence);
    if (first) packet.AddInteger(field::kSequenceFlags, kStateCleared);
    first = false;
    packet.BeginBytes(kind, event.Bytes().size());
    part.Clear();
    part.BeginBytes(field::kPacket, packet.Bytes().size() + event.Bytes().size());
    file.AddLong(part.Bytes());
    file.AddLong(packet.Bytes());
    file.AddLong(event.Bytes());
    packet.Clear();
    event.Clear();
}

void PerfettoWriter::BeginProcess(uint32_t number, std::string_view name, std::string_view times) {
    pid = number;
    part.Clear();
    part.AddInteger(field::kPid, pid);
    part.AddBytes(field::kProcessName, CleanText(name));
    event.AddInteger(field::kUuid, TrackId(0));
    event.AddBytes(field::kProcess, part.Bytes());
    WritePacket(field::kTrackDescriptor);
    constexpr uint32_t kTimes = kTracks - 1;
    AddTrack(kTimes, "what the times are", false);
    BeginEvent(Phase::Mark, kTimes, 0, times);
    EndEvent();
}

void PerfettoWriter::AddTrack(uint32_t track, std::string_view name, bool hasNumbers) {
    event.AddInteger(field::kUuid, TrackId(track));
    event.AddBytes(field::kName, CleanText(name));
    event.AddInteger(field::kParent, TrackId(0));
    if (hasNumbers) event.AddBytes(field::kCounter, {});
    WritePacket(field::kTrackDescriptor);
}

void PerfettoWriter::BeginEvent(Phase phase, uint32_t track, uint64_t time, std::string_view name) {
    eventTime = time;
    event.AddInteger(field::kType, static_cast<uint64_t>(phase) + 1);
    event.AddInteger(field::kTrack, TrackId(track));
    if (track == kLosses) event.AddBytes(field::kCategory, "loss");
    if (phase == Phase::Begin || phase == Phase::Mark) event.AddBytes(field::kEventName, CleanText(name));
}

void PerfettoWriter::AddArgument(std::string_view name, uint64_t number) {
    part.Clear();
    part.AddInteger(field::kUnsigned, number);
    part.AddBytes(field::kAnnotationName, name);
    event.AddBytes(field::kAnnotation, part.Bytes());
}

void PerfettoWriter::AddArgument(std::string_view name, std::string_view word) {
    part.Clear();
    part.AddBytes(field::kText, CleanText(word));
    part.AddBytes(field::kAnnotationName, name);
    event.AddBytes(field::kAnnotation, part.Bytes());
}

void PerfettoWriter::SetNumber(int64_t number) {
    event.AddInteger(field::kCounterValue, static_cast<uint64_t>(number));
}

void PerfettoWriter::SetNumber(float number) {
    event.AddDouble(field::kCounterDouble, static_cast<double>(number));
}

void PerfettoWriter::EndEvent() {
    packet.AddInteger(field::kTimestamp, eventTime);
    WritePacket(field::kTrackEvent);
}

}  // namespace Korr::Plim::Trace::Exports
