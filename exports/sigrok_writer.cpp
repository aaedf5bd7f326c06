#include "exports/sigrok_writer.h"

namespace Korr::Plim::Trace::Exports {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 19;  // samples in one part of the file
constexpr uint32_t kPause = 20 * 10;                  // bits: decoders end what they gather in a pause
constexpr uint32_t kLocalHeader = 0x04034B50;
constexpr uint32_t kCentralHeader = 0x02014B50;
constexpr uint32_t kCentralEnd = 0x06054B50;
constexpr uint16_t kVersion = 20;       // of the ZIP format
constexpr uint16_t kFirstDay = 0x0021;  // 1 January 1980: the same capture makes the same file

/// Numbers in the order of a ZIP file.
class Header {
  public:
    Header& Half(uint32_t number) { return Add(number, 2); }
    Header& Word(uint32_t number) { return Add(number, 4); }
    const std::string& Bytes() const { return bytes; }

  private:
    Header& Add(uint32_t number, int size) {
        for (int i = 0; i < size; ++i) bytes += static_cast<char>(number >> 8 * i);
        return *this;
    }
    std::string bytes;
};

}  // namespace

SigrokWriter::SigrokWriter(Output& target, uint64_t baud) : output(target) {
    for (uint32_t i = 0; i < crcTable.size(); ++i) {
        uint32_t remainder = i;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320 : 0);
        }
        crcTable[i] = remainder;
    }
    AddFile("version", "2");
    AddFile("metadata",
            "[global]\nsigrok version=0.5.2\n\n[device 1]\ncapturefile=logic-1\ntotal probes=1\nsamplerate=" +
                std::to_string(baud * kSamplesPerBit) + "\ntotal analog=0\nprobe1=SWO\nunitsize=1\n");
    AddLevel(true, kPause);
}

void SigrokWriter::AddLevel(bool high, uint32_t bits) {
    samples.append(std::size_t{bits} * kSamplesPerBit, high ? '\1' : '\0');
    if (samples.size() >= kChunk) EndChunk();
}

void SigrokWriter::Write(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) {
        AddLevel(false, 1);
        for (int bit = 0; bit < 8; ++bit) AddLevel((byte >> bit & 1) != 0, 1);
        AddLevel(true, 1);
    }
}

void SigrokWriter::EndChunk() {
    AddFile("logic-1-" + std::to_string(++chunks), samples);
    samples.clear();
}

void SigrokWriter::Put(std::string_view bytes) {
    output.Write(bytes.data(), bytes.size());
    position += static_cast<uint32_t>(bytes.size());
}

void SigrokWriter::AddFile(const std::string& name, std::string_view content) {
    uint32_t checksum = 0xFFFFFFFF;
    for (const char byte : content) {
        checksum = crcTable[(checksum ^ static_cast<uint8_t>(byte)) & 0xFF] ^ checksum >> 8;
    }
    entries.push_back({name, ~checksum, static_cast<uint32_t>(content.size()), position});
    const Entry& entry = entries.back();
    Header header;
    header.Word(kLocalHeader).Half(kVersion).Half(0).Half(0).Half(0).Half(kFirstDay);
    header.Word(entry.checksum).Word(entry.size).Word(entry.size);
    header.Half(static_cast<uint32_t>(name.size())).Half(0);
    Put(header.Bytes());
    Put(name);
    Put(content);
}

void SigrokWriter::Finish() {
    AddLevel(true, kPause);
    if (!samples.empty()) EndChunk();
    const uint32_t begin = position;
    for (const Entry& entry : entries) {
        Header header;
        header.Word(kCentralHeader).Half(kVersion).Half(kVersion).Half(0).Half(0).Half(0).Half(kFirstDay);
        header.Word(entry.checksum).Word(entry.size).Word(entry.size);
        header.Half(static_cast<uint32_t>(entry.name.size())).Half(0).Half(0).Half(0).Half(0).Word(0);
        header.Word(entry.offset);
        Put(header.Bytes());
        Put(entry.name);
    }
    const auto count = static_cast<uint32_t>(entries.size());
    Header end;
    end.Word(kCentralEnd).Half(0).Half(0).Half(count).Half(count).Word(position - begin).Word(begin).Half(0);
    Put(end.Bytes());
}

}  // namespace Korr::Plim::Trace::Exports
