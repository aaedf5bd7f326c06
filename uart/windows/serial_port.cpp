#include "uart/serial_port.h"

#include <windows.h>

#include <cstring>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

namespace {

HANDLE Native(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

static_assert(sizeof(DCB) <= sizeof(LineState::native));

void FromNative(const DCB& dcb, LineState& state) {
    state.length = dcb.DCBlength;
    state.baudRate = dcb.BaudRate;
    state.dataBits = dcb.ByteSize;
    state.parity = dcb.Parity;
    state.stopBits = dcb.StopBits;
    state.binary = dcb.fBinary != 0;
    state.checkParity = dcb.fParity != 0;
    state.ctsFlow = dcb.fOutxCtsFlow != 0;
    state.dsrFlow = dcb.fOutxDsrFlow != 0;
    state.dtrControl = static_cast<uint8_t>(dcb.fDtrControl);
    state.dsrSensitivity = dcb.fDsrSensitivity != 0;
    state.xoffOutput = dcb.fOutX != 0;
    state.xoffInput = dcb.fInX != 0;
    state.discardNull = dcb.fNull != 0;
    state.rtsControl = static_cast<uint8_t>(dcb.fRtsControl);
    state.abortOnError = dcb.fAbortOnError != 0;
    std::memcpy(state.native.data(), &dcb, sizeof dcb);
}

// All bits and members that have no name in LineState come from its native record.
DCB ToNative(const LineState& state) {
    DCB dcb;
    std::memcpy(&dcb, state.native.data(), sizeof dcb);
    dcb.DCBlength = state.length;
    dcb.BaudRate = state.baudRate;
    dcb.ByteSize = state.dataBits;
    dcb.Parity = state.parity;
    dcb.StopBits = state.stopBits;
    dcb.fBinary = state.binary;
    dcb.fParity = state.checkParity;
    dcb.fOutxCtsFlow = state.ctsFlow;
    dcb.fOutxDsrFlow = state.dsrFlow;
    dcb.fDtrControl = state.dtrControl & 3U;
    dcb.fDsrSensitivity = state.dsrSensitivity;
    dcb.fOutX = state.xoffOutput;
    dcb.fInX = state.xoffInput;
    dcb.fNull = state.discardNull;
    dcb.fRtsControl = state.rtsControl & 3U;
    dcb.fAbortOnError = state.abortOnError;
    return dcb;
}

}  // namespace

const uint32_t SerialPort::kCaptureReadSize = 100;

bool SerialPort::Open(uint32_t portNumber) {
    const std::wstring path = L"\\\\.\\COM" + std::to_wstring(portNumber);
    handle = reinterpret_cast<std::intptr_t>(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return handle != kClosed;
}

bool SerialPort::SetPollingTimeouts() {
    COMMTIMEOUTS timeouts{};  // the port is never written: no write time-outs
    timeouts.ReadIntervalTimeout = MAXDWORD;
    return SetCommTimeouts(Native(handle), &timeouts) != 0;
}

bool SerialPort::GetState(LineState& state) {
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (!GetCommState(Native(handle), &dcb)) return false;
    FromNative(dcb, state);
    return true;
}

bool SerialPort::SetState(const LineState& state) {
    DCB dcb = ToNative(state);
    return SetCommState(Native(handle), &dcb) != 0;
}

bool SerialPort::Purge() { return PurgeComm(Native(handle), PURGE_TXCLEAR | PURGE_RXCLEAR) != 0; }

bool SerialPort::QueryQueue(PortQueue& queue) {
    DWORD errors = 0;
    COMSTAT status{};
    if (!ClearCommError(Native(handle), &errors, &status)) return false;
    queue.errors = errors;
    queue.bytesWaiting = status.cbInQue;
    return true;
}

bool SerialPort::SetBreak() { return SetCommBreak(Native(handle)) != 0; }

bool SerialPort::Read(void* buffer, uint32_t size, uint32_t& bytesRead) {
    DWORD count = 0;
    const bool success = ReadFile(Native(handle), buffer, size, &count, nullptr) != 0;
    bytesRead = count;
    return success;
}

void SerialPort::AwaitMore(uint32_t) {}
void SerialPort::EndWaits() {}

bool SerialPort::Close() {
    const HANDLE port = Native(handle);
    handle = kClosed;
    return CloseHandle(port) != 0;
}

uint32_t SerialPort::LastError() { return GetLastError(); }

}  // namespace Korr::Plim::Trace::Tarnel
