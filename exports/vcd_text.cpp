#include "exports/vcd_text.h"

#include <algorithm>
#include <bit>

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

/// As a name in a dump: no blanks, nothing that tools take for something else.
std::string CleanName(std::string_view name) {
    std::string clean(name.substr(0, 200));
    for (char& character : clean) {
        const bool isPlain = (character >= 'a' && character <= 'z') ||
                             (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9');
        if (!isPlain) character = '_';
    }
    return clean;
}

/// On one line, and no end of a comment.
std::string CleanComment(std::string_view text) {
    std::string clean;
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        const auto byte = static_cast<unsigned char>(character[0]);
        clean += byte < 0x20 || byte == 0x7F || byte == '$' ? "_" : character;
    }
    return clean;
}

}  // namespace

void VcdText::BeginHeader(std::string_view comment) {
    row.BeginRow();
    row.Add("$comment ");
    row.AddLong(CleanComment(comment));
    row.Add(" $end\n$timescale 1 ns $end\n");
}

void VcdText::BeginScope(std::string_view name) {
    row.BeginRow();
    row.Add("$scope module ");
    row.Add(name);
    row.Add(" $end\n");
}

void VcdText::Declare(std::string_view type, unsigned bits, uint32_t signal, std::string_view name) {
    row.BeginRow();
    row.Add("$var ");
    row.Add(type);
    row.Add(' ');
    row.AddNumber(bits);
    row.Add(' ');
    AddId(signal);
    row.Add(' ');
    row.AddLong(CleanName(name));
    row.Add(" $end\n");
}

/// Printable characters stand for the digits of a number.
void VcdText::AddId(uint32_t signal) {
    constexpr uint32_t kDigits = '~' - '!' + 1;
    row.Add(static_cast<char>('!' + signal % kDigits));
    if (signal >= kDigits) row.Add(static_cast<char>('!' + signal / kDigits));
}

void VcdText::EndValue(uint32_t signal) {
    row.Add(' ');
    AddId(signal);
    row.Add('\n');
}

void VcdText::At(uint64_t nanoseconds) {
    if (nanoseconds == now) return;
    now = nanoseconds;
    row.BeginRow();
    row.Add('#');
    row.AddNumber(now);
    row.Add('\n');
}

void VcdText::SetBit(uint32_t signal, char bit) {
    row.BeginRow();
    row.Add(bit);
    AddId(signal);
    row.Add('\n');
}

void VcdText::SetVector(uint32_t signal, unsigned bits, uint32_t value) {
    row.BeginRow();
    row.Add('b');
    const uint32_t kept = bits >= 32 ? value : value & ((1U << bits) - 1);
    for (int bit = std::max<int>(static_cast<int>(std::bit_width(kept)), 1); bit-- > 0;) {
        row.Add((kept >> bit & 1) != 0 ? '1' : '0');
    }
    EndValue(signal);
}

void VcdText::SetReal(uint32_t signal, float value) {
    row.BeginRow();
    row.Add('r');
    row.AddNumber(value);
    EndValue(signal);
}

void VcdText::SetUnknown(uint32_t signal) {
    row.BeginRow();
    row.Add("bx");
    EndValue(signal);
}

void VcdText::SetText(uint32_t signal, std::string_view text) {
    row.BeginRow();
    row.Add('s');
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        const auto byte = static_cast<unsigned char>(character[0]);
        if (byte > 0x20 && byte != 0x7F && byte != '\\') {
            row.AddLong(character);
            continue;
        }
        row.Add('\\');
        row.Add(static_cast<char>('0' + (byte >> 6)));
        row.Add(static_cast<char>('0' + (byte >> 3 & 7)));
        row.Add(static_cast<char>('0' + (byte & 7)));
        row.BeginRow();
    }
    EndValue(signal);
}

}  // namespace Korr::Plim::Trace::Exports
