// usage: data_access FOLDER
//
// Reads and saves captured data through a channel driver and, beside it, through the plain file calls; the
// capture is FOLDER/data/swotrace_bench.bin. Obeys lines on standard input and answers each with one JSON
// line. WHO is "driver" or "plain", for reading also "once", which does not open the file for its length
// first; FORMAT is 2 for a raw file, anything else for a section of a TDF file.
//   read WHO FIRST COUNT       COUNT calls of 64 KiB each from the FIRST on: their time
//   check WHO FIRST COUNT      the same, comparing what was read with the pattern
//   save WHO FORMAT PATH       saves the capture to PATH: its time

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/feed_pattern.h"
#include "bench/plain_file_calls.h"
#include "channel/ChannelDriver.h"
#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/environment.h"
#include "source_utilities/file_system.h"
#include "tests/fakes/host_objects.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSamplesPerCall = 8192;
constexpr std::size_t kBytesPerCall = 65536;

class Access {
  public:
    explicit Access(const std::string& folder)
        : adapter(journal),
          receiver(journal),
          driver(&receiver, "bench", &adapter, 0, 0),
          capture(folder + KORR_PLIM::platform::PathSeparator() + "data" +
                  KORR_PLIM::platform::PathSeparator() + "swotrace_bench.bin"),
          buffer(kBytesPerCall) {}

    /// False when a call gave fewer samples than asked for.
    bool Read(const std::string& who, uint32_t call) {
        const uint32_t start = call * kSamplesPerCall;
        uint32_t samples = 0;
        if (who != "driver") {
            const auto read = who == "once" ? bench::PlainSeekReadOnce : bench::PlainSeekRead;
            return read(capture.c_str(), start, kSamplesPerCall, buffer.data()) == kSamplesPerCall;
        }
        return driver.SeekReadTraceData(start, kSamplesPerCall, buffer.data(), samples) == kSamplesPerCall;
    }
    bool IsPattern(uint32_t call) const {
        std::vector<char> expected(kBytesPerCall);
        bench::FillFeed(expected.data(), kBytesPerCall, uint64_t{call} * kBytesPerCall);
        return expected == buffer;
    }
    bool Save(const std::string& who, int32_t format, const std::string& path) {
        if (who == "driver") {
            driver.SaveFile(path.c_str(), format);
            return true;
        }
        return format == 2 ? bench::PlainSaveRaw(capture.c_str(), path.c_str())
                           : bench::PlainSaveTdf(capture.c_str(), path.c_str());
    }

  private:
    fakes::CallJournal journal;
    fakes::FakeTargetAdapter adapter;
    fakes::FakeReceiver receiver;
    Korr::Plim::Trace::Tarnel::ChannelDriver driver;
    std::string capture;
    std::vector<char> buffer;
};

bool Carry(Access& access, std::istringstream& words) {
    std::string command;
    std::string who;
    words >> command >> who;
    if (command == "save") {
        int32_t format = 0;
        std::string path;
        words >> format >> std::ws;
        std::getline(words, path);
        return access.Save(who, format, path);
    }
    uint32_t first = 0;
    uint32_t count = 0;
    words >> first >> count;
    for (uint32_t call = first; call < first + count; ++call) {
        if (!access.Read(who, call)) return false;
        if (command == "check" && !access.IsPattern(call)) return false;
    }
    return true;
}

void Answer(Access& access, const std::string& line) {
    std::istringstream words(line);
    const auto start = Clock::now();
    const bool good = Carry(access, words);
    const std::chrono::duration<double> seconds = Clock::now() - start;
    std::printf("{\"good\": %s, \"seconds\": %.9f}\n", good ? "true" : "false", seconds.count());
    std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: data_access FOLDER\n", stderr);
        return 2;
    }
    KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING_DIR", arguments[1]);
    try {
        Access access(arguments[1]);
        for (std::string line; std::getline(std::cin, line);) Answer(access, line);
    } catch (const cPelkitError& error) {
        std::fprintf(stderr, "data_access: %s\n", pelkit::TextOf(error));
        return 1;
    }
    return 0;
}
