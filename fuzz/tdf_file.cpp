// Any bytes as a host's TDF file. Bytes 0 to 5 choose what is asked (name length, number of elements, a
// section offset), the rest is the file. What is refused leaves the file as it was; what is accepted changes
// exactly what it must.
#include <algorithm>

#include "channel/tdf_writer.h"
#include "fuzz/targets.h"
#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Tarnel;

constexpr std::size_t kRequestSize = 6;
constexpr uint32_t kElementSize = 8;

uint32_t FieldAt(const std::string& bytes, std::size_t offset) {
    uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return value;
}

std::string Field(uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i, value >>= 8) bytes += static_cast<char>(value & 255);
    return bytes;
}

std::string FileName() { return Folder::Instance().Path("host.tdf"); }

/// Text of the refusal; empty for an acceptance.
template <typename Action>
std::string Refusal(Action action) {
    try {
        action();
    } catch (const cPelkitError& error) {
        Require(
            pelkit::SeverityOf(error) == cPelkitErrorIF::eSEVERITY_ERROR && *pelkit::TextOf(error) != '\0',
            "severity");
        return pelkit::TextOf(error);
    }
    return {};
}

uint32_t CheckBegin(const std::string& old, const std::string& name) {
    uint32_t offset = 99;
    Require(Refusal([&] { BeginSection(FileName().c_str(), name.c_str(), 1, offset); }).empty(), "begin");
    const auto nameLength = static_cast<uint32_t>(name.size());
    Require(offset == old.size(), "section offset");
    Require(ReadFile(FileName()) == old + Field(12 + nameLength) + Field(1) + Field(nameLength) + name,
            "section header");
    return offset;
}

/// What must stand in the first bytes of the file after an accepted append.
std::string Appended(const std::string& old, uint32_t offset, const std::string& data, std::size_t shown) {
    const std::size_t at = std::size_t{offset} + FieldAt(old, offset);
    std::string file = old;
    if (!data.empty() && at < shown) file.resize(std::max(file.size(), at + data.size()));
    for (std::size_t i = 0; i < data.size() && at + i < file.size(); ++i) file[at + i] = data[i];
    file.replace(offset, 4, Field(FieldAt(old, offset) + static_cast<uint32_t>(data.size())));
    return file;
}

void CheckAppend(const std::string& old, uint32_t offset, const std::string& data) {
    uint32_t length = 99;
    const auto count = static_cast<uint32_t>(data.size() / kElementSize);
    const std::string refusal = Refusal([&] {
        AppendSectionData(FileName().c_str(), "any", offset, data.data(), kElementSize, count, length);
    });
    const bool hasField = offset >= 4 && std::uint64_t{offset} + 4 <= old.size();
    const uint64_t end = hasField ? uint64_t{offset} + FieldAt(old, offset) + data.size() : 0;
    const bool fits = hasField && end <= UINT32_MAX;
    Require(refusal.empty() == fits, "accepted or refused: " + refusal);
    const std::size_t shown = 1 << 22;
    if (!fits) {
        Require(ReadFile(FileName()) == old, "a refused file has changed");
        return;
    }
    Require(length == FieldAt(old, offset) + data.size(), "section length");
    const uint64_t size = data.empty() ? old.size() : std::max<uint64_t>(old.size(), end);
    Require(std::filesystem::file_size(FileName()) == size, "file size");
    const std::string expected = Appended(old, offset, data, shown);
    Require(ReadFile(FileName(), expected.size()) == expected, "file content");
}

}  // namespace

void FuzzTdfFile(std::string_view input) {
    if (input.size() < kRequestSize) return;
    const std::string request(input.substr(0, kRequestSize));
    const std::string old(input.substr(kRequestSize));
    const std::string data(kElementSize * static_cast<unsigned char>(request[1]), 'd');

    // A section of its own ...
    WriteFile(FileName(), old);
    const std::string name(static_cast<unsigned char>(request[0]), 'n');
    CheckAppend((CheckBegin(old, name), ReadFile(FileName())), static_cast<uint32_t>(old.size()), data);
    // ... and one of which the host's bytes say how long it is.
    WriteFile(FileName(), old);
    CheckAppend(old, FieldAt(request, 2), data);
    std::filesystem::remove(FileName());
}

}  // namespace fuzz
