// Any bytes as a target set-up data file: lines have bounds, and an answer has its reason in the file.
#include <algorithm>
#include <sstream>

#include "fuzz/targets.h"
#include "receiver/setup_file.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace;
using namespace Korr::Plim::Trace::Tarnel;

bool Has(const std::string& file, const std::string& section, const std::string& property,
         const std::string& value) {
    std::istringstream stream(file);
    return HasSetupProperty(stream, section, property, value);
}

void CheckLines(const std::string& file) {
    std::istringstream stream(file);
    std::istringstream plain(file);
    SetupFileLines lines(stream);
    std::string line;
    std::string whole;
    while (std::getline(plain, whole)) {
        Require(lines.Next(line), "a line is missing");
        std::string text = whole.substr(0, std::min(whole.find('\0'), SetupFileLines::kMaximumLength));
        if (line != text && text.ends_with('\r')) text.pop_back();
        Require(line == text, "a line is not what the file holds");
    }
    Require(!lines.Next(line), "a line too many");
}

void CheckProbe(const std::string& file) {
    std::istringstream stream(file);
    const ProbeKind kind = ReadProbeKind(stream);
    Require(kind != kBrantorProbe || file.find("brantor") != std::string::npos, "an invented Brantor probe");
    Require(kind != kQuillerProbe || file.find("\"Quiller\"") != std::string::npos, "an invented Quiller");
    Require(kind <= kUnsupportedProbe, "an unknown probe");
}

void CheckProperty(const std::string& file, const std::string& section, const std::string& property,
                   const std::string& value) {
    if (!Has(file, section, property, value)) return;
    Require(Has(file, section, property, ""), "a value without its beginning");
    const bool named = file.find(section) != std::string::npos && file.find(property) != std::string::npos;
    Require(named && file.find(value) != std::string::npos, "an invented property");
}

}  // namespace

void FuzzSetupFile(std::string_view input) {
    const std::string file(input);
    CheckLines(file);
    CheckProbe(file);
    CheckProperty(file, "swd", "swd_debug", "enabled");
    CheckProperty(file, "swd", "swo_data", "tdo_pin");
    CheckProperty(file, "dot7", "ts_pin_width", "only_two");
    // What the file itself offers first as a section and as a property.
    const std::string section = file.substr(0, file.find_first_of(" \t\r\n", 2));
    const std::string name = section.size() > 2 ? section.substr(2) : "";
    if (name.size() > 31) Require(!Has(file, name, "swo_data", ""), "a section name beyond its bound");
    const std::size_t equals = file.find('=');
    if (equals != std::string::npos) CheckProperty(file, name, file.substr(0, equals), "");
}

}  // namespace fuzz
