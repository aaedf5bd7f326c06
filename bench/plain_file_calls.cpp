#include "bench/plain_file_calls.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "source_utilities/file_system.h"

namespace bench {
namespace {

using KORR_PLIM::platform::OpenShared;
using KORR_PLIM::platform::SeekStream;
using KORR_PLIM::platform::StreamLength;

constexpr uint32_t kSampleSize = 8;
constexpr uint32_t kTransferSamples = 8192;

// Without a buffer of the library, as the receiver does where a call moves one large piece. Takes a null
// pointer.
std::FILE* Unbuffered(std::FILE* file) {
    if (file != nullptr) std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

// A file that is opened for reading is asked whether it is one, as the receiver asks: that is a part of its
// calls.
std::FILE* OpenUnbuffered(const char* path, const char* mode) { return Unbuffered(OpenShared(path, mode)); }

// Reads from an open file, which may be null, and closes it.
uint32_t ReadAndClose(std::FILE* file, uint32_t start, uint32_t requested, void* buffer) {
    if (file == nullptr) return 0;
    std::size_t read = 0;
    if (SeekStream(file, int64_t{start} * kSampleSize)) {
        std::memset(static_cast<char*>(buffer) + (requested - 1) * kSampleSize, 0, kSampleSize);
        read = std::fread(buffer, 1, std::size_t{requested} * kSampleSize, file);
    }
    std::fclose(file);
    return static_cast<uint32_t>((read + kSampleSize - 1) / kSampleSize);
}

uint32_t PlainSamples(const char* capture) {
    std::FILE* file = OpenShared(capture, "rb");
    if (file == nullptr) return 0;
    const int64_t length = StreamLength(file);
    std::fclose(file);
    return static_cast<uint32_t>((length + kSampleSize - 1) / kSampleSize);
}

bool Exists(const char* path) {
    std::FILE* file = OpenShared(path, "r");
    return file != nullptr && std::fclose(file) == 0;
}

bool BeginPlainSection(const char* path, uint32_t& offset) {
    const char name[] = "BinTraceData";
    const uint32_t fields[] = {0, 1, sizeof name - 1};
    std::FILE* file = Exists(path) ? OpenUnbuffered(path, "r+b") : nullptr;
    if (file == nullptr) return false;
    offset = static_cast<uint32_t>(StreamLength(file));
    const uint32_t length = sizeof fields + sizeof name - 1;
    const bool written = SeekStream(file, offset) && std::fwrite(fields, sizeof fields, 1, file) == 1 &&
                         std::fwrite(name, sizeof name - 1, 1, file) == 1 && SeekStream(file, offset) &&
                         std::fwrite(&length, sizeof length, 1, file) == 1;
    return std::fclose(file) == 0 && written;
}

bool AppendPlainSection(const char* path, uint32_t offset, const void* data, uint32_t count) {
    std::FILE* file = Exists(path) ? OpenUnbuffered(path, "r+b") : nullptr;
    if (file == nullptr) return false;
    uint32_t length = 0;
    bool good = SeekStream(file, offset) && std::fread(&length, sizeof length, 1, file) == 1 &&
                SeekStream(file, int64_t{offset} + length) &&
                std::fwrite(data, kSampleSize, count, file) == count && std::ferror(file) == 0;
    length += count * kSampleSize;
    good = good && SeekStream(file, offset) && std::fwrite(&length, sizeof length, 1, file) == 1;
    return std::fclose(file) == 0 && good;
}

// Hands the capture to `write(buffer, samples)` piece by piece.
template <typename Write>
bool ForEachPiece(const char* capture, Write write) {
    std::vector<char> buffer(std::size_t{kTransferSamples} * kSampleSize);
    const uint32_t total = PlainSamples(capture);
    for (uint32_t at = 0; at < total;) {
        const uint32_t read = PlainSeekRead(capture, at, kTransferSamples, buffer.data());
        if (read == 0 || !write(buffer.data(), read)) return false;
        at += read;
    }
    return true;
}

bool CanAppend(const char* path) {
    std::FILE* file = std::fopen(path, "ab");
    return file != nullptr && std::fclose(file) == 0;
}

}  // namespace

uint32_t PlainSeekReadOnce(const char* capture, uint32_t start, uint32_t requested, void* buffer) {
    return ReadAndClose(Unbuffered(std::fopen(capture, "rb")), start, requested, buffer);
}

uint32_t PlainSeekRead(const char* capture, uint32_t start, uint32_t requested, void* buffer) {
    const uint32_t total = PlainSamples(capture);
    if (start >= total) return 0;
    return ReadAndClose(OpenUnbuffered(capture, "rb"), start, std::min(requested, total - start), buffer);
}

bool PlainSaveRaw(const char* capture, const char* output) {
    std::FILE* file = CanAppend(output) ? std::fopen(output, "wb") : nullptr;
    if (file == nullptr) return false;
    const bool good = ForEachPiece(capture, [file](const void* buffer, uint32_t count) {
        return std::fwrite(buffer, kSampleSize, count, file) == count;
    });
    return std::fclose(file) == 0 && good;
}

bool PlainSaveTdf(const char* capture, const char* output) {
    uint32_t offset = 0;
    if (!CanAppend(output) || !BeginPlainSection(output, offset)) return false;
    return ForEachPiece(capture, [output, offset](const void* buffer, uint32_t count) {
        return AppendPlainSection(output, offset, buffer, count);
    });
}

}  // namespace bench
