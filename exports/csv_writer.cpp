#include "exports/csv_writer.h"

#include "exports/packet_fields.h"

namespace Korr::Plim::Trace::Exports {

CsvWriter::CsvWriter(Output& target) : text(target) {
    text.BeginRow();
    text.Add("offset,ns,ticks,quality,kind,source,size,value,function,symbol,flags\n");
}

void CsvWriter::Begin(const CaptureFacts& facts) {
    scale = facts.scale;
    names.reset();
    if (facts.symbols != nullptr) names.emplace(facts);
}

void CsvWriter::AddSymbol(std::string_view symbol) {
    if (symbol.find_first_of(",\"\r\n") == std::string_view::npos) return text.AddLong(symbol);
    text.Add('"');
    for (std::size_t quote; (quote = symbol.find('"')) != std::string_view::npos;) {
        text.AddLong(symbol.substr(0, quote + 1));
        text.Add('"');
        symbol.remove_prefix(quote + 1);
    }
    text.AddLong(symbol);
    text.Add('"');
}

void CsvWriter::OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) {
    const PacketFields fields = FieldsOf(packet);
    const bool timed = time.quality != Swo::TimeQuality::None;
    text.BeginRow();
    text.AddNumber(packet.offset);
    text.Add(',');
    if (timed && scale.clockHz > 0) text.AddNumber(scale.Nanoseconds(time.ticks));
    text.Add(',');
    if (timed) text.AddNumber(time.ticks);
    text.Add(',');
    text.Add(Swo::QualityName(time.quality));
    text.Add(',');
    text.Add(Swo::KindName(packet.kind));
    text.Add(',');
    if (fields.hasSource) text.AddNumber(packet.source);
    text.Add(',');
    text.AddNumber(fields.size);
    text.Add(',');
    if (fields.hasValue) text.AddHexadecimal(Swo::ValueOf(packet));
    text.Add(',');
    text.Add(fields.function);
    text.Add(',');
    if (names) AddSymbol(names->Symbol(packet));
    text.Add(',');
    text.Add(fields.flags);
    text.Add('\n');
}

}  // namespace Korr::Plim::Trace::Exports
