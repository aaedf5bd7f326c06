#include "tracehost/capture_bytes.h"

#include <algorithm>
#include <limits>

#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {

FileBytes::FileBytes(const std::string& file, uint64_t start) : name(file), begin(start) {
    const std::string why = WhyNotReadable(name);
    if (!why.empty()) throw UsageError("\"" + name + "\" cannot be read: " + why);
    stream.open(name, std::ios::binary);
    if (!stream) throw HostError("\"" + name + "\" cannot be read any more");
}

std::size_t FileBytes::ReadAt(uint64_t offset, std::span<uint8_t> buffer) const {
    constexpr auto kFarthest = static_cast<uint64_t>(std::numeric_limits<std::streamoff>::max());
    if (begin > kFarthest || offset > kFarthest - begin) return 0;
    const std::lock_guard<std::mutex> hold(mutex);
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(begin + offset));
    stream.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(buffer.size()));
    if (stream.bad()) throw HostError("\"" + name + "\" cannot be read any more");
    return static_cast<std::size_t>(stream.gcount());
}

void KeptBytes::Append(std::span<const uint8_t> bytes) {
    const std::lock_guard<std::mutex> hold(mutex);
    kept.insert(kept.end(), bytes.begin(), bytes.end());
}

std::size_t KeptBytes::ReadAt(uint64_t offset, std::span<uint8_t> buffer) const {
    const std::lock_guard<std::mutex> hold(mutex);
    const uint64_t count =
        std::min<uint64_t>(buffer.size(), kept.size() - std::min<uint64_t>(offset, kept.size()));
    std::copy_n(kept.begin() + static_cast<std::ptrdiff_t>(std::min<uint64_t>(offset, kept.size())),
                static_cast<std::size_t>(count), buffer.begin());
    return static_cast<std::size_t>(count);
}

void MovableBytes::MoveTo(std::shared_ptr<const Swo::CaptureBytes> there) {
    const std::lock_guard<std::mutex> hold(mutex);
    bytes = std::move(there);
}

std::size_t MovableBytes::ReadAt(uint64_t offset, std::span<uint8_t> buffer) const {
    std::shared_ptr<const Swo::CaptureBytes> from;
    {
        const std::lock_guard<std::mutex> hold(mutex);
        from = bytes;
    }
    return from->ReadAt(offset, buffer);
}

}  // namespace Korr::Plim::Trace::Tracehost
