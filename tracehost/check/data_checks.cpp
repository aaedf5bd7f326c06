// Checks of GetNumSamples and SeekReadTraceData, on a capture file that stands where the plug-in's does.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr std::size_t kBytesASample = 8;
constexpr char kUntouched = '\x5A';

/// Reads into a buffer of `room` samples that is filled with kUntouched, and gives it all.
std::string Read(const DriverCalls& driver, uint32_t start, uint32_t requested, uint32_t wanted,
                 std::size_t room) {
    std::string buffer(room * kBytesASample, kUntouched);
    uint32_t read = 99;
    const uint32_t answer = driver.SeekReadTraceData(start, requested, buffer.data(), read);
    const std::string what = "SeekReadTraceData(" + Shown(start) + ", " + Shown(requested) + ")";
    ExpectEqual(what, answer, wanted);
    ExpectEqual(what + ": out argument", read, wanted);
    return buffer;
}

std::string Untouched(std::size_t samples) { return std::string(samples * kBytesASample, kUntouched); }

void CheckEmpty(Stage& stage) {
    const Scene scene(stage);
    ExpectEqual("GetNumSamples without a capture", scene.driver.GetNumSamples(), 0u);
    ExpectBytes("the buffer of a read without a capture", Read(scene.driver, 0, 2, 0, 2), Untouched(2));
    stage.Write(Stage::CaptureFile(kCpuShortName), "");
    ExpectEqual("GetNumSamples of an empty capture", scene.driver.GetNumSamples(), 0u);
    ExpectBytes("the buffer of a read of an empty capture", Read(scene.driver, 0, 2, 0, 2), Untouched(2));
}

void CheckEdges(Stage& stage) {
    const Scene scene(stage);
    const DriverCalls& driver = scene.driver;
    const std::string bytes = KnownBytes(61);  // 8 samples, of which the last has 5 bytes
    stage.Write(Stage::CaptureFile(kCpuShortName), bytes);
    const std::string samples = Padded(bytes);
    ExpectEqual("GetNumSamples of 61 bytes", driver.GetNumSamples(), 8u);
    ExpectBytes("all samples", Read(driver, 0, 8, 8, 9), samples + Untouched(1));
    ExpectBytes("the last sample", Read(driver, 7, 1, 1, 2), samples.substr(56) + Untouched(1));
    ExpectBytes("10 samples from the 6th of 8", Read(driver, 5, 10, 3, 10),
                samples.substr(40) + Untouched(7));
    ExpectBytes("a sample within", Read(driver, 3, 1, 1, 2), samples.substr(24, 8) + Untouched(1));
    for (const uint32_t start : {8u, 9u, 0x20000000u, 0xFFFFFFFFu}) {
        ExpectBytes("the buffer of a read behind the end", Read(driver, start, 1, 0, 1), Untouched(1));
    }
    ExpectBytes("the buffer of a read of nothing", Read(driver, 0, 0, 0, 1), Untouched(1));
    ExpectBytes("all from the 2nd on", Read(driver, 1, 0xFFFFFFFF, 7, 8), samples.substr(8) + Untouched(1));
    stage.Write(Stage::CaptureFile(kCpuShortName), bytes.substr(0, 8));
    ExpectEqual("GetNumSamples of 8 bytes", driver.GetNumSamples(), 1u);
    stage.Write(Stage::CaptureFile(kCpuShortName), bytes.substr(0, 9));
    ExpectEqual("GetNumSamples of 9 bytes", driver.GetNumSamples(), 2u);
}

void CheckNoBuffer(Stage& stage) {
    const Scene scene(stage);
    stage.Write(Stage::CaptureFile(kCpuShortName), KnownBytes(64));
    uint32_t read = 99;
    ExpectEqual("SeekReadTraceData without a buffer", scene.driver.SeekReadTraceData(0, 4, nullptr, read),
                0u);
    ExpectEqual("SeekReadTraceData without a buffer: out argument", read, 0u);
    ExpectEqual("GetNumSamples after it", scene.driver.GetNumSamples(), 8u);
}

}  // namespace

const std::vector<Check>& DataChecks() {
    static const std::vector<Check> checks = {
        {"data-empty", "Without a capture there are no samples, and a read leaves the host's buffer as it is",
         "the host's views ask before anything is recorded", 0, CheckEmpty},
        {"data-edges",
         "Reads at the edges give the samples that are there, pad the last, and write nothing behind them",
         "what is written behind the host's buffer ends the debugger", 0, CheckEdges},
        {"data-no-buffer", "A read without a buffer gives no samples",
         "a host that only wants to know how many there are must not be ended", 0, CheckNoBuffer},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
