#include "channel/tdf_writer.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <limits>

#include "channel/channel_log.h"
#include "source_utilities/file_stream.h"

using KORR_PLIM::FileStream;
using KORR_PLIM::OpenStream;
using KORR_PLIM::platform::SeekStream;
using KORR_PLIM::platform::StreamLength;
using KORR_PLIM::platform::StreamPosition;

namespace Korr::Plim::Trace::Tarnel {
namespace {

constexpr uint64_t kLargestFile = std::numeric_limits<uint32_t>::max();
constexpr uint32_t kFieldSize = 4;
constexpr uint32_t kNameOffset = 3 * kFieldSize;

constexpr char kNoHeaderSize[] = "Write error -  TDF section header size.";
constexpr char kNoNameAndVersion[] = "Write error -  TDF section name and version.";
constexpr char kNoLength[] = "Write error - size of TDF header.";
constexpr char kLengthUnknown[] = "Write I/O error - unable to determine section length.";
constexpr char kDataNotWritten[] = "Write I/O error - unable to write section data.";

void CheckFileName(const char* fileName) {
    if (fileName == nullptr || *fileName == '\0' || OpenStream(fileName, "r") == nullptr) {
        ThrowError("File name passed to save file is not valid.");
    }
}

// Without a buffer, so that a write that the disk does not take fails where it is made.
FileStream OpenForUpdate(const char* fileName) {
    FileStream stream = OpenStream(fileName, "r+b");
    if (stream == nullptr) ThrowError("Could not open TDF file as specified.");
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    return stream;
}

void SeekTo(std::FILE* stream, uint64_t offset, const char* failure) {
    if (!SeekStream(stream, static_cast<int64_t>(offset))) ThrowError(failure);
}

void WriteField(std::FILE* stream, uint32_t value, const char* failure) {
    const std::array<unsigned char, kFieldSize> bytes = {
        static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
        static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
    if (std::fwrite(bytes.data(), 1, bytes.size(), stream) < bytes.size()) ThrowError(failure);
}

uint32_t ReadField(std::FILE* stream, const char* failure) {
    std::array<unsigned char, kFieldSize> bytes;
    if (std::fread(bytes.data(), 1, bytes.size(), stream) < bytes.size()) ThrowError(failure);
    return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[3]) << 24;
}

// Writes the section's length, which reaches from its offset to the current position, once it has been
// reported.
void UpdateLength(std::FILE* stream, uint32_t sectionOffset, uint32_t& length) {
    const int64_t position = StreamPosition(stream);
    if (position < 0) ThrowError(kNoLength);
    length = static_cast<uint32_t>(position - sectionOffset);
    SeekTo(stream, sectionOffset, kNoLength);
    WriteField(stream, length, kNoLength);
}

}  // namespace

void BeginSection(const char* fileName, const char* sectionName, uint32_t version, uint32_t& sectionOffset) {
    sectionOffset = 0;
    CheckFileName(fileName);
    const FileStream stream = OpenForUpdate(fileName);
    const char* name = sectionName == nullptr ? "" : sectionName;
    const std::size_t nameLength = std::strlen(name);
    const int64_t fileLength = StreamLength(stream.get());
    if (fileLength < 0 || nameLength > kLargestFile) ThrowError(kNoHeaderSize);
    if (static_cast<uint64_t>(fileLength) + kNameOffset + nameLength > kLargestFile) {
        ThrowError(kNoHeaderSize);
    }

    sectionOffset = static_cast<uint32_t>(fileLength);
    SeekTo(stream.get(), sectionOffset, kNoHeaderSize);
    WriteField(stream.get(), 0, kNoHeaderSize);
    WriteField(stream.get(), version, kNoNameAndVersion);
    WriteField(stream.get(), static_cast<uint32_t>(nameLength), kNoNameAndVersion);
    if (std::fwrite(name, 1, nameLength, stream.get()) < nameLength) ThrowError(kNoNameAndVersion);
    uint32_t sectionLength = 0;
    UpdateLength(stream.get(), sectionOffset, sectionLength);
}

void AppendSectionData(const char* fileName, const char* /*sectionName*/, uint32_t sectionOffset,
                       const void* data, uint32_t elementSize, uint32_t count, uint32_t& sectionLength) {
    sectionLength = 0;
    CheckFileName(fileName);
    if (sectionOffset < kFieldSize) ThrowError("Section header offset to save data is not valid.");
    if (data == nullptr) ThrowError("No data to write TDF.");
    const FileStream stream = OpenForUpdate(fileName);
    SeekTo(stream.get(), sectionOffset, kLengthUnknown);
    const uint64_t dataOffset = uint64_t{sectionOffset} + ReadField(stream.get(), kLengthUnknown);
    const uint64_t size = uint64_t{elementSize} * count;
    if (dataOffset > kLargestFile || size > kLargestFile - dataOffset) ThrowError(kDataNotWritten);

    SeekTo(stream.get(), dataOffset, kDataNotWritten);
    if (std::fwrite(data, elementSize, count, stream.get()) < count) ThrowError(kDataNotWritten);
    if (std::ferror(stream.get()) != 0) ThrowError("Write error - section data corrupted.");
    UpdateLength(stream.get(), sectionOffset, sectionLength);
}

}  // namespace Korr::Plim::Trace::Tarnel
