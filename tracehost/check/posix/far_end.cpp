#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "source_utilities/environment_variables.h"
#include "tracehost/check/platform.h"
#include "tracehost/errors.h"
#include "tracehost/platform_words.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr uint32_t kFirstOwnPort = 201;

std::string VariableOf(uint32_t port) { return "KORR_TRACE_COM" + std::to_string(port); }

/// An end that bytes are written into.
class Terminal final : public FarEnd {
  public:
    Terminal(int file, uint32_t pluginPort) : handle(file), port(pluginPort) {}
    ~Terminal() override { close(handle); }

    uint32_t Port() const override { return port; }

    std::size_t Send(const std::string& bytes, uint32_t seconds) override {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        std::size_t sent = 0;
        while (sent < bytes.size() && std::chrono::steady_clock::now() < end) {
            pollfd room{handle, POLLOUT, 0};
            poll(&room, 1, 100);
            const ssize_t taken = write(handle, bytes.data() + sent, bytes.size() - sent);
            if (taken > 0) sent += static_cast<std::size_t>(taken);
            if (taken < 0 && errno != EAGAIN && errno != EINTR) break;
        }
        return sent;
    }

  private:
    int handle;
    uint32_t port;
};

[[noreturn]] void Refuse(const std::string& what) {
    throw HostError(what + ": " + ErrorWords(static_cast<uint32_t>(errno)));
}

void SetLine(int file, const std::string& name) {
    termios line{};
    if (tcgetattr(file, &line) != 0) Refuse(name);
    cfmakeraw(&line);
    line.c_cflag = (line.c_cflag & ~static_cast<tcflag_t>(CRTSCTS | CSTOPB)) | CLOCAL;
    cfsetspeed(&line, B115200);
    if (tcsetattr(file, TCSANOW, &line) != 0) Refuse(name);
}

std::unique_ptr<FarEnd> OpenPair(const PortPair& pair) {
    std::string name = KORR_PLIM::platform::GetVariable(VariableOf(pair.own).c_str());
    if (name.empty()) name = "/dev/ttyACM" + std::to_string(pair.own);
    const int file = open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) Refuse(name);
    auto end = std::make_unique<Terminal>(file, pair.plugin);
    SetLine(file, name);
    return end;
}

}  // namespace

bool HasOwnPorts() { return true; }

std::unique_ptr<FarEnd> OpenFarEnd(const std::optional<PortPair>& pair, uint32_t index) {
    if (pair) return OpenPair(*pair);
    const int file = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) Refuse("no pseudo-terminal can be made");
    auto end = std::make_unique<Terminal>(file, kFirstOwnPort + index);
    std::array<char, 100> name{};
    if (grantpt(file) != 0 || unlockpt(file) != 0 || ptsname_r(file, name.data(), name.size()) != 0) {
        Refuse("no pseudo-terminal can be made");
    }
    SetProcessVariable(VariableOf(end->Port()).c_str(), name.data());
    return end;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
