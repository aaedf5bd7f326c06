#include "tracehost/port_access.h"

#include <windows.h>

#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

PortAccess CheckPort(uint32_t number, PortCheck check) {
    PortAccess access;
    access.device = R"(\\.\COM)" + std::to_string(number);
    if (check == PortCheck::FromOutside) {
        access.lookedAt = false;
        return access;
    }
    const HANDLE port = CreateFileA(access.device.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (port != INVALID_HANDLE_VALUE) {
        DCB state{};
        state.DCBlength = sizeof state;
        if (GetCommState(port, &state) == 0) {
            access.problem = ErrorWords(GetLastError());
            access.advice = "this is no serial port: \"tracehost ports\" lists those that are there";
        }
        CloseHandle(port);
        return access;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION) {
        access.problem = "in use by another program";
        access.advice = "end the program that has it open, a terminal or another recording";
    } else {
        access.problem = ErrorWords(error);
        access.advice = "connect the probe; \"tracehost ports\" lists the ports that are there";
    }
    return access;
}

std::vector<uint32_t> PortsOfEnvironment() { return {}; }

std::optional<uint32_t> PortOfDevice(const std::string&) { return std::nullopt; }

}  // namespace Korr::Plim::Trace::Tracehost
