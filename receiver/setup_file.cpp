#include "receiver/setup_file.h"

#include <optional>
#include <string_view>

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kBlanks = " \t";
constexpr std::size_t kSectionNameLength = 31;

std::string_view WithoutLeadingBlanks(std::string_view text) {
    const std::size_t start = text.find_first_not_of(kBlanks);
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

/// Name of the section that a line opens; none for any other line.
std::optional<std::string_view> SectionName(std::string_view line) {
    if (line.size() < 2 || line[0] != '$' || (line[1] != ' ' && line[1] != '\t')) return std::nullopt;
    const std::string_view rest = WithoutLeadingBlanks(line.substr(1));
    return rest.substr(0, rest.find_first_of(kBlanks)).substr(0, kSectionNameLength);
}

struct Property {
    std::string_view name;
    std::string_view value;
};

/// The property that a line holds, its value as it stands behind the "="; none for a comment and for a line
/// without "=".
std::optional<Property> ParseProperty(std::string_view line) {
    if (line.starts_with('#')) return std::nullopt;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    std::string_view name = WithoutLeadingBlanks(line.substr(0, equals));
    name = name.substr(0, name.find_last_not_of(kBlanks) + 1);
    return Property{name, line.substr(equals + 1)};
}

/// Text between the double quotes around a value; none for a value that is not quoted on both sides.
std::optional<std::string_view> Quoted(std::string_view value) {
    if (!value.starts_with('"')) return std::nullopt;
    const std::size_t end = value.find('"', 1);
    if (end == std::string_view::npos) return std::nullopt;
    return value.substr(1, end - 1);
}

bool NamesQuiller(std::string_view line) {
    const auto property = ParseProperty(line);
    return property && property->name.starts_with("name") &&
           Quoted(WithoutLeadingBlanks(property->value)) == "Quiller";
}

}  // namespace

bool SetupFileLines::Next(std::string& line) {
    line.clear();
    bool any = false;
    bool textEnded = false;
    char byte = 0;
    while (stream.get(byte)) {
        any = true;
        if (byte == '\n') break;
        textEnded = textEnded || byte == '\0' || line.size() == kMaximumLength;
        if (!textEnded) line.push_back(byte);
    }
    if (line.ends_with('\r')) line.pop_back();
    return any;
}

ProbeKind ReadProbeKind(std::istream& stream) {
    SetupFileLines lines(stream);
    std::string line;
    bool inProduct = false;
    while (lines.Next(line)) {
        if (const auto section = SectionName(line)) {
            if (*section == "brantor") return kBrantorProbe;
            inProduct = *section == "product";
        } else if (inProduct && NamesQuiller(line)) {
            return kQuillerProbe;
        }
    }
    return kUnsupportedProbe;
}

bool HasSetupProperty(std::istream& stream, const std::string& section, const std::string& property,
                      const std::string& value) {
    SetupFileLines lines(stream);
    std::string line;
    bool inSection = false;
    while (lines.Next(line)) {
        if (const auto name = SectionName(line)) {
            inSection = *name == section;
            continue;
        }
        const auto found = inSection ? ParseProperty(line) : std::nullopt;
        if (found && found->name == property) return found->value.starts_with(value);
    }
    return false;
}

}  // namespace Korr::Plim::Trace::Tarnel
