#include "tests/modules/broken_receiver/broken_receiver.h"

#include <algorithm>

#include "tests/modules/broken_receiver/faults.h"

using namespace Korr::Plim::Trace;

void BrokenReceiver::TargetStateChanged(const char* cpu, uint32_t state) {
    real->TargetStateChanged(cpu, state);
}
void BrokenReceiver::TargetEvent(const char* cpu, uint32_t event) { real->TargetEvent(cpu, event); }
void BrokenReceiver::TargetNotice(const char* cpu, uint32_t notice, uint32_t value) {
    real->TargetNotice(cpu, notice, value);
}
uint32_t BrokenReceiver::GetNumCpus() { return real->GetNumCpus(); }
void BrokenReceiver::GetCpuNames(char** buffers) { real->GetCpuNames(buffers); }

CChannelDriver* BrokenReceiver::AllocateChannelDriver(const char* cpu, TargetAdapter* adapter, uint32_t id,
                                                      uint32_t channel) {
    auto own = adapter != nullptr ? std::make_unique<BrokenAdapter>(adapter) : nullptr;
    CChannelDriver* const driver = real->AllocateChannelDriver(cpu, own.get(), id, channel);
    drivers.push_back(std::make_unique<BrokenDriver>(driver, std::move(own)));
    return drivers.back().get();
}

void BrokenReceiver::ReleaseChannelDriver(CChannelDriver* driver) {
    const auto found =
        std::find_if(drivers.begin(), drivers.end(), [&](auto& own) { return own.get() == driver; });
    real->ReleaseChannelDriver(found != drivers.end() ? (*found)->real : driver);
    if (found != drivers.end()) drivers.erase(found);
}

uint32_t BrokenReceiver::ConstantQueryA() { return real->ConstantQueryA(); }
void* BrokenReceiver::GetDataSource(void* request) { return real->GetDataSource(request); }

CChannelDriver* BrokenReceiver::GetChannelDriver(const char* cpu) {
    CChannelDriver* const driver = real->GetChannelDriver(cpu);
    const auto found =
        std::find_if(drivers.begin(), drivers.end(), [&](auto& own) { return own->real == driver; });
    return found != drivers.end() ? found->get() : nullptr;
}

uint32_t BrokenReceiver::GetNextAvailableChannel() { return real->GetNextAvailableChannel(); }
uint32_t BrokenReceiver::ConstantQueryB(uint32_t argument) { return real->ConstantQueryB(argument); }
void BrokenReceiver::ProgressNotice() { real->ProgressNotice(); }
uint32_t BrokenReceiver::ConstantQueryC() { return real->ConstantQueryC(); }
