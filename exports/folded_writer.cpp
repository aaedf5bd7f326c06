#include "exports/folded_writer.h"

#include <map>
#include <string>

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

/// A name as a frame of a stack: what would end the frame or the line is replaced.
std::string Frame(std::string_view name) {
    std::string frame;
    while (!name.empty()) {
        const std::string_view character = TakeCharacter(name);
        const auto byte = static_cast<unsigned char>(character[0]);
        frame += byte == ';' ? ":" : byte < 0x20 || byte == 0x7F ? " " : character;
    }
    return frame;
}

}  // namespace

void FoldedWriter::Begin(const CaptureFacts& facts) {
    samples.Begin(facts);
    names.emplace(facts);
}

void FoldedWriter::Finish() {
    std::map<std::string, uint64_t> stacks;  // in the order of the alphabet
    const auto add = [&](uint16_t exception, const std::string& frame, uint64_t count) {
        const bool isKnown = exception != SampleCounter::kUnknownException;
        stacks[(isKnown ? Frame(names->Exception(exception)) : "[unknown]") + ";" + frame] += count;
    };
    for (const auto& [place, count] : samples.Places()) {
        const auto function = names->Function(place.pc);
        add(place.exception, function.empty() ? HexadecimalText(place.pc) : Frame(function), count);
    }
    for (const auto& [exception, count] : samples.Sleeping()) add(exception, "[sleeping]", count);
    for (const auto& [exception, count] : samples.Prohibited()) add(exception, "[prohibited]", count);
    for (const auto& [exception, count] : samples.Unplaced()) add(exception, "[other]", count);
    for (const auto& [stack, count] : stacks) {
        row.BeginRow();
        row.AddLong(stack);
        row.Add(' ');
        row.AddNumber(count);
        row.Add('\n');
    }
    row.Flush();
}

}  // namespace Korr::Plim::Trace::Exports
