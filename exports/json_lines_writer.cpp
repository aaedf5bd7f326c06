#include "exports/json_lines_writer.h"

#include "exports/json_text.h"
#include "exports/packet_fields.h"

namespace Korr::Plim::Trace::Exports {

void JsonLinesWriter::Begin(const CaptureFacts& facts) {
    scale = facts.scale;
    names.reset();
    if (facts.symbols != nullptr) names.emplace(facts);
}

void JsonLinesWriter::AddName(std::string_view name) {
    text.Add(", \"");
    text.Add(name);
    text.Add("\": ");
}

void JsonLinesWriter::AddNumber(std::string_view name, bool there, uint64_t number) {
    AddName(name);
    if (there) {
        text.AddNumber(number);
    } else {
        text.Add("null");
    }
}

void JsonLinesWriter::AddWord(std::string_view name, std::string_view word) {
    AddName(name);
    if (word.empty()) {
        text.Add("null");
        return;
    }
    text.Add('"');
    text.Add(word);
    text.Add('"');
}

void JsonLinesWriter::OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) {
    const PacketFields fields = FieldsOf(packet);
    const bool timed = time.quality != Swo::TimeQuality::None;
    const bool scaled = timed && scale.clockHz > 0;
    text.BeginRow();
    text.Add("{\"offset\": ");
    text.AddNumber(packet.offset);
    AddNumber("ns", scaled, scaled ? scale.Nanoseconds(time.ticks) : 0);
    AddNumber("ticks", timed, time.ticks);
    AddWord("quality", Swo::QualityName(time.quality));
    AddWord("kind", Swo::KindName(packet.kind));
    AddNumber("source", fields.hasSource, packet.source);
    AddNumber("size", true, fields.size);
    AddName("value");
    if (fields.hasValue) {
        text.Add('"');
        text.AddHexadecimal(Swo::ValueOf(packet));
        text.Add('"');
    } else {
        text.Add("null");
    }
    AddWord("function", fields.function);
    const auto symbol = names ? names->Symbol(packet) : std::string_view();
    if (symbol.empty()) {
        AddWord("symbol", "");
    } else {
        AddName("symbol");
        AddJsonString(text, symbol);
    }
    AddWord("flags", fields.flags);
    text.Add("}\n");
}

}  // namespace Korr::Plim::Trace::Exports
