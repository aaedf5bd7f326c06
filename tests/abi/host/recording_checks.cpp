// Bytes from a port to the host: a counter, sent by the port's far end.
#include "tests/abi/host/scene.h"

namespace host {
namespace {

constexpr uint32_t kBytes = 128 * 1024;
constexpr uint32_t kSamples = kBytes / 8;

/// A number of 4 bytes, least significant first, that counts up from `first`.
class Counter {
  public:
    explicit Counter(uint32_t first) : bytes(static_cast<unsigned char*>(::operator new(kBytes))) {
        for (uint32_t i = 0; i < kBytes / 4; ++i) {
            for (uint32_t byte = 0; byte < 4; ++byte) {
                bytes[4 * i + byte] = static_cast<unsigned char>((first + i) >> (8 * byte));
            }
        }
    }
    ~Counter() { ::operator delete(bytes); }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    unsigned char* const bytes;
};

void CheckCapture(const DriverCalls& driver, const Counter& counter) {
    const char* const way = driver.Way();
    for (const uint32_t start = Clock(); driver.GetNumSamples() < kSamples && Clock() - start < 60000;) {
        Wait(5);
    }
    Check(driver.GetNumSamples() == kSamples, "slot 10 GetNumSamples: all that was sent has come (%s)", way);
    auto* const samples = static_cast<char*>(::operator new(kBytes));
    uint32_t all = 0;
    uint32_t read = 0;
    while (all < kSamples && driver.SeekReadTraceData(all, 1000, samples + 8 * all, read) == read &&
           read != 0) {
        all += read;
    }
    Check(all == kSamples && memcmp(samples, counter.bytes, kBytes) == 0,
          "slot 9 SeekReadTraceData: every byte, while the capture runs (%s)", way);
    ::operator delete(samples);
    driver.StopRecording();
    Check(driver.Code() == 11 && driver.GetNumSamples() == kSamples, "slot 5 StopRecording keeps them (%s)",
          way);
}

void CheckSaving(const DriverCalls& driver, const Counter& counter) {
    const char* const way = driver.Way();
    const Line raw("%scapture.bin", Folder());
    Remove(raw);
    driver.SaveFile(raw, 2);
    const File saved(raw);
    Check(saved.length == kBytes && memcmp(saved.bytes, counter.bytes, kBytes) == 0,
          "slot 7 SaveFile, raw: every byte (%s)", way);
    const Line tdf("%scapture.tdf", Folder());
    WriteWholeFile(tdf, "the host's header", 17);
    driver.SaveFile(tdf, 1);
    const File section(tdf);
    const size_t head = 17 + 12 + strlen("BinTraceData");
    Check(section.length == head + kBytes && memcmp(section.bytes + head, counter.bytes, kBytes) == 0 &&
              memcmp(section.bytes + 29, "BinTraceData", 12) == 0,
          "slot 7 SaveFile, a section of a TDF file: every byte (%s)", way);
}

}  // namespace

void CheckRecording(const Plugin& plugin, bool raw) {
    Group(raw ? "recording, by slot" : "recording, by name");
    ResetScript();
    const Session session(plugin, raw);
    const Counter counter(raw ? 0x10000000 : 0x20000000);
    session.driver.SetConfiguration(WriteOptions("Auto", "624", Variable("TARNEL_PROBE_PORT")));
    session.driver.StartRecording();
    OrderFarEnd("send", counter.bytes, kBytes);
    CheckCapture(session.driver, counter);
    CheckSaving(session.driver, counter);
    Check(HeapIsSound(), "the heap is sound");
}

}  // namespace host
