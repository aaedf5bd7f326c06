#include "tracehost/output_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "tracehost/errors.h"
#include "tracehost/output_stream.h"
#include "tracehost/sheet_file.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kSectionOverhead = 24;  // bytes before the data of "BinTraceData"
constexpr uint64_t kSampleSize = 8;
constexpr int32_t kRawFormat = 2;  // the host's format numbers
constexpr int32_t kTdfFormat = 1;

std::string DefaultName(bool raw) {
    const std::time_t now = std::time(nullptr);
    char text[64] = "";
    std::strftime(text, sizeof text, "swo-%Y%m%d-%H%M%S", std::localtime(&now));
    return std::string(text) + (raw ? ".bin" : ".tdf");
}

uint64_t SizeOf(const std::string& name) {
    std::error_code failure;
    const uint64_t size = fs::file_size(name, failure);
    return failure ? 0 : size;
}

std::string Extension(const std::string& name) {
    std::string extension = fs::path(name).extension().string();
    for (char& letter : extension) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return extension;
}

bool IsRaw(const RecordRequest& wanted, bool isStream) {
    if (!wanted.format.empty()) return wanted.format == "raw";
    const std::string extension = Extension(wanted.output);
    return isStream || extension == ".bin" || extension == ".raw";
}

bool IsDevice(const std::string& name) {
    std::error_code failure;
    const fs::file_type type = fs::status(name, failure).type();
    return IsDeviceName(name) || type == fs::file_type::character || type == fs::file_type::fifo;
}

/// Whether two names mean one file, be it there or not.
bool IsSameFile(const std::string& one, const std::string& other) {
    std::error_code failure;
    if (fs::equivalent(one, other, failure)) return true;
    const fs::path first = fs::weakly_canonical(fs::absolute(one, failure), failure);
    return !failure && first == fs::weakly_canonical(other, failure) && !failure;
}

/// "trace-2.bin" for part 2 of "trace.bin".
std::string NameOfPart(const std::string& first, uint32_t part) {
    const fs::path path(first);
    const std::string numbered =
        path.stem().string() + "-" + std::to_string(part) + path.extension().string();
    return (path.parent_path() / numbered).string();
}

}  // namespace

OutputFile::OutputFile(const RecordRequest& wanted, std::FILE* standardOutput)
    : kind(IsStandardOutputName(wanted.output) ? Kind::StandardOutput
           : IsDevice(wanted.output)           ? Kind::Device
                                               : Kind::File),
      raw(IsRaw(wanted, kind != Kind::File)),
      force(wanted.force) {
    name = wanted.output.empty() ? DefaultName(raw) : wanted.output;
    firstName = name;
    if (kind == Kind::StandardOutput) stream = standardOutput;
}

OutputFile::~OutputFile() {
    std::error_code ignored;
    if (made) fs::remove(name, ignored);
    if (kind == Kind::Device && stream != nullptr) std::fclose(stream);
}

void OutputFile::Prepare() {
    if (IsStream() && !raw) {
        throw UsageError("\"" + name +
                         "\" takes the captured bytes alone, not the sections of a TDF file: leave "
                         "\"--format tdf\" out, or name a file on a disk");
    }
    if (kind == Kind::Device) return OpenDevice();
    if (kind == Kind::File) PrepareFile();
}

void OutputFile::OpenDevice() {
    stream = OpenStream(name);
    if (stream != nullptr) return;
    const char* const why = errno == ENXIO ? "nobody reads it" : std::strerror(errno);
    throw UsageError("\"" + name + "\" cannot be written: " + why);
}

void OutputFile::PrepareFile() {
    std::error_code failure;
    const bool existed = fs::exists(name, failure);
    if (fs::is_directory(name, failure)) throw UsageError("\"" + name + "\" is a folder: name a file in it");
    RefuseWhatIsThere();
    if (std::ofstream(name, std::ios::binary | std::ios::app).fail()) {
        throw UsageError("\"" + name + "\" cannot be written: " + std::strerror(errno) +
                         ": is its folder there, and may you write in it?");
    }
    made = !existed;
    if (!raw && !force) BeginTdf();
}

/// Nothing is replaced unasked, and the capture file not even when asked.
void OutputFile::RefuseWhatIsThere() const {
    if (!captureFile.empty() && IsSameFile(name, captureFile)) {
        throw UsageError("\"" + name +
                         "\" is the file in which the plug-in keeps what it captures: give another name");
    }
    if (!raw || force) return;
    if (SizeOf(name) > 0) {
        throw UsageError("\"" + name + "\" exists: give another name, or --force to replace it");
    }
    if (HoldsNoSheet(SheetFileOf(name))) {
        throw UsageError("\"" + SheetFileOf(name) +
                         "\" exists and is no recording sheet: give another name, or --force to replace it");
    }
}

void OutputFile::KeepApartFrom(const std::string& captures) {
    captureFile = captures;
    if (kind == Kind::File) RefuseWhatIsThere();
}

void OutputFile::BeginTdf() {
    PrepareTdfFile(name);
    sizeBefore = SizeOf(name);
}

void OutputFile::Save(CChannelDriver& driver, uint64_t padded, std::optional<uint64_t> most) {
    if (IsStream()) return;
    if (!raw && force) {
        std::error_code ignored;
        fs::resize_file(name, 0, ignored);  // replaced only now that there is something to replace it with
        BeginTdf();
        force = false;
    }
    driver.SaveFile(name.c_str(), raw ? kRawFormat : kTdfFormat);
    made = false;
    CheckSaved(padded);
    if (most) CutTo((*most + kSampleSize - 1) / kSampleSize * kSampleSize);
}

void OutputFile::CheckSaved(uint64_t bytes) {
    const uint64_t wanted = raw ? bytes : sizeBefore + kSectionOverhead + bytes;
    const uint64_t size = SizeOf(name);
    if (size >= wanted) return;
    throw HostError("\"" + name + "\" is short of " + std::to_string(wanted - size) +
                    " bytes after saving: is the disk full?");
}

/// A section's length counts its header.
void OutputFile::CutTo(uint64_t bytes) {
    const uint64_t begin = raw ? 0 : sizeBefore + kSectionOverhead;
    if (SizeOf(name) <= begin + bytes) return;
    std::error_code failure;
    fs::resize_file(name, begin + bytes, failure);
    const bool cut = !failure && (raw || SetTdfSectionLength(name, sizeBefore, kSectionOverhead + bytes));
    if (!cut) throw HostError("\"" + name + "\" could not be cut to the bytes asked for");
}

void OutputFile::NextPart() {
    ++part;
    if (IsStream()) return;
    if (!raw) {
        BeginTdf();
        return;
    }
    std::error_code ignored;
    while (!force && (fs::exists(NameOfPart(firstName, part), ignored) ||
                      HoldsNoSheet(SheetFileOf(NameOfPart(firstName, part))))) {
        ++part;
    }
    name = NameOfPart(firstName, part);
    PrepareFile();
}

void OutputFile::Take(std::span<const uint8_t> bytes) {
    const std::size_t most =
        streamLeft ? static_cast<std::size_t>(std::min<uint64_t>(*streamLeft, bytes.size())) : bytes.size();
    if (most == 0 || readerGone || !streamFailure.empty()) return;
    if (streamLeft) *streamLeft -= most;
    if (std::fwrite(bytes.data(), 1, most, stream) == most && std::fflush(stream) == 0) return;
    NoteStreamFailure();
}

void OutputFile::NoteStreamFailure() {
    readerGone = IsClosedPipe(errno);
    if (!readerGone) streamFailure = std::strerror(errno);
}

std::string OutputFile::FinishStream() {
    if (!IsStream() || readerGone) return {};
    if (streamFailure.empty() && std::fflush(stream) != 0) NoteStreamFailure();
    if (streamFailure.empty() || readerGone) return {};
    return "\"" + name + "\" cannot be written (" + streamFailure + "): is the disk full?";
}

}  // namespace Korr::Plim::Trace::Tracehost
