#include "source_utilities/visible_text.h"

namespace KORR_PLIM {
namespace {

/// Number of bytes of the control character that the text begins with, 0 for none.
std::size_t ControlLength(const char* text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7F) return 1;
    const auto second = static_cast<unsigned char>(text[1]);
    return first == 0xC2 && second >= 0x80 && second <= 0x9F ? 2 : 0;
}

bool HasControl(const char* text) {
    for (; *text != '\0'; ++text) {
        if (ControlLength(text) != 0) return true;
    }
    return false;
}

void AppendEscaped(std::string& shown, char control) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    switch (control) {
        case '\n':
            shown += "\\n";
            break;
        case '\r':
            shown += "\\r";
            break;
        case '\t':
            shown += "\\t";
            break;
        default:
            shown += "\\x";
            shown += kDigits[static_cast<unsigned char>(control) >> 4];
            shown += kDigits[control & 0x0F];
            break;
    }
}

}  // namespace

Visible::Visible(const char* value) noexcept : text(value != nullptr ? value : "") {
    if (!HasControl(text)) return;
    try {
        for (const char* next = text; *next != '\0';) {
            const std::size_t control = ControlLength(next);
            for (std::size_t index = 0; index < control; ++index) AppendEscaped(shown, next[index]);
            if (control == 0) shown += *next;
            next += control == 0 ? 1 : control;
        }
        text = shown.c_str();
    } catch (...) {  // no memory: a log call is no place to fail
        text = "?";
    }
}

}  // namespace KORR_PLIM
