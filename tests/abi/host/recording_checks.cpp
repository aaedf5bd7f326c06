// Bytes from a port to the host, sent by the port's far end: a counter, in which every fault shows, and the
// SWO stream of TARNEL_SWO_STREAM (see run_host.py).
#include "tests/abi/host/scene.h"

namespace host {
namespace {

/// Whole samples.
struct Stream {
    const char* name;
    const char* bytes;
    uint32_t length;

    uint32_t Samples() const { return length / 8; }
};

/// A number of 4 bytes, least significant first, that counts up from `first`.
class Counter {
  public:
    explicit Counter(uint32_t first) : bytes(static_cast<char*>(::operator new(kBytes))) {
        for (uint32_t i = 0; i < kBytes / 4; ++i) {
            for (uint32_t byte = 0; byte < 4; ++byte) {
                bytes[4 * i + byte] = static_cast<char>((first + i) >> (8 * byte));
            }
        }
    }
    ~Counter() { ::operator delete(bytes); }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    Stream Content() const { return {"counter", bytes, kBytes}; }

  private:
    static constexpr uint32_t kBytes = 128 * 1024;
    char* const bytes;
};

void CheckCapture(const DriverCalls& driver, const Stream& stream) {
    const char* const way = driver.Way();
    for (const uint32_t start = Clock();
         driver.GetNumSamples() < stream.Samples() && Clock() - start < 60000;) {
        Wait(5);
    }
    Check(driver.GetNumSamples() == stream.Samples(),
          "slot 10 GetNumSamples: all that was sent has come (%s, %s)", stream.name, way);
    auto* const samples = static_cast<char*>(::operator new(stream.length));
    uint32_t all = 0;
    uint32_t read = 0;
    while (all < stream.Samples()) {
        const uint32_t rest = stream.Samples() - all;
        const uint32_t wanted = rest < 1000 ? rest : 1000;
        if (driver.SeekReadTraceData(all, wanted, samples + 8 * all, read) != read || read == 0) break;
        all += read;
    }
    Check(all == stream.Samples() && memcmp(samples, stream.bytes, stream.length) == 0,
          "slot 9 SeekReadTraceData: every one of %u bytes, while the capture runs (%s, %s)", stream.length,
          stream.name, way);
    ::operator delete(samples);
    driver.StopRecording();
    Check(driver.Code() == 11 && driver.GetNumSamples() == stream.Samples(),
          "slot 5 StopRecording keeps them (%s, %s)", stream.name, way);
}

void CheckSaving(const DriverCalls& driver, const Stream& stream) {
    const char* const way = driver.Way();
    const Line raw("%scapture.bin", Folder());
    Remove(raw);
    driver.SaveFile(raw, 2);
    const File saved(raw);
    Check(saved.length == stream.length && memcmp(saved.bytes, stream.bytes, stream.length) == 0,
          "slot 7 SaveFile, raw: every byte (%s, %s)", stream.name, way);
    const Line tdf("%scapture.tdf", Folder());
    WriteWholeFile(tdf, "the host's header", 17);
    driver.SaveFile(tdf, 1);
    const File section(tdf);
    const size_t head = 17 + 12 + strlen("BinTraceData");
    Check(section.length == head + stream.length &&
              memcmp(section.bytes + head, stream.bytes, stream.length) == 0 &&
              memcmp(section.bytes + 29, "BinTraceData", 12) == 0,
          "slot 7 SaveFile, a section of a TDF file: every byte (%s, %s)", stream.name, way);
}

void Record(const DriverCalls& driver, const Stream& stream) {
    driver.StartRecording();
    OrderFarEnd("send", stream.bytes, stream.length);
    CheckCapture(driver, stream);
    CheckSaving(driver, stream);
}

}  // namespace

void CheckRecording(const Plugin& plugin, bool raw) {
    Group(raw ? "recording, by slot" : "recording, by name");
    ResetScript();
    const Session session(plugin, raw);
    const Counter counter(raw ? 0x10000000 : 0x20000000);
    const File stream(Variable("TARNEL_SWO_STREAM"));
    Check(stream.length >= 1000, "there is an SWO stream of %u bytes", static_cast<unsigned>(stream.length));
    session.driver.SetConfiguration(WriteOptions("Auto", "624", Variable("TARNEL_PROBE_PORT")));
    Record(session.driver, counter.Content());
    Record(session.driver, {"SWO stream", stream.bytes, static_cast<uint32_t>(stream.length / 8 * 8)});
    Check(HeapIsSound(), "the heap is sound");
}

}  // namespace host
