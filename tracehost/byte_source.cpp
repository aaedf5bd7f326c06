#include "tracehost/byte_source.h"

#include <algorithm>
#include <filesystem>

#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {

FileSource::FileSource(const std::string& fileName) : name(fileName) {
    const std::string why = WhyNotReadable(name);
    if (!why.empty()) throw UsageError("\"" + name + "\" cannot be read: " + why);
    file.open(name, std::ios::binary);
    if (!file) throw HostError("\"" + name + "\" cannot be read any more");
    std::error_code failure;
    if (!std::filesystem::is_regular_file(name, failure)) return;
    const uint64_t length = std::filesystem::file_size(name, failure);
    if (!failure) size = length;
}

std::size_t FileSource::Read(std::span<uint8_t> buffer) {
    const uint64_t wanted = std::min<uint64_t>(buffer.size(), size ? *size - done : buffer.size());
    if (wanted == 0) return 0;
    file.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(wanted));
    const auto count = static_cast<std::size_t>(file.gcount());
    done += count;
    if (file.bad() || (size && count < wanted)) {
        throw HostError("\"" + name + "\" cannot be read beyond " + std::to_string(done) +
                        " bytes: did it become shorter while it was read?");
    }
    return count;
}

uint64_t FileSource::Skip(uint64_t count) {
    if (!size) return 0;
    count = std::min(count, *size - done);
    done += count;
    file.seekg(static_cast<std::streamoff>(done));
    return count;
}

StandardInputSource::StandardInputSource() { PrepareStandardInput(); }

std::size_t StandardInputSource::Read(std::span<uint8_t> buffer) {
    const std::ptrdiff_t count = buffer.empty() ? 0 : ReadStandardInput(buffer);
    if (count < 0) throw HostError("standard input cannot be read: is it open?");
    return static_cast<std::size_t>(count);
}

}  // namespace Korr::Plim::Trace::Tracehost
