#include "exports/ctf_metadata.h"

#include <set>

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

/// As a string literal. Control characters have no meaning in a name and become U+FFFD.
std::string Quoted(std::string_view text) {
    std::string literal = "\"";
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        const auto byte = static_cast<unsigned char>(character[0]);
        if (byte == '"' || byte == '\\') literal += '\\';
        literal += byte < 0x20 || byte == 0x7F ? kReplacement : character;
    }
    return literal + '"';
}

/// What a kind of packets or a quality of time is called, by its number.
template <typename Kind, typename Name>
std::string Labels(int count, Name&& name) {
    std::string labels;
    for (int i = 0; i < count; ++i) {
        labels += (i == 0 ? "" : ", ") + Quoted(name(static_cast<Kind>(i))) + " = " + std::to_string(i);
    }
    return labels;
}

/// Names that several exceptions have get their numbers, for a label stands for one.
std::string ExceptionLabels(const Names& names) {
    std::string labels;
    std::set<std::string> taken;
    for (uint32_t number = 0; number < Symbols::ElfSymbols::kMostExceptions; ++number) {
        std::string label = Quoted(names.Exception(number));
        if (!taken.insert(label).second) {
            label = Quoted(names.Exception(number) + " (" + std::to_string(number) + ")");
            taken.insert(label);
        }
        labels += (number == 0 ? "" : ", ") + label + " = " + std::to_string(number);
    }
    return labels;
}

std::string PortLabels(const Names& names) {
    std::string labels;
    for (uint32_t port = 0; port < 256; ++port) {
        labels += (port == 0 ? "" : ", ") + Quoted(names.Port(static_cast<uint8_t>(port))) + " = " +
                  std::to_string(port);
    }
    return labels;
}

constexpr const char* kTypes = R"(/* CTF 1.8 */

typealias integer { size = 8; align = 8; signed = false; } := u8;
typealias integer { size = 16; align = 8; signed = false; } := u16;
typealias integer { size = 32; align = 8; signed = false; } := u32;
typealias integer { size = 64; align = 8; signed = false; } := u64;
typealias integer { size = 64; align = 8; signed = true; } := i64;
typealias integer { size = 8; align = 8; signed = false; base = 16; } := hex8;
typealias integer { size = 32; align = 8; signed = false; base = 16; } := hex32;
typealias floating_point { exp_dig = 8; mant_dig = 24; align = 8; } := f32;

trace {
    major = 1;
    minor = 8;
    byte_order = le;
    packet.header := struct { u32 magic; u32 stream_id; };
};
)";

constexpr const char* kStream =
    R"(typealias integer { size = 64; align = 8; signed = false; map = clock.trace.value; } := moment;

stream {
    id = 0;
    packet.context := struct {
        moment timestamp_begin;
        moment timestamp_end;
        u64 content_size;
        u64 packet_size;
        u64 packet_seq_num;
        u64 events_discarded;
    };
    event.header := struct { u8 id; moment timestamp; };
    event.context := struct { u64 offset; quality_of_time quality; u8 suspect; u8 salvaged; };
};
)";

std::string Event(CtfEvent id, const char* name, const char* fields) {
    return "event { id = " + std::to_string(static_cast<int>(id)) + "; stream_id = 0; name = \"" + name +
           "\"; fields := struct { " + fields + " }; };\n";
}

}  // namespace

std::string CtfMetadata(const CaptureFacts& facts, const Names& names, const Axis& axis) {
    std::string text = kTypes;
    text += "env {\n    tracer_name = \"tracehost\";\n    capture = " + Quoted(facts.name) +
            ";\n    times = " + Quoted(axis.explained) + ";\n};\n";
    text += "clock { name = trace; description = " + Quoted(axis.explained) +
            "; freq = " + std::to_string(axis.perSecond) + "; offset = 0; };\n";
    text +=
        "typealias enum : u8 { " + Labels<Swo::TimeQuality>(4, Swo::QualityName) + " } := quality_of_time;\n";
    text += "typealias enum : u8 { " + Labels<Swo::PacketKind>(Swo::kPacketKinds, Swo::KindName) +
            " } := packet_kind;\n";
    text += "typealias enum : u16 { " + ExceptionLabels(names) + " } := exception_number;\n";
    text += "typealias enum : u8 { \"enter\" = 1, \"exit\" = 2, \"return\" = 3 } := exception_change;\n";
    text += "typealias enum : u8 { " + PortLabels(names) + " } := stimulus_port;\n";
    text += "typealias enum : u8 { \"read\" = 0, \"write\" = 1 } := access_kind;\n";
    text += kStream;
    text += Event(CtfEvent::Text, "text", "stimulus_port port; string line;");
    text += Event(CtfEvent::PortValue, "value", "stimulus_port port; i64 value;");
    text += Event(CtfEvent::PortFloat, "float_value", "stimulus_port port; f32 value;");
    text += Event(CtfEvent::PortPayload, "short_write", "stimulus_port port; u8 bytes; hex32 payload;");
    text += Event(CtfEvent::Exception, "exception", "exception_number number; exception_change change;");
    text += Event(CtfEvent::PcSample, "pc_sample", "hex32 pc; string function;");
    text += Event(CtfEvent::PcSleep, "pc_sleep", "");
    text += Event(CtfEvent::PcProhibited, "pc_prohibited", "");
    text +=
        Event(CtfEvent::DataValue, "data_value", "u8 comparator; access_kind access; u8 bytes; hex32 value;");
    text += Event(CtfEvent::DataPc, "data_pc", "u8 comparator; u8 bytes; hex32 pc; string function;");
    text += Event(CtfEvent::DataAddress, "data_address", "u8 comparator; u8 bytes; hex32 address;");
    text += Event(CtfEvent::DataMatch, "data_match", "u8 comparator;");
    text += Event(CtfEvent::EventCounters, "event_counters", "hex8 wrapped;");
    text += Event(CtfEvent::PmuOverflow, "pmu_overflow", "hex8 wrapped;");
    text += Event(CtfEvent::Overflow, "overflow", "");
    text += Event(CtfEvent::Damage, "damage", "packet_kind kind; u32 bytes;");
    text += Event(CtfEvent::OtherPacket, "other_packet",
                  "packet_kind kind; u16 source; u8 bytes; hex32 payload;");
    return text;
}

}  // namespace Korr::Plim::Trace::Exports
