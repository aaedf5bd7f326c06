#include "tests/modules/broken_receiver/broken_receiver.h"

#include <algorithm>

#include "host_api/entry_points.h"
#include "source_utilities/dynamic_library.h"
#include "tests/modules/broken_receiver/faults.h"

using namespace Korr::Plim::Trace;

namespace {

/// Asks the host's library for something that it does not know.
void AskForNothing() {
    namespace platform = KORR_PLIM::platform;
    const platform::LibraryHandle library = platform::LoadDynamicLibrary("ICETargetAdapter");
    MemoryAccessor* handle = nullptr;
    reinterpret_cast<NewTargetAdapterFunction>(platform::FindSymbol(library, "NewTargetAdapter"))(nullptr,
                                                                                                  &handle);
    platform::FreeDynamicLibrary(library);
}

}  // namespace

BrokenDriver* BrokenReceiver::Find(const char* cpu) {
    CChannelDriver* const driver = real->GetChannelDriver(cpu);
    const auto found =
        std::find_if(drivers.begin(), drivers.end(), [&](auto& own) { return own->real == driver; });
    return found != drivers.end() ? found->get() : nullptr;
}

void BrokenReceiver::TargetStateChanged(const char* cpu, uint32_t state) {
    if (Has("TargetStateChanged/TargetEvent")) return real->TargetEvent(cpu, state);
    if (Has("notify-start-and-stop") && state == 5) return;
    if (Has("notify-disconnection") && state == 3) return;
    real->TargetStateChanged(cpu, state);
    BrokenDriver* const driver = Find(cpu);
    if (driver == nullptr) return;
    const bool isReady = driver->Code() == kStatusReady;
    if (Has("notify-start-and-stop:halted") && state == 7 && isReady) driver->real->SetTargetState(3);
    if (Has("notify-quiet:no-port") && state == 6 && isReady) {
        throw cPelkitError("the port is not there", cPelkitErrorIF::eSEVERITY_ERROR);
    }
    if (Has("notify-quiet") && state == 6 && driver->Code() != kStatusRecording) {
        throw cPelkitError("the recording does not start", cPelkitErrorIF::eSEVERITY_ERROR);
    }
    if (Has("two-cpus-apart") && state == 3) {
        for (const auto& each : drivers) each->real->SetTargetState(state);
    }
}

void BrokenReceiver::TargetEvent(const char* cpu, uint32_t event) {
    if (Has("TargetStateChanged/TargetEvent")) return real->TargetStateChanged(cpu, event);
    real->TargetEvent(cpu, Has("notify-ignored") ? 0 : event);
}

void BrokenReceiver::TargetNotice(const char* cpu, uint32_t notice, uint32_t value) {
    real->TargetNotice(cpu, notice, value);
}

uint32_t BrokenReceiver::GetNumCpus() {
    return real->GetNumCpus() + (Has("create-again") && life > 1 ? 1 : 0);
}
void BrokenReceiver::GetCpuNames(char** buffers) { real->GetCpuNames(buffers); }

CChannelDriver* BrokenReceiver::AllocateChannelDriver(const char* cpu, TargetAdapter* adapter, uint32_t id,
                                                      uint32_t channel) {
    if (Has("host-manners")) AskForNothing();
    if (Has("receiver-refusals") && cpu == nullptr) cpu = "";
    auto own = adapter != nullptr ? std::make_unique<BrokenAdapter>(adapter) : nullptr;
    CChannelDriver* const driver =
        Softened("host-probe", "SWO trace is not supported by this emulator.", [&] {
            return Softened("host-device", "SWO trace is not supported by this device.", [&] {
                return Softened("host-accessor",
                                "Cannot get target adapter for SWO receiver. Bad installation or setup.",
                                [&] { return real->AllocateChannelDriver(cpu, own.get(), id, channel); });
            });
        });
    drivers.push_back(std::make_unique<BrokenDriver>(driver, std::move(own)));
    for (const auto& each : drivers) each->first = drivers.front().get();
    return drivers.back().get();
}

void BrokenReceiver::ReleaseChannelDriver(CChannelDriver* driver) {
    const auto found =
        std::find_if(drivers.begin(), drivers.end(), [&](auto& own) { return own.get() == driver; });
    if (found == drivers.end()) {
        real->ReleaseChannelDriver(driver);
        return;
    }
    if (Has("order-ends") && (*found)->Code() == kStatusRecording) (*found)->Adapter().keepsTrace = true;
    real->ReleaseChannelDriver((*found)->real);
    drivers.erase(found);
    for (const auto& each : drivers) each->first = drivers.front().get();
}

uint32_t BrokenReceiver::ConstantQueryA() {
    return Has("receiver-slots") ? real->ConstantQueryC() : real->ConstantQueryA();
}

void* BrokenReceiver::GetDataSource(void* request) { return real->GetDataSource(request); }

CChannelDriver* BrokenReceiver::GetChannelDriver(const char* cpu) { return Find(cpu); }

uint32_t BrokenReceiver::GetNextAvailableChannel() {
    const uint32_t channel = real->GetNextAvailableChannel();
    return Has("receiver-drivers") && channel == 1 ? 0 : channel;
}

uint32_t BrokenReceiver::ConstantQueryB(uint32_t argument) { return real->ConstantQueryB(argument); }
void BrokenReceiver::ProgressNotice() { real->ProgressNotice(); }
uint32_t BrokenReceiver::ConstantQueryC() {
    return Has("receiver-slots") ? real->ConstantQueryA() : real->ConstantQueryC();
}
