// trace_view BYTES: opens a recording of mixed packets, repeated from a block of 4 MiB so that nothing of its
// size lies on a disk, as a page does, and tells what that took as JSON. A thread indexes, and one more that
// it begins where there are two processors; meanwhile the whole is asked for every 50 ms, and afterwards the
// exact windows of 101 places. Exit status 1: an answer was wrong.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "bench/trace_streams.h"
#include "viewer/recording_feed.h"

namespace {

using namespace Korr::Plim::Trace;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBlock = std::size_t{4} << 20;
constexpr int kPlaces = 101;
constexpr uint32_t kPixels = 1600;

class Repeated : public Swo::CaptureBytes {
  public:
    explicit Repeated(uint64_t wanted) : block(bench::MixedStream(kBlock)), size(wanted) {
        block.resize(kBlock);
    }
    std::size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override {
        std::size_t done = 0;
        while (done < buffer.size() && offset + done < size) {
            const auto from = static_cast<std::size_t>((offset + done) % block.size());
            const std::size_t count = std::min(
                {buffer.size() - done, block.size() - from, static_cast<std::size_t>(size - offset - done)});
            std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(from), count,
                        buffer.begin() + static_cast<std::ptrdiff_t>(done));
            done += count;
        }
        return done;
    }

  private:
    std::vector<uint8_t> block;
    uint64_t size;
};

double Seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

/// CPU seconds of this thread or of the whole program.
double CpuSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double MostMemory() {  // MB
    std::FILE* const status = std::fopen("/proc/self/status", "r");
    unsigned long kilobytes = 0;
    std::array<char, 256> line{};
    while (status != nullptr && std::fgets(line.data(), line.size(), status) != nullptr) {
        if (std::sscanf(line.data(), "VmHWM: %lu", &kilobytes) == 1) break;
    }
    if (status != nullptr) std::fclose(status);
    return static_cast<double>(kilobytes) * 1024 / 1e6;
}

bool Has(const std::string& answer, const char* text) { return answer.find(text) != std::string::npos; }

double Median(std::vector<double> all) {
    std::sort(all.begin(), all.end());
    return all.empty() ? 0 : all[all.size() / 2];
}

struct Opening {
    double first = 0;     ///< seconds until a picture with content
    double complete = 0;  ///< seconds
    double cpu = 0;       ///< seconds of all threads but the one that asks
    double longest = 0;   ///< seconds that a picture took meanwhile
    bool right = true;
};

Opening Open(Viewer::RecordingFeed& feed, const Repeated& bytes, uint64_t size) {
    Opening opening;
    const auto cpuOfOthers = [] {
        return CpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    };
    const double before = cpuOfOthers();
    const auto begin = Clock::now();
    std::thread indexer([&] {
        std::vector<uint8_t> piece(std::size_t{1} << 20);
        for (uint64_t at = 0; at < size;) {
            const std::size_t count = bytes.ReadAt(at, piece);
            feed.Take(std::span(piece).first(count));
            at += count;
        }
        feed.Finish();
        opening.complete = Seconds(begin);
    });
    for (Viewer::FeedState state = feed.Now(); state.indexed < size; state = feed.Now()) {
        const auto asked = Clock::now();
        const std::string picture = feed.Window({0, state.end, kPixels, {}, true});
        opening.longest = std::max(opening.longest, Seconds(asked));
        if (opening.first == 0 && Has(picture, "\"port:0\"")) opening.first = Seconds(begin);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    indexer.join();
    opening.cpu = cpuOfOthers() - before;
    if (opening.first == 0) opening.first = opening.complete;
    opening.right =
        feed.Now().indexed == size && Has(feed.Window({0, feed.Now().end, kPixels, {}, true}), "\"pc\"");
    return opening;
}

/// Seconds that exact windows take, of places all over the recording.
std::vector<double> ExactWindows(const Viewer::RecordingFeed& feed, bool& right) {
    const double end = feed.Now().end;
    const double width = end / static_cast<double>(feed.Now().indexed) * 200'000;  // of so many bytes
    std::vector<double> all;
    for (int i = 0; i < kPlaces; ++i) {
        const double from = (end - width) * i / kPlaces;
        const auto asked = Clock::now();
        const std::string window = feed.Window({from, from + width, kPixels, {}, false});
        all.push_back(Seconds(asked));
        right = right && Has(window, "\"exact\":true") && Has(window, "\"port:0\"");
    }
    return all;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: trace_view BYTES\n");
        return 2;
    }
    const uint64_t size = std::strtoull(arguments[1], nullptr, 10);
    const auto bytes = std::make_shared<Repeated>(size);
    Viewer::RecordingSettings settings;
    settings.analysis.onTwoThreads = Swo::HasTwoProcessors();
    Viewer::RecordingFeed feed(settings, bytes);
    Opening opening = Open(feed, *bytes, size);
    const std::vector<double> exact = ExactWindows(feed, opening.right);
    const auto asked = Clock::now();
    const std::string profile =
        feed.Profile({feed.Now().end * 0.31, feed.Now().end * 0.77, Viewer::ProfileBy::Address});
    const double profiled = Seconds(asked);
    std::printf(
        "{\"first_picture_s\": %.4f, \"complete_s\": %.3f, \"index_mb_s\": %.1f, \"index_cpu_s\": %.3f, "
        "\"longest_picture_ms\": "
        "%.2f, "
        "\"exact_ms\": %.3f, \"longest_exact_ms\": %.3f, \"profile_ms\": %.1f, \"memory_mb\": %.1f}\n",
        opening.first, opening.complete, static_cast<double>(size) / 1e6 / opening.complete, opening.cpu,
        opening.longest * 1e3, Median(exact) * 1e3, *std::max_element(exact.begin(), exact.end()) * 1e3,
        profiled * 1e3, MostMemory());
    return opening.right && Has(profile, "\"samples\"") ? 0 : 1;
}
