// usage: bare_capture DEVICE OUTPUT
//
// The collector's system calls in a bare loop, until the end of standard input or of the port: non-blocking
// reads of 4,096 bytes, each written to the file at once, and after one that brought little a wait for more,
// of 1 ms at most. Prints "ready" once the device is open.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <thread>

namespace {

std::atomic<bool> running{true};

void StopAtEndOfInput() {
    char ignored = 0;
    while (read(STDIN_FILENO, &ignored, 1) > 0) {
    }
    running = false;
}

bool Loop(int port, int file) {
    char buffer[4096];
    while (running) {
        const ssize_t got = read(port, buffer, sizeof buffer);
        if (got == 0 || (got < 0 && errno == EIO)) return true;  // the other end has closed
        if (got < 0 && errno != EAGAIN) return false;
        if (got > 0 && write(file, buffer, static_cast<size_t>(got)) != got) return false;
        pollfd waiting = {port, POLLIN, 0};
        if (got < static_cast<ssize_t>(sizeof buffer / 2)) poll(&waiting, 1, 1);
    }
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const int port = open(arguments[1], O_RDONLY | O_NOCTTY | O_NONBLOCK);
    const int file = open(arguments[2], O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (port < 0 || file < 0) return 1;
    std::thread watcher(StopAtEndOfInput);
    std::puts("ready");
    std::fflush(stdout);
    const bool complete = Loop(port, file);
    if (!complete) std::perror("bare_capture");
    watcher.join();
    return complete ? 0 : 1;
}
