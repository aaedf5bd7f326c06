#include <windows.h>

#include <chrono>
#include <thread>

#include "tracehost/check/platform.h"
#include "tracehost/errors.h"
#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

class ComPort final : public FarEnd {
  public:
    ComPort(HANDLE file, uint32_t pluginPort) : handle(file), port(pluginPort) {}
    ~ComPort() override { CloseHandle(handle); }

    uint32_t Port() const override { return port; }

    std::size_t Send(const std::string& bytes, uint32_t seconds) override {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        std::size_t sent = 0;
        while (sent < bytes.size() && std::chrono::steady_clock::now() < end) {
            DWORD taken = 0;
            if (!WriteFile(handle, bytes.data() + sent, static_cast<DWORD>(bytes.size() - sent), &taken,
                           nullptr)) {
                break;
            }
            sent += taken;
            if (taken == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return sent;
    }

  private:
    HANDLE handle;
    uint32_t port;
};

[[noreturn]] void Refuse(const std::string& name) {
    throw HostError(name + ": " + ErrorWords(GetLastError()));
}

void SetLine(HANDLE file, const std::string& name) {
    DCB line{};
    line.DCBlength = sizeof line;
    if (!GetCommState(file, &line)) Refuse(name);
    line.BaudRate = CBR_115200;
    line.ByteSize = 8;
    line.Parity = NOPARITY;
    line.StopBits = ONESTOPBIT;
    line.fOutxCtsFlow = FALSE;
    line.fOutX = FALSE;
    COMMTIMEOUTS limits{};
    limits.WriteTotalTimeoutConstant = 100;
    if (!SetCommState(file, &line) || !SetCommTimeouts(file, &limits)) Refuse(name);
}

}  // namespace

bool HasOwnPorts() { return false; }

std::unique_ptr<FarEnd> OpenFarEnd(const std::optional<PortPair>& pair, uint32_t) {
    if (!pair) throw HostError("no pair of ports is given");
    const std::string name = "COM" + std::to_string(pair->own);
    const HANDLE file = CreateFileA(("\\\\.\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) Refuse(name);
    auto end = std::make_unique<ComPort>(file, pair->plugin);
    SetLine(file, name);
    return end;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
