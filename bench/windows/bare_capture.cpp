// usage: bare_capture DEVICE OUTPUT
//
// The collector's platform calls in a bare loop: reads of 100 bytes with polling time-outs, each written to
// the file at once, empty ones as well, until the end of standard input. Prints "ready" once the device is
// open.

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace {

std::atomic<bool> running{true};

void StopAtEndOfInput() {
    while (std::getchar() != EOF) {
    }
    running = false;
}

bool Loop(HANDLE port, HANDLE file) {
    char buffer[100];
    while (running) {
        DWORD got = 0;
        DWORD written = 0;
        if (!ReadFile(port, buffer, sizeof buffer, &got, nullptr)) return false;
        if (!WriteFile(file, buffer, got, &written, nullptr) || written != got) return false;
    }
    return true;
}

bool SetUp(HANDLE port) {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = MAXDWORD;
    DCB line{};
    line.DCBlength = sizeof line;
    if (!SetCommTimeouts(port, &timeouts) || !GetCommState(port, &line)) return false;
    line.BaudRate = CBR_115200;
    line.ByteSize = 8;
    line.fBinary = TRUE;
    return SetCommState(port, &line) != 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const HANDLE port = CreateFileA(arguments[1], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    const HANDLE file = CreateFileA(arguments[2], GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (port == INVALID_HANDLE_VALUE || file == INVALID_HANDLE_VALUE || !SetUp(port)) return 1;
    std::thread watcher(StopAtEndOfInput);
    std::puts("ready");
    std::fflush(stdout);
    const bool complete = Loop(port, file);
    if (!complete) std::fprintf(stderr, "bare_capture: error %lu\n", GetLastError());
    watcher.join();
    return complete ? 0 : 1;
}
