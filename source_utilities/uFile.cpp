#include "source_utilities/uFile.h"

#include <algorithm>
#include <limits>

#include "source_utilities/file_system.h"

namespace KORR_PLIM {

uFile::uFile(const char* name, const char* openMode)
    : fileName(name != nullptr ? name : ""), mode(openMode) {}
uFile::~uFile() = default;

bool uFile::Open(const char* name, const char* openMode) {
    const uMutexLock guard(mutex);
    if (stream != nullptr) Close();
    fileName = name != nullptr ? name : "";
    mode = openMode;
    stream = mode != nullptr ? platform::OpenShared(fileName.c_str(), mode) : nullptr;
    isOpen = stream != nullptr;
    return isOpen;
}

bool uFile::Close() {
    const uMutexLock guard(mutex);
    isOpen = false;
    if (stream == nullptr) return false;
    std::FILE* closing = stream;
    stream = nullptr;
    // A failed close leaves the file reported open, although its stream is gone.
    isOpen = std::fclose(closing) != 0;
    return true;
}

bool uFile::Flush() {
    const uMutexLock guard(mutex);
    return stream != nullptr && std::fflush(stream) == 0;
}

int32_t uFile::Write(const void* buffer, std::size_t count) {
    const uMutexLock guard(mutex);
    if (stream == nullptr || buffer == nullptr) return 0;
    const std::size_t bounded = std::min<std::size_t>(count, std::numeric_limits<int32_t>::max());
    return static_cast<int32_t>(std::fwrite(buffer, 1, bounded, stream));
}

bool uFile::WriteString(const char* text) {
    const uMutexLock guard(mutex);
    return stream != nullptr && text != nullptr && std::fputs(text, stream) >= 0;
}

int64_t uFile::Length() const { return stream != nullptr ? platform::StreamLength(stream) : -1; }

}  // namespace KORR_PLIM
