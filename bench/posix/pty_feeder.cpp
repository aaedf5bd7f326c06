// usage: pty_feeder BYTES LINK OUTPUT [LINK OUTPUT]...
//
// Feeds readers of pseudo-terminals flat out: a raw pseudo-terminal behind every LINK, a plain blocking
// writer for each, BYTES (a multiple of 8) of the pattern into every one. It obeys lines on standard input
// and answers each with one JSON line:
//   go     writes, waits until every OUTPUT has BYTES, and tells how long that took from the first write on
//   check  compares every OUTPUT with the pattern
// Measuring until the bytes stand in the files treats every reader alike, whatever it does with them in
// between. At the end of the input the pseudo-terminals are closed.

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "bench/feed_pattern.h"

namespace {

using bench::FillFeed;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 65536;
constexpr auto kLook = std::chrono::microseconds(200);
constexpr auto kPatience = std::chrono::seconds(20);  // without any growth: bytes were lost

[[noreturn]] void Fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

struct Line {
    std::string link;
    std::string output;
    int master = -1;
    int slave = -1;  // kept open, so that readers may come and go
};

void Open(Line& line) {
    line.master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (line.master < 0 || grantpt(line.master) != 0 || unlockpt(line.master) != 0) Fail("pseudo-terminal");
    const std::string device = ptsname(line.master);
    line.slave = open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (line.slave < 0 || tcgetattr(line.slave, &settings) != 0) Fail(device.c_str());
    cfmakeraw(&settings);
    if (tcsetattr(line.slave, TCSANOW, &settings) != 0) Fail(device.c_str());
    unlink(line.link.c_str());
    if (symlink(device.c_str(), line.link.c_str()) != 0) Fail(line.link.c_str());
}

void WriteAll(int file, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(file, data, size);
        if (written < 0) Fail("feeding");
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void Feed(int file, uint64_t bytes) {
    std::array<char, kPiece> piece;
    for (uint64_t offset = 0; offset < bytes; offset += kPiece) {
        const std::size_t size = std::min<uint64_t>(kPiece, bytes - offset);
        FillFeed(piece.data(), size, offset);
        WriteAll(file, piece.data(), size);
    }
}

uint64_t SizeOf(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

uint64_t Captured(const std::vector<Line>& lines) {
    uint64_t sum = 0;
    for (const Line& line : lines) sum += SizeOf(line.output);
    return sum;
}

// False when nothing has come for a long time.
bool AwaitOutputs(const std::vector<Line>& lines, uint64_t bytes) {
    uint64_t seen = 0;
    auto grown = Clock::now();
    for (;;) {
        const uint64_t now = Captured(lines);
        if (now >= bytes * lines.size()) return true;
        if (now != seen) {
            seen = now;
            grown = Clock::now();
        }
        if (Clock::now() - grown > kPatience) return false;
        std::this_thread::sleep_for(kLook);
    }
}

void Go(const std::vector<Line>& lines, uint64_t bytes) {
    const auto start = Clock::now();
    std::vector<std::thread> writers;
    for (const Line& line : lines) writers.emplace_back([&line, bytes] { Feed(line.master, bytes); });
    for (std::thread& writer : writers) writer.join();
    const bool complete = AwaitOutputs(lines, bytes);
    const std::chrono::duration<double> seconds = Clock::now() - start;
    std::printf("{\"complete\": %s, \"seconds\": %.9f, \"bytes\": %llu}\n", complete ? "true" : "false",
                seconds.count(), static_cast<unsigned long long>(bytes * lines.size()));
}

// The first byte that differs, or the number of bytes when all are alike.
uint64_t CommonBytes(std::FILE* file) {
    std::array<char, kPiece> expected;
    std::array<char, kPiece> found;
    uint64_t offset = 0;
    for (;;) {
        const std::size_t size = std::fread(found.data(), 1, kPiece, file);
        if (size == 0) return offset;
        FillFeed(expected.data(), kPiece, offset);
        if (std::memcmp(expected.data(), found.data(), size) != 0) {
            std::size_t at = 0;
            while (expected[at] == found[at]) ++at;
            return offset + at;
        }
        offset += size;
    }
}

void Check(const std::vector<Line>& lines, uint64_t bytes) {
    for (const Line& line : lines) {
        std::FILE* file = std::fopen(line.output.c_str(), "rb");
        if (file == nullptr) Fail(line.output.c_str());
        const uint64_t common = CommonBytes(file);
        std::fclose(file);
        const uint64_t size = SizeOf(line.output);
        if (common == bytes && size == bytes) continue;
        std::printf(
            "{\"identical\": false, \"output\": \"%s\", \"size\": %llu, \"first_difference\": %llu}\n",
            line.output.c_str(), static_cast<unsigned long long>(size),
            static_cast<unsigned long long>(common));
        return;
    }
    std::printf("{\"identical\": true}\n");
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 3 && std::strcmp(arguments[1], "pattern") == 0) {
        Feed(STDOUT_FILENO, std::strtoull(arguments[2], nullptr, 10));
        return 0;
    }
    const uint64_t bytes = count >= 4 ? std::strtoull(arguments[1], nullptr, 10) : 0;
    if (count < 4 || count % 2 != 0 || bytes == 0 || bytes % bench::kWordSize != 0) {
        std::fprintf(stderr, "usage: pty_feeder BYTES LINK OUTPUT [LINK OUTPUT]...\n");
        return 2;
    }
    std::vector<Line> lines;
    for (int i = 2; i < count; i += 2) lines.push_back({arguments[i], arguments[i + 1]});
    for (Line& line : lines) Open(line);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("{\"ready\": true}\n");
    for (std::string command; std::getline(std::cin, command);) {
        if (command == "go") Go(lines, bytes);
        if (command == "check") Check(lines, bytes);
    }
    for (const Line& line : lines) unlink(line.link.c_str());
    return 0;
}
