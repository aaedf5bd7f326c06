#include "exports/perfetto_writer.h"

#include "exports/clean_text.h"

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

constexpr std::size_t kPiece = 65536;  // bytes that are written at once, or a packet more

}  // namespace

void PerfettoWriter::Flush() {
    if (trace.Size() > 0) file.Write(trace.Bytes().data(), trace.Size());
    trace.Clear();
}

/// In UTF-8, as nearly all texts are. Valid until the next call.
std::string_view PerfettoWriter::Clean(std::string_view text) {
    if (IsAscii(text)) return text;
    clean.Clear();
    clean.EndAt(WriteClean(clean.Room(CleanRoom(text.size())), text, ZeroByte::Kept));
    return clean.Bytes();
}

/// What `event` holds, with what stands around it. \param time in nanoseconds; none: it has no time
void PerfettoWriter::WritePacket(uint32_t kind, std::optional<uint64_t> time) {
    std::size_t size = ProtoMessage::SizeOfInteger(field::kSequence, kOnlySequence) +
                       ProtoMessage::SizeOfBytes(kind, event.Size());
    if (time) size += ProtoMessage::SizeOfInteger(field::kTimestamp, *time);
    if (first) size += ProtoMessage::SizeOfInteger(field::kSequenceFlags, kStateCleared);
    trace.BeginBytes(field::kPacket, size);
    if (time) trace.AddInteger(field::kTimestamp, *time);
    trace.AddInteger(field::kSequence, kOnlySequence);
    if (first) trace.AddInteger(field::kSequenceFlags, kStateCleared);
    first = false;
    trace.AddBytes(kind, event.Bytes());
    event.Clear();
    if (trace.Size() >= kPiece) Flush();
}

void PerfettoWriter::BeginProcess(uint32_t number, std::string_view name, std::string_view times) {
    pid = number;
    const std::string_view shown = Clean(name);
    event.AddInteger(field::kUuid, TrackId(0));
    event.BeginBytes(field::kProcess, ProtoMessage::SizeOfInteger(field::kPid, pid) +
                                          ProtoMessage::SizeOfBytes(field::kProcessName, shown.size()));
    event.AddInteger(field::kPid, pid);
    event.AddBytes(field::kProcessName, shown);
    WritePacket(field::kTrackDescriptor, std::nullopt);
    constexpr uint32_t kTimes = kTracks - 1;
    AddTrack(kTimes, "what the times are", false);
    BeginEvent(Phase::Mark, kTimes, 0, times);
    EndEvent();
}

void PerfettoWriter::AddTrack(uint32_t track, std::string_view name, bool hasNumbers) {
    event.AddInteger(field::kUuid, TrackId(track));
    event.AddBytes(field::kName, Clean(name));
    event.AddInteger(field::kParent, TrackId(0));
    if (hasNumbers) event.AddBytes(field::kCounter, {});
    WritePacket(field::kTrackDescriptor, std::nullopt);
}

void PerfettoWriter::BeginEvent(Phase phase, uint32_t track, uint64_t time, std::string_view name) {
    eventTime = time;
    event.AddInteger(field::kType, static_cast<uint64_t>(phase) + 1);
    event.AddInteger(field::kTrack, TrackId(track));
    if (track == kLosses) event.AddBytes(field::kCategory, "loss");
    if (phase == Phase::Begin || phase == Phase::Mark) event.AddBytes(field::kEventName, Clean(name));
}

void PerfettoWriter::AddArgument(std::string_view name, uint64_t number) {
    event.BeginBytes(field::kAnnotation, ProtoMessage::SizeOfInteger(field::kUnsigned, number) +
                                             ProtoMessage::SizeOfBytes(field::kAnnotationName, name.size()));
    event.AddInteger(field::kUnsigned, number);
    event.AddBytes(field::kAnnotationName, name);
}

void PerfettoWriter::AddArgument(std::string_view name, std::string_view word) {
    const std::string_view shown = Clean(word);
    event.BeginBytes(field::kAnnotation, ProtoMessage::SizeOfBytes(field::kText, shown.size()) +
                                             ProtoMessage::SizeOfBytes(field::kAnnotationName, name.size()));
    event.AddBytes(field::kText, shown);
    event.AddBytes(field::kAnnotationName, name);
}

void PerfettoWriter::SetNumber(int64_t number) {
    event.AddInteger(field::kCounterValue, static_cast<uint64_t>(number));
}

void PerfettoWriter::SetNumber(float number) {
    event.AddDouble(field::kCounterDouble, static_cast<double>(number));
}

void PerfettoWriter::EndEvent() { WritePacket(field::kTrackEvent, eventTime); }

}  // namespace Korr::Plim::Trace::Exports
