#pragma once

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>

/// A pseudo-terminal whose line end is COM port `number`; the test plays the probe at the far end.
class PseudoTerminal {
  public:
    explicit PseudoTerminal(uint32_t number) : variable("KORR_TRACE_COM" + std::to_string(number)) {
        farEnd = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char name[128];
        if (farEnd < 0 || ::grantpt(farEnd) != 0 || ::unlockpt(farEnd) != 0 ||
            ::ptsname_r(farEnd, name, sizeof name) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        path = name;
        // Held open, so that settings outlive whoever else opens and closes the line end.
        lineEnd = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::setenv(variable.c_str(), name, 1);
    }
    ~PseudoTerminal() {
        Unplug();
        ::unsetenv(variable.c_str());
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Blocks while the terminal is full. False when it is gone.
    bool Send(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::write(farEnd, bytes.data() + sent, bytes.size() - sent);
            if (count <= 0) return false;
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
    /// Closes the far end, as when a probe is pulled out.
    void Unplug() {
        if (lineEnd >= 0) ::close(lineEnd);
        if (farEnd >= 0) ::close(farEnd);
        lineEnd = farEnd = -1;
    }
    termios2 Settings() const {
        termios2 settings{};
        ::ioctl(lineEnd, TCGETS2, &settings);
        return settings;
    }
    void SetSettings(const termios2& settings) { ::ioctl(lineEnd, TCSETS2, &settings); }
    const std::string& Path() const { return path; }

  private:
    std::string variable;
    std::string path;
    int farEnd = -1;
    int lineEnd = -1;
};

/// Waits until the condition holds; false when it does not within a minute.
template <typename Condition>
bool Eventually(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
