// The smallest host: loads the plug-in, records for two seconds, saves the raw bytes.
//
// usage: minimal_host PLUGIN OPTIONS_FILE OUTPUT
#include <chrono>
#include <cstdio>
#include <thread>

#include "host_api/cPelkitError.h"
#include "host_api/entry_points.h"
#include "load_plugin.h"
#include "simulator/pelkit/error_reading.h"

using namespace Korr::Plim::Trace;

/// What a debugger does with the target's TPIU; this one leaves that to the firmware. 0 means success.
class FirmwareSetsUpTpiu : public TargetAdapter {
    uint32_t TraceRelease(uint32_t) override { return 0; }
    uint32_t ProgramTpiu(uint32_t) override { return 0; }
    uint32_t EnableTpiu(uint32_t) override { return 0; }
    uint32_t TraceExportOpA(uint32_t) override { return 0; }
    uint32_t TraceExportOpB(uint32_t) override { return 0; }
    uint32_t SetTpiuPrescaler(uint32_t, uint32_t) override { return 0; }
    uint32_t GetExportStatus(uint32_t, uint32_t& status) override { return status = 0; }
    uint32_t ClearExportStatus(uint32_t, uint32_t) override { return 0; }
    uint32_t SetTpiuPinProtocol(uint32_t, uint32_t) override { return 0; }
    uint32_t SetTimestampPrescale(uint32_t, uint32_t) override { return 0; }
};

int main(int count, char** arguments) {
    const auto create = count == 4 ? FindExport<CreateRcvrFunction>(arguments[1], "CreateRcvr") : nullptr;
    const auto destroy = count == 4 ? FindExport<DestroyRcvrFunction>(arguments[1], "DestroyRcvr") : nullptr;
    if (create == nullptr || destroy == nullptr) {
        std::fprintf(stderr,
                     "usage: minimal_host PLUGIN OPTIONS_FILE OUTPUT (or the plug-in does not load)\n");
        return 2;
    }
    FirmwareSetsUpTpiu adapter;  // outlives the driver that uses it
    CReceiver* receiver = nullptr;
    int status = 0;
    try {
        receiver = create();
        CChannelDriver* const driver = receiver->AllocateChannelDriver("board/cpu", &adapter, 0, 1);
        driver->SetConfiguration(arguments[2]);
        driver->StartRecording(0);
        std::this_thread::sleep_for(std::chrono::seconds(2));
        driver->StopRecording();
        driver->SaveFile(arguments[3], 2);
        std::printf("%u samples of 8 bytes\n", driver->GetNumSamples());
        receiver->ReleaseChannelDriver(driver);
    } catch (const cPelkitErrorIF& error) {
        std::fprintf(stderr, "minimal_host: %s\n", pelkit::TextOf(error));
        status = 1;
    }
    if (receiver != nullptr) destroy(receiver);
    return status;
}
