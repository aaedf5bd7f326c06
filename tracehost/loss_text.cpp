#include "tracehost/loss_text.h"

#include <nlohmann/json.hpp>

#include "tracehost/human_numbers.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::LedgerEntry;
using Swo::LossKind;

std::string Suspects(const LedgerEntry& entry) {
    if (entry.suspects == 0) return "";
    return "; " + CountOf(entry.suspects, "packet") + " before it (from " + FormatCount(entry.suspectFrom) +
           ") " + (entry.suspects == 1 ? "is" : "are") + " suspect";
}

std::string Damage(const LedgerEntry& entry, const std::string& what) {
    return what + Suspects(entry) + "; in step again at " + FormatCount(entry.offset + entry.length);
}

std::string Malformed(const LedgerEntry& entry) {
    switch (static_cast<Swo::MalformedReason>(entry.reason)) {
        case Swo::MalformedReason::Continuation:
            return "bytes missing or changed: a packet does not end";
        case Swo::MalformedReason::ZerosWithoutOne:
            return "bytes missing or changed: zeros that are no synchronisation";
        case Swo::MalformedReason::ExceptionFunction:
            return "bytes missing or changed: an exception packet that says nothing";
        case Swo::MalformedReason::PcByte:
            return "bytes missing or changed: a PC sample that is none";
        case Swo::MalformedReason::OutOfStep:
        case Swo::MalformedReason::BytesMissing:
            return "bytes missing";
    }
    return "bytes missing or changed";
}

std::string Gap(const LedgerEntry& entry) {
    const uint64_t missing = entry.missing;
    std::string text =
        "port " + std::to_string(entry.source) + " counts on after " + CountOf(missing, "missing value");
    if (missing > UINT32_MAX / 2) {
        text = "port " + std::to_string(entry.source) + " counts from another value on";
    }
    return text + (entry.lossClass == Swo::LossClass::Target ? ", which the target dropped (overflow)" : "");
}

std::string Overflow(const LedgerEntry& entry) {
    const std::string times = entry.count == 1 ? "" : " " + FormatCount(entry.count) + " times";
    return "the target dropped packets" + times + " (overflow)";
}

const char* Severity(const LedgerEntry& entry) {
    if (entry.lossClass == Swo::LossClass::Edge) return "edge";
    return entry.hint ? "hint" : "loss";
}

std::string Hexadecimal(const LedgerEntry& entry) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < entry.byteCount; ++i) {
        text += kDigits[entry.bytes[i] >> 4];
        text += kDigits[entry.bytes[i] & 15];
    }
    return text;
}

void Part(std::string& text, const std::string& part) { text += (text.empty() ? "" : ", ") + part; }

}  // namespace

std::string DescribeLoss(const LedgerEntry& entry) {
    switch (entry.kind) {
        case LossKind::ItmOverflow:
            return Overflow(entry);
        case LossKind::TimestampOverflow:
            return "the timestamp counter overflowed: no packet for 2,097,152 ticks";
        case LossKind::Delayed:
            return "hint: " + CountOf(entry.count, "timestamp") + " or packet" +
                   (entry.count == 1 ? "" : "s") + " delayed in the target";
        case LossKind::Malformed:
            return Damage(entry, Malformed(entry));
        case LossKind::Reserved:
            return Damage(entry, "bytes missing or changed: a header without a meaning");
        case LossKind::Unsynchronised:
            return Damage(entry, "no packets");
        case LossKind::FrameStep:
            return "bytes missing: frames out of step; in step again at " +
                   FormatCount(entry.offset + entry.length) + " (phase +" + std::to_string(entry.source) +
                   ")";
        case LossKind::OrderHint:
            return "hint: an order of packets never seen before; bytes missing?";
        case LossKind::KindHint:
            return "hint: a kind of packet never seen before; bytes missing?";
        case LossKind::ExitHint:
            return "hint: exception " + std::to_string(entry.source) +
                   " is left and was never entered; bytes missing?";
        case LossKind::TimeHint:
            return "hint: the upper bits of the global time come in " + CountOf(entry.source, "byte") +
                   ", not in 4 or 6";
        case LossKind::TruncatedEnd:
            return "the recording ends inside a packet";
        case LossKind::StartMidPacket:
            return "start inside a packet";
        case LossKind::DriverOverrun:
            return "the port's hardware lost bytes " + CountOf(entry.count, "time");
        case LossKind::DriverBufferOverrun:
            return "the driver's buffer was full " + CountOf(entry.count, "time");
        case LossKind::Framing:
            return CountOf(entry.count, "byte") + " without a stop bit";
        case LossKind::Parity:
            return CountOf(entry.count, "parity error");
        case LossKind::Break:
            return CountOf(entry.count, "break") + " on the line";
        case LossKind::PortLost:
            return "the port was lost";
        case LossKind::ReaderStopped:
            return "the receiver stopped reading";
        case LossKind::CounterGap:
            return Gap(entry);
        case LossKind::PeriodGap:
            return "hint: " + CountOf(entry.missing, "periodic packet") + " missing?";
        case LossKind::GlobalGap:
            return "the local timestamps miss " + CountOf(entry.missing, "tick") + " of the global time";
        case LossKind::ArrivalGap:
            return "hint: a busy line was silent for " + FormatCount(entry.missing) + " ms";
    }
    return "";
}

std::string SummariseLosses(const Swo::LedgerTotals& totals) {
    const uint64_t places = totals.lostOnTheWay + totals.lostInTarget;
    if (places == 0) return "nothing";
    std::string parts;
    if (totals.lostOnTheWay > 0) Part(parts, FormatCount(totals.lostOnTheWay) + " between pin and file");
    if (totals.lostInTarget > 0) Part(parts, FormatCount(totals.lostInTarget) + " in the target");
    std::string text = CountOf(places, "place") + " (" + parts + ")";
    std::string what;
    if (totals.damagedBytes > 0) Part(what, CountOf(totals.damagedBytes, "byte") + " damaged");
    if (totals.suspectPackets > 0) Part(what, CountOf(totals.suspectPackets, "packet") + " suspect");
    if (totals.missing > 0) Part(what, CountOf(totals.missing, "counted value") + " missing");
    if (totals.salvagedBytes > 0) {
        Part(what, CountOf(totals.salvagedBytes, "byte") + " salvaged without a sync mark");
    }
    return what.empty() ? text : text + ": " + what;
}

std::string LiveLosses(const Swo::LedgerTotals& totals) {
    const uint64_t overflows = totals.Of(LossKind::ItmOverflow) + totals.Of(LossKind::TimestampOverflow);
    std::string text =
        "lost: " + CountOf(overflows, "overflow") + ", " + FormatCount(totals.lostOnTheWay) + " damaged";
    if (totals.missing > 0) text += ", " + FormatCount(totals.missing) + " missing";
    return text;
}

std::string LossAsJson(const LedgerEntry& entry, const Exports::TimeScale& scale) {
    nlohmann::ordered_json object = {{"offset", entry.offset},
                                     {"length", entry.length},
                                     {"class", Swo::LossClassName(entry.lossClass)},
                                     {"kind", Swo::LossKindName(entry.kind)},
                                     {"severity", Severity(entry)},
                                     {"count", entry.count}};
    if (entry.timeQuality != Swo::TimeQuality::None) {
        object["ticks"] = entry.ticks;
        if (scale.clockHz > 0) object["ns"] = scale.Nanoseconds(entry.ticks);
    }
    object["quality"] = Swo::QualityName(entry.timeQuality);
    if (entry.lossClass == Swo::LossClass::Gap || entry.kind == LossKind::CounterGap) {
        object["source"] = entry.source;
    }
    if (entry.missingKnown) object["missing"] = entry.missing;
    if (entry.suspects > 0) {
        object["suspects"] = entry.suspects;
        object["suspect_from"] = entry.suspectFrom;
    }
    object["bytes"] = Hexadecimal(entry);
    object["what"] = DescribeLoss(entry);
    return object.dump() + "\n";
}

}  // namespace Korr::Plim::Trace::Tracehost
