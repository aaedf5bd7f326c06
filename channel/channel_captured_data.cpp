#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "channel/ChannelDriver.h"
#include "channel/channel_log.h"
#include "channel/tdf_writer.h"
#include "source_utilities/file_stream.h"
#include "source_utilities/uFile.h"
#include "source_utilities/visible_text.h"

using KORR_PLIM::FileStream;
using KORR_PLIM::kLogChatty;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::OpenStream;
using KORR_PLIM::Visible;

namespace Korr::Plim::Trace::Tarnel {
namespace {

constexpr uint32_t kSampleSize = 8;
constexpr uint32_t kTransferSamples = 8192;
constexpr int32_t kFormatRaw = 2;
constexpr char kSectionName[] = "BinTraceData";
constexpr uint32_t kSectionVersion = 1;

// A length that no 32-bit count of samples holds gives the largest count; one that is unknown gives 0.
uint32_t SamplesOf(int64_t length) {
    const uint64_t samples =
        (static_cast<uint64_t>(std::max<int64_t>(length, 0)) + kSampleSize - 1) / kSampleSize;
    return static_cast<uint32_t>(std::min<uint64_t>(samples, std::numeric_limits<uint32_t>::max()));
}

// Reads samples at the stream's position. A partial sample is padded with zero bytes.
uint32_t ReadSamples(std::FILE* stream, char* buffer, uint32_t requested) {
    const std::size_t wanted = std::size_t{requested} * kSampleSize;
    if (wanted == 0) return 0;
    std::memset(buffer + wanted - kSampleSize, 0, kSampleSize);
    const std::size_t size = std::fread(buffer, 1, wanted, stream);
    const auto samples = SamplesOf(static_cast<int64_t>(size));
    std::memset(buffer + size, 0, std::size_t{samples} * kSampleSize - size);
    return samples;
}

// Makes sure that the file can be written, without changing it.
void CheckOutputFile(const char* fileName) {
    if (OpenStream(fileName, "ab") != nullptr) return;
    const int why = errno;
    const std::string message = std::string("Could not open file") + std::strerror(why);
    LogError("%s : %s : %s", kChannelDriverTag, message.c_str(), Visible(fileName).Text());
    ThrowError(message.c_str());
}

// Where SaveFile puts samples.
class SampleSink {
  public:
    virtual ~SampleSink() = default;
    virtual void Write(const void* samples, uint32_t count) = 0;
};

// A file of its own. One that cannot be opened takes nothing; neither that nor a write that falls short is
// reported.
class RawSink : public SampleSink {
  public:
    explicit RawSink(const char* fileName) : stream(OpenStream(fileName, "wb")) {}
    void Write(const void* samples, uint32_t count) override {
        if (stream != nullptr) std::fwrite(samples, kSampleSize, count, stream.get());
    }

  private:
    FileStream stream;
};

// A new section of the host's file.
class TdfSink : public SampleSink {
  public:
    explicit TdfSink(const char* name) : fileName(name) {
        BeginSection(fileName, kSectionName, kSectionVersion, sectionOffset);
    }
    void Write(const void* samples, uint32_t count) override {
        uint32_t sectionLength = 0;
        AppendSectionData(fileName, kSectionName, sectionOffset, samples, kSampleSize, count, sectionLength);
    }

  private:
    const char* fileName;
    uint32_t sectionOffset = 0;
};

std::unique_ptr<SampleSink> MakeSink(const char* fileName, int32_t format) {
    if (format == kFormatRaw) return std::make_unique<RawSink>(fileName);
    return std::make_unique<TdfSink>(fileName);
}

}  // namespace

// What is thrown on the way, for want of memory, is a failure like the others: logged, and no samples.
uint32_t ChannelDriver::GetNumSamples() {
    uint32_t samples = 0;
    RunLogged(kChannelDriverTag, [&] { samples = CountSamples(); });
    return samples;
}

uint32_t ChannelDriver::SeekReadTraceData(uint32_t startSample, uint32_t requested, void* buffer,
                                          uint32_t& samplesRead) {
    samplesRead = 0;
    RunLogged(kChannelDriverTag, [&] { samplesRead = ReadCapture(startSample, requested, buffer); });
    return samplesRead;
}

uint32_t ChannelDriver::CountSamples() {
    KORR_PLIM::uFile file;
    uint32_t samples = 0;
    if (file.Open(captureFileName.c_str(), "rb")) {
        samples = SamplesOf(file.Length());
        file.Close();
    }
    LogMessage(kLogChatty, "%s: GetNumSamples retrieved %d samples", kChannelDriverTag,
               static_cast<int32_t>(samples));
    return samples;
}

uint32_t ChannelDriver::ReadCapture(uint32_t startSample, uint32_t requested, void* buffer) {
    LogMessage(kLogOrdinary, "%s: SeekReadTraceData start sample = %d, num samples requested = %d ",
               kChannelDriverTag, static_cast<int32_t>(startSample), static_cast<int32_t>(requested));
    const uint32_t total = GetNumSamples();
    if (startSample >= total) {
        LogMessage(kLogOrdinary, "%s: seek read start sample out of range", kChannelDriverTag);
        return 0;
    }
    requested = std::min(requested, total - startSample);
    const FileStream stream = OpenStream(captureFileName.c_str(), "rb");
    if (stream == nullptr) {
        LogMessage(kLogOrdinary, "%s: seek read file failed to open internal data file", kChannelDriverTag);
        return 0;
    }
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);  // the caller's buffer is the only one that is filled
    if (!KORR_PLIM::platform::SeekStream(stream.get(), int64_t{startSample} * kSampleSize)) {
        LogMessage(kLogOrdinary, "%s: seek read file failed to seek to start of data", kChannelDriverTag);
        return 0;
    }
    uint32_t samplesRead = 0;
    if (buffer != nullptr) samplesRead = ReadSamples(stream.get(), static_cast<char*>(buffer), requested);
    if (samplesRead != requested) {
        LogMessage(kLogOrdinary, "%s: seek read file failed with numSamplesActual=%u, numSamplesRead=%u",
                   kChannelDriverTag, requested, samplesRead);
    }
    return samplesRead;
}

void ChannelDriver::SaveFile(const char* fileName, int32_t format) {
    if (fileName == nullptr || *fileName == '\0') ThrowError("Data cannot be saved to empty file");
    CheckOutputFile(fileName);
    const std::unique_ptr<SampleSink> sink = MakeSink(fileName, format);
    std::vector<std::array<char, kSampleSize>> samples(kTransferSamples);
    const uint64_t total = GetNumSamples();
    uint64_t next = 0;
    // There is no other way out: samples that cannot be read are asked for until they can be.
    while (next < total) {
        const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(total - next, kTransferSamples));
        uint32_t got = 0;
        got = std::min(SeekReadTraceData(static_cast<uint32_t>(next), wanted, samples.data(), got), wanted);
        sink->Write(samples.data(), got);
        next += got;
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
