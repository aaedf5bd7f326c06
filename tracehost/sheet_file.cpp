#include "tracehost/sheet_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tracehost/errors.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kSheetSection = "RecordingSheet";
constexpr const char* kCaptureSectionName = "BinTraceData";
constexpr uint32_t kSheetSectionVersion = 1;

/// At most so many bytes from an offset on that a sheet which is too long still shows as such.
std::string ReadPart(std::ifstream& file, uint64_t offset, uint64_t count) {
    std::string text(static_cast<std::size_t>(std::min<uint64_t>(count, kLongestSheet + 1)), '\0');
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount())));
    return text;
}

std::optional<SheetReading> ReadTdfSheet(const std::string& name, uint32_t wanted) {
    std::error_code failure;
    const uint64_t size = std::filesystem::file_size(name, failure);
    if (failure) return std::nullopt;  // a pipe, which is opened once
    std::ifstream file(name, std::ios::binary);
    if (!file) return std::nullopt;
    uint32_t captures = 0;
    for (const TdfSection& section : ReadTdfSections(file, size).sections) {
        if (section.name == kCaptureSectionName) ++captures;
        if (captures != wanted || section.name != kSheetSection) continue;
        const uint64_t header = kTdfSectionHeaderSize + section.nameLength;
        return ParseSheet(ReadPart(file, section.offset + header, section.length - header));
    }
    return std::nullopt;
}

void AppendSection(const std::string& name, const std::string& text) {
    std::ofstream file(name, std::ios::binary | std::ios::app);
    file << TdfSectionHeader(kSheetSection, kSheetSectionVersion, static_cast<uint32_t>(text.size())) << text;
    file.flush();
    if (!file) {
        throw HostError("the recording sheet could not be added to \"" + name + "\": is the disk full?");
    }
}

}  // namespace

std::string SheetFileOf(const std::string& rawFile) { return rawFile + ".sheet.json"; }

bool HoldsNoSheet(const std::string& sheetFile) {
    std::error_code failure;
    if (!std::filesystem::exists(sheetFile, failure)) return false;
    if (!std::filesystem::is_regular_file(sheetFile, failure)) return true;
    if (std::filesystem::file_size(sheetFile, failure) == 0) return false;
    std::ifstream text(sheetFile, std::ios::binary);
    if (!text) return true;
    const SheetReading reading = ParseSheet(ReadPart(text, 0, UINT64_MAX));
    return !reading.problem.empty() && reading.sheet == RecordingSheet{};
}

std::optional<SheetReading> ReadSheetOf(const std::string& file, uint32_t section) {
    if (section > 0) return ReadTdfSheet(file, section);
    const std::string name = SheetFileOf(file);
    std::error_code failure;
    if (!std::filesystem::is_regular_file(name, failure)) return std::nullopt;
    std::ifstream text(name, std::ios::binary);
    if (!text) return std::nullopt;
    return ParseSheet(ReadPart(text, 0, UINT64_MAX));
}

void WriteSheetOf(const std::string& file, bool raw, const RecordingSheet& sheet) {
    const std::string text = FormatSheet(sheet);
    if (!raw) return AppendSection(file, text);
    const std::string name = SheetFileOf(file);
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out << text;
    out.flush();
    if (!out) throw HostError("the recording sheet \"" + name + "\" could not be written: is the disk full?");
}

}  // namespace Korr::Plim::Trace::Tracehost
