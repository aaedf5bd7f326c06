#include "tracehost/check/scene.h"

#include <algorithm>

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr uint32_t kSendSeconds = 20;
constexpr std::size_t kSampleSize = 8;

CReceiver* Created(const Plugin& plugin) {
    Step("CreateRcvr");
    CReceiver* const receiver = plugin.CreateReceiver();
    if (receiver == nullptr) Fail("CreateRcvr gives null");
    return receiver;
}

}  // namespace

Life::Life(Stage& stage) : receiver(Created(stage.LoadedPlugin())), plugin(stage.LoadedPlugin()) {}

Life::~Life() {
    Step("DestroyRcvr");
    plugin.DestroyReceiver(receiver.Pointer());
}

const char* NameOf(State state) {
    constexpr const char* kNames[] = {"created", "configured", "recording", "stopped"};
    return kNames[static_cast<std::size_t>(state)];
}

std::vector<State> StatesAt(const Stage& stage) {
    if (PortsAt(stage.Settings().pairs) > 0) {
        return {State::Created, State::Configured, State::Recording, State::Stopped};
    }
    Remark("not looked at in the states recording and stopped, for which there is no pair of ports");
    return {State::Created, State::Configured};
}

Scene::Scene(Stage& on) : stage(on), life(std::in_place, on), receiver(life->receiver), adapter(kCpuId) {
    Allocate(kCpu);
}

Scene::Scene(const Scene& beside, const char* cpu, uint32_t cpuId)
    : stage(beside.stage), receiver(beside.receiver), adapter(cpuId) {
    Allocate(cpu);
}

void Scene::Allocate(const char* cpu) {
    driver = DriverCalls(receiver.Allocate(cpu, &adapter, adapter.Id(), 1));
    if (driver.Pointer() == nullptr) Fail("AllocateChannelDriver gives null");
}

Scene::~Scene() { Release(); }

void Scene::Release() {
    if (driver.Pointer() == nullptr) return;
    receiver.Release(driver.Pointer());
    driver = DriverCalls();
}

void Scene::BringTo(State state) const {
    if (state == State::Created) return;
    Configure();
    if (state == State::Configured) return;
    driver.StartRecording();
    if (state == State::Stopped) driver.StopRecording();
}

void Scene::Capture(const std::string& bytes, std::size_t before, uint32_t port) const {
    const std::size_t taken = stage.Port(port).Send(bytes, kSendSeconds);
    if (taken != bytes.size()) {
        Fail("the port takes " + Shown(taken) + " of " + Shown(bytes.size()) + " bytes: nobody reads it");
    }
    const std::size_t wanted = (before + bytes.size() + kSampleSize - 1) / kSampleSize;
    const uint32_t samples = static_cast<uint32_t>(wanted);
    if (!WaitUntil([&] { return driver.GetNumSamples() >= samples; })) {
        Fail("GetNumSamples while recording stays at " + Shown(driver.GetNumSamples()) + " of " +
             Shown(samples));
    }
    ExpectEqual("GetNumSamples while recording", driver.GetNumSamples(), samples);
}

std::string Scene::ReadAll(uint32_t step) const {
    const uint32_t total = driver.GetNumSamples();
    std::string bytes(std::size_t{total} * kSampleSize, '?');
    for (uint32_t start = 0; start < total;) {
        const uint32_t requested = std::min(step, total - start);
        uint32_t read = 0;
        const uint32_t answer =
            driver.SeekReadTraceData(start, requested, bytes.data() + start * kSampleSize, read);
        ExpectEqual("SeekReadTraceData's out argument", read, answer);
        ExpectEqual("SeekReadTraceData of samples that are there", answer, requested);
        start += answer;
    }
    return bytes;
}

Status StatusOf(const DriverCalls& driver) {
    StatusRecord record;
    record.code = 99;
    record.text = "untouched";
    std::fill(std::begin(record.flags), std::end(record.flags), uint8_t{9});
    driver.GetStatus(record);
    Status status{record.code, std::string(record.text), ""};
    for (const uint8_t flag : record.flags) status.flags += flag > 1 ? '?' : static_cast<char>('0' + flag);
    return status;
}

std::string KnownBytes(std::size_t count, uint32_t seed) {
    std::string bytes;
    uint32_t state = seed;
    while (bytes.size() < count) {
        if (bytes.size() % 512 < 256) {
            bytes += static_cast<char>(bytes.size() % 256);  // every value, in order
        } else {
            state = state * 1664525 + 1013904223;
            bytes += static_cast<char>(state >> 24);
        }
    }
    return bytes;
}

std::string Padded(std::string bytes) {
    bytes.resize((bytes.size() + kSampleSize - 1) / kSampleSize * kSampleSize, '\0');
    return bytes;
}

void ExpectBytes(const std::string& what, const std::string& got, const std::string& wanted) {
    ExpectEqual(what + ": number of bytes", got.size(), wanted.size());
    const auto differs = std::mismatch(got.begin(), got.end(), wanted.begin());
    if (differs.first == got.end()) return;
    const auto value = [](char byte) {
        return Shown(static_cast<uint32_t>(static_cast<unsigned char>(byte)));
    };
    Fail(what + ": byte " + Shown(differs.first - got.begin()) + " is " + value(*differs.first) +
         " instead of " + value(*differs.second));
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
