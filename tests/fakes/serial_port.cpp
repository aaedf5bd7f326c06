#include "uart/serial_port.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "tests/fakes/scripted_serial_port.h"

namespace fakes {

namespace {

constexpr uint32_t kNoSuchPort = 2;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kDeviceGone = 22;

std::map<uint32_t, std::shared_ptr<ScriptedPort>>& Devices() {
    static std::map<uint32_t, std::shared_ptr<ScriptedPort>> devices;
    return devices;
}

// A handle is an index here. Devices stay alive for handles that are still open.
std::vector<std::shared_ptr<ScriptedPort>>& Opened() {
    static std::vector<std::shared_ptr<ScriptedPort>> opened;
    return opened;
}

// Alive until the next reset, for tests that still look at them.
std::vector<std::shared_ptr<ScriptedPort>>& Unplugged() {
    static std::vector<std::shared_ptr<ScriptedPort>> unplugged;
    return unplugged;
}

std::mutex& TableLock() {
    static std::mutex lock;
    return lock;
}

// The device of a closed handle need not live on, and the last handles of all can come back.
void Forget(std::size_t handle) {
    const std::lock_guard<std::mutex> guard(TableLock());
    Opened().at(handle).reset();
    while (!Opened().empty() && Opened().back() == nullptr) Opened().pop_back();
}

}  // namespace

LineState ScriptedPort::ForeignLine() {
    LineState state;
    state.length = 28;
    state.baudRate = 1200;
    state.dataBits = 7;
    state.parity = 2;
    state.stopBits = 2;
    state.binary = false;
    state.checkParity = true;
    state.ctsFlow = true;
    state.dsrFlow = true;
    state.dtrControl = 1;
    state.dsrSensitivity = true;
    state.xoffOutput = true;
    state.xoffInput = true;
    state.discardNull = true;
    state.rtsControl = 2;
    state.abortOnError = false;
    for (std::size_t i = 0; i < state.native.size(); ++i) state.native[i] = static_cast<std::byte>(200 - i);
    return state;
}

void ScriptedPort::AddArrived(const std::string& bytes) {
    const std::lock_guard<std::mutex> guard(lock);
    pending += bytes;
}

void ScriptedPort::SetLine(const LineState& settings) {
    const std::lock_guard<std::mutex> guard(lock);
    line = settings;
}

void ScriptedPort::Open() {
    const std::lock_guard<std::mutex> guard(lock);
    open = true;
    ++openings;
}

void ScriptedPort::Close() {
    const std::lock_guard<std::mutex> guard(lock);
    open = false;
    inBreak = false;
}

void ScriptedPort::Vanish() {
    const std::lock_guard<std::mutex> guard(lock);
    gone = true;
}

void ScriptedPort::Break() {
    const std::lock_guard<std::mutex> guard(lock);
    inBreak = true;
}

void ScriptedPort::Purge() {
    const std::lock_guard<std::mutex> guard(lock);
    pending = arrivingAfterPurge;
    arrivingAfterPurge.clear();
}

void ScriptedPort::Give(LineState& settings, std::size_t nth) const {
    const std::lock_guard<std::mutex> guard(lock);
    settings = line;
    if (invalidStates.count(nth) != 0) settings.length = 0;
}

void ScriptedPort::Take(const LineState& settings) {
    const std::lock_guard<std::mutex> guard(lock);
    asked.push_back(settings);
    line = settings;
    if (rateTaken) line.baudRate = rateTaken(settings.baudRate);
    if (lineTaken) lineTaken(line);
    inBreak = false;
}

PortQueue ScriptedPort::Queue() const {
    const std::lock_guard<std::mutex> guard(lock);
    return {0, static_cast<uint32_t>(pending.size())};
}

std::string ScriptedPort::Read(std::size_t size) {
    std::function<void()> action;
    std::string bytes;
    {
        const std::lock_guard<std::mutex> guard(lock);
        if (!pending.empty()) {
            bytes = pending.substr(0, size);
            pending.erase(0, bytes.size());
        } else if (!steps.empty()) {
            Step& step = steps.front();
            action = std::move(step.action);
            bytes = step.bytes.substr(0, size);
            step.bytes.erase(0, bytes.size());
            if (step.bytes.empty()) steps.pop_front();
        }
    }
    if (action) action();
    if (bytes.empty() && idlePause.count() > 0) std::this_thread::sleep_for(idlePause);
    return bytes;
}

void ScriptedPort::AddStep(Step step) {
    const std::lock_guard<std::mutex> guard(lock);
    steps.push_back(std::move(step));
}

ScriptedPort& ScriptedPorts::Plug(uint32_t number) {
    const std::lock_guard<std::mutex> guard(TableLock());
    Devices()[number] = std::make_shared<ScriptedPort>();
    return *Devices()[number];
}

void ScriptedPorts::Unplug(uint32_t number) {
    const std::lock_guard<std::mutex> guard(TableLock());
    const auto device = Devices().find(number);
    if (device == Devices().end()) return;
    device->second->Vanish();
    Unplugged().push_back(device->second);
    Devices().erase(device);
}

void ScriptedPorts::Reset() {
    const std::lock_guard<std::mutex> guard(TableLock());
    Devices().clear();
    Unplugged().clear();
    ScriptedCalls::Instance().Reset();
}

}  // namespace fakes

namespace Korr::Plim::Trace::Tarnel {

namespace {

bool Enter(const char* name, const std::string& argument = std::string()) {
    return fakes::ScriptedCalls::Instance().Enter(name, argument);
}

bool Refuse(uint32_t code) {
    fakes::ScriptedCalls::LastError() = code;
    return false;
}

// Null for a port that is not open.
fakes::ScriptedPort* Opened(std::intptr_t handle) {
    const std::lock_guard<std::mutex> guard(fakes::TableLock());
    return handle >= 0 ? fakes::Opened().at(static_cast<std::size_t>(handle)).get() : nullptr;
}

// Null, with the error number set, for a port that is not open or not there any more.
fakes::ScriptedPort* Device(std::intptr_t handle) {
    fakes::ScriptedPort* const device = Opened(handle);
    if (device != nullptr && !device->IsGone()) return device;
    Refuse(device == nullptr ? fakes::kInvalidHandle : fakes::kDeviceGone);
    return nullptr;
}

}  // namespace

// As on Windows.
const uint32_t SerialPort::kCaptureReadSize = 100;

bool SerialPort::Open(uint32_t portNumber) {
    handle = kClosed;
    if (!Enter("port.Open", std::to_string(portNumber))) return false;
    const std::lock_guard<std::mutex> guard(fakes::TableLock());
    const auto device = fakes::Devices().find(portNumber);
    if (device == fakes::Devices().end()) return Refuse(fakes::kNoSuchPort);
    device->second->Open();
    fakes::Opened().push_back(device->second);
    handle = static_cast<std::intptr_t>(fakes::Opened().size()) - 1;
    return true;
}

bool SerialPort::SetPollingTimeouts() {
    return Enter("port.SetPollingTimeouts") && Device(handle) != nullptr;
}

bool SerialPort::GetState(LineState& state) {
    if (!Enter("port.GetState")) return false;
    const fakes::ScriptedPort* device = Device(handle);
    if (device == nullptr) return false;
    device->Give(state, fakes::ScriptedCalls::Instance().Count("port.GetState"));
    return true;
}

bool SerialPort::SetState(const LineState& state) {
    if (!Enter("port.SetState", std::to_string(state.baudRate))) return false;
    fakes::ScriptedPort* device = Device(handle);
    if (device != nullptr) device->Take(state);
    return device != nullptr;
}

bool SerialPort::Purge() {
    if (!Enter("port.Purge")) return false;
    fakes::ScriptedPort* device = Device(handle);
    if (device != nullptr) device->Purge();
    return device != nullptr;
}

bool SerialPort::QueryQueue(PortQueue& queue) {
    if (!Enter("port.QueryQueue")) return false;
    const fakes::ScriptedPort* device = Device(handle);
    if (device != nullptr) queue = device->Queue();
    return device != nullptr;
}

bool SerialPort::SetBreak() {
    if (!Enter("port.SetBreak")) return false;
    fakes::ScriptedPort* device = Device(handle);
    if (device != nullptr) device->Break();
    return device != nullptr;
}

bool SerialPort::Read(void* buffer, uint32_t size, uint32_t& bytesRead) {
    bytesRead = 0;
    if (!Enter("port.Read", std::to_string(size))) return false;
    fakes::ScriptedPort* device = Device(handle);
    if (device == nullptr) return false;
    const std::string bytes = device->Read(size);
    std::memcpy(buffer, bytes.data(), bytes.size());
    bytesRead = static_cast<uint32_t>(bytes.size());
    return true;
}

void SerialPort::AwaitMore(uint32_t) {}
void SerialPort::EndWaits() {}

bool SerialPort::Close() {
    const auto index = static_cast<std::size_t>(handle);
    fakes::ScriptedPort* device = Opened(handle);
    handle = kClosed;
    if (device != nullptr) {
        device->Close();
        fakes::Forget(index);
    }
    return Enter("port.Close") && (device != nullptr || Refuse(fakes::kInvalidHandle));
}

uint32_t SerialPort::LastError() { return fakes::ScriptedCalls::LastError(); }

}  // namespace Korr::Plim::Trace::Tarnel
