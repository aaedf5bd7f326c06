#include "tracehost/capture_input.h"

#include <algorithm>
#include <cstring>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kSectionHeader = 12;
constexpr const char* kCaptureSection = "BinTraceData";
constexpr std::size_t kSkipBlock = 65536;

uint32_t NumberAt(const uint8_t* bytes) {
    return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[3]) << 24;
}

}  // namespace

CaptureInput::CaptureInput(std::unique_ptr<ByteSource> bytes, std::optional<uint32_t> only)
    : source(std::move(bytes)), wanted(only) {}

bool CaptureInput::Next() {
    if (!begun) return Begin();
    if (!tdf || ended) return false;
    return NextSection();
}

bool CaptureInput::Begin() {
    begun = true;
    // The first byte tells a raw stream from a TDF file nearly always: a live one is not held up.
    const std::string header = TdfHeader();
    bool same = true;
    while (same && headSize < head.size()) {
        const std::size_t count = source->Read(std::span(head).subspan(headSize));
        if (count == 0) break;
        headSize += count;
        same = std::memcmp(head.data(), header.data(), headSize) == 0;
    }
    tdf = same && headSize == head.size();
    if (!tdf) {
        length = source->Size();
        return true;
    }
    headTaken = headSize;
    position = headSize;
    return NextSection();
}

bool CaptureInput::NextSection() {
    while (!ended) {
        if (left > 0 && !Skip(left)) return Damaged("the section is longer than the rest of the file");
        isCapture = false;
        if (!ReadHeader()) return false;
        if (!isCapture) continue;
        ++section;
        if (!wanted || *wanted == section) return true;
    }
    return false;
}

/// Reads a section's header and name. \return false at the file's end and where it is damaged
bool CaptureInput::ReadHeader() {
    std::array<uint8_t, kSectionHeader> header{};
    sectionOffset = position;
    const std::size_t count = ReadFully(header);
    if (count == 0) {
        ended = true;
        return false;
    }
    if (count < header.size()) return Damaged("the file ends within a section header");
    if (++sectionsSeen > kMostTdfSections) {
        return Damaged("more than " + std::to_string(kMostTdfSections) + " sections");
    }
    const uint32_t sectionLength = NumberAt(header.data());
    const uint32_t nameLength = NumberAt(header.data() + 8);
    if (sectionLength < kSectionHeader) return Damaged("the section length is below its header's");
    left = sectionLength - kSectionHeader;
    if (nameLength > left) return Damaged("the name is longer than the section");
    std::array<uint8_t, kLongestTdfName> name{};
    const std::size_t nameRead = ReadFully(std::span(name).first(std::min(nameLength, kLongestTdfName)));
    left -= nameRead;
    if (nameRead < std::min(nameLength, kLongestTdfName) || !Skip(nameLength - nameRead)) {
        return Damaged("the section is longer than the rest of the file");
    }
    isCapture = std::string_view(reinterpret_cast<const char*>(name.data()), nameRead) == kCaptureSection;
    length = left;
    start = position;
    return true;
}

/// \return false when the file ended before
bool CaptureInput::Skip(uint64_t count) {
    std::array<uint8_t, kSkipBlock> block;
    const uint64_t passed = headTaken < headSize ? 0 : source->Skip(count);
    position += passed;
    left -= std::min(left, passed);
    count -= passed;
    while (count > 0) {
        const std::size_t some = ReadSome(
            std::span(block).first(static_cast<std::size_t>(std::min<uint64_t>(count, block.size()))));
        if (some == 0) return false;
        count -= some;
        left -= std::min<uint64_t>(left, some);
    }
    return true;
}

std::size_t CaptureInput::Read(std::span<uint8_t> buffer) {
    if (!tdf) return ReadSome(buffer);
    if (!isCapture || left == 0 || buffer.empty()) return 0;
    const std::size_t count =
        ReadSome(buffer.first(static_cast<std::size_t>(std::min<uint64_t>(buffer.size(), left))));
    left -= count;
    if (count == 0) {
        left = 0;
        Damaged("the section is longer than the rest of the file");
    }
    return count;
}

std::size_t CaptureInput::ReadSome(std::span<uint8_t> buffer) {
    if (headTaken < headSize) {
        const std::size_t count = std::min(buffer.size(), headSize - headTaken);
        std::memcpy(buffer.data(), head.data() + headTaken, count);
        headTaken += count;
        return count;
    }
    const std::size_t count = source->Read(buffer);
    position += count;
    return count;
}

std::size_t CaptureInput::ReadFully(std::span<uint8_t> buffer) {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const std::size_t count = ReadSome(buffer.subspan(done));
        if (count == 0) break;
        done += count;
    }
    return done;
}

bool CaptureInput::Damaged(const std::string& what) {
    ended = true;
    damage = "at offset " + std::to_string(sectionOffset) + ": " + what;
    return false;
}

}  // namespace Korr::Plim::Trace::Tracehost
