#include <algorithm>
#include <array>
#include <new>

#include "channel/ChannelDriver.h"
#include "channel/channel_log.h"
#include "channel/firmware_version.h"
#include "source_utilities/on_failure.h"
#include "uart/device_clock_readers.h"

using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogMessage;
using KORR_PLIM::uThread;

namespace Korr::Plim::Trace::Tarnel {
namespace {

constexpr uint32_t kGlintarId = 0xF0F0F0F0;
constexpr uint32_t kGlintarMask = 0xFFFFFFFF;
constexpr std::array<uint32_t, 2> kFerrinIds = {0x0B9AF02F, 0x0BB4D02F};
constexpr std::array<uint32_t, 3> kMothwingIds = {0x0B99A02F, 0x0B9BE02F, 0x0BB4102F};
constexpr uint32_t kFamilyMask = 0x0FFFFFFF;

constexpr char kNoCollector[] = "Internal error creating UART data collection object";
constexpr char kNoThread[] = "Internal error creating UART data collection thread";

}  // namespace

bool ChannelDriver::DeviceMatches(uint32_t identification, uint32_t mask) const {
    return deviceIdentifier != nullptr && deviceIdentifier->Match(identification, mask);
}

double ChannelDriver::DetectClock() const {
    // Every identification of a family is asked for, whatever the others gave.
    const auto countMatches = [this](const auto& ids) {
        return std::count_if(ids.begin(), ids.end(),
                             [this](uint32_t id) { return DeviceMatches(id, kFamilyMask); });
    };
    const char* name = cpuName.c_str();
    if (DeviceMatches(kGlintarId, kGlintarMask)) {
        return Tarnel_GlintarDevice(name, deviceIdentifier, memoryAccess).GetFrequency();
    }
    if (countMatches(kFerrinIds) != 0) {
        return Tarnel_FerrinDevice(name, deviceIdentifier, memoryAccess).GetFrequency();
    }
    if (countMatches(kMothwingIds) != 0) {
        return Tarnel_MothwingDevice(name, deviceIdentifier, memoryAccess).GetFrequency();
    }
    ThrowClockError();
}

void ChannelDriver::ResolveTraceClock() {
    if (clockAuto) {
        traceClockHz = DetectClock();
        LogMessage(kLogOrdinary, "%s: Auto Trace Clock Frequency is %lf", kChannelDriverTag,
                   traceClockHz.load());
    } else {
        LogMessage(kLogOrdinary, "%s: Requested Trace Clock Frequency is %lf", kChannelDriverTag,
                   traceClockHz.load());
    }
    if (traceClockHz <= 0.0) ThrowError("Invalid trace clock frequency");
}

void ChannelDriver::ChooseExceptionMap() {
    if (!DeviceMatches(kGlintarId, kGlintarMask)) return;
    const Tarnel_GlintarDevice device(cpuName.c_str(), deviceIdentifier, memoryAccess);
    exceptionMapName = GlintarExceptionMap(device.DeviceClass());
}

void ChannelDriver::PrepareCapture() {
    if (collector != nullptr) StopCapture();
    ResolveTraceClock();
    ChooseExceptionMap();
    MakeCollector();
    StartThread();
}

void ChannelDriver::MakeCollector() {
    const bool newerFirmware = probeKind == kBrantorProbe && firmwareVersion >= kFirmwareWithBreak;
    uint32_t prescalerInForce = prescaler;
    // A start that fails leaves the prescaler that was tried last.
    KORR_PLIM::OnFailure keepPrescaler([&] { prescaler = prescalerInForce; });
    try {
        collector = std::make_unique<UARTDataCollector>(comPort, traceClockHz, prescalerAuto,
                                                        prescalerInForce, captureFileName, newerFirmware);
    } catch (const std::bad_alloc&) {
        LogAndThrow(kNoCollector);
    }
    prescaler = prescalerInForce;
}

void ChannelDriver::StartThread() {
    try {
        thread = std::make_unique<uThread>(collector.get());
    } catch (const std::bad_alloc&) {
        LogAndThrow(kNoThread);
    }
    // A thread that the platform did not start would never finish.
    if (!thread->Start()) LogAndThrow(kNoThread);
    captureRunning = true;
}

void ChannelDriver::StopCapture() {
    if (collector != nullptr) {
        collector->Stop();
        while (captureRunning && !collector->IsFinished()) uThread::Yield();
        captureRunning = false;
    }
    thread.reset();
    collector.reset();
}

}  // namespace Korr::Plim::Trace::Tarnel
