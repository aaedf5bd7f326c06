// The receiver's interface as mingw-w64's C++ ABI lays it out: what a plug-in built so would hand to the
// host.
#include <cstddef>

#include "host_api/entry_points.h"

using namespace Korr::Plim::Trace;

void operator delete(void*) noexcept {}  // without a C++ library; nothing is ever deleted
void operator delete(void*, size_t) noexcept {}

namespace {

class TwinReceiver final : public CReceiver {
    void TargetStateChanged(const char*, uint32_t) override {}
    void TargetEvent(const char*, uint32_t) override {}
    void TargetNotice(const char*, uint32_t, uint32_t) override {}
    uint32_t GetNumCpus() override { return 0; }
    void GetCpuNames(char**) override {}
    CChannelDriver* AllocateChannelDriver(const char*, TargetAdapter*, uint32_t, uint32_t) override {
        return nullptr;
    }
    void ReleaseChannelDriver(CChannelDriver*) override {}
    uint32_t ConstantQueryA() override { return 1; }
    void* GetDataSource(void*) override { return nullptr; }
    CChannelDriver* GetChannelDriver(const char*) override { return nullptr; }
    uint32_t GetNextAvailableChannel() override { return 1; }
    uint32_t ConstantQueryB(uint32_t) override { return 0; }
    void ProgressNotice() override {}
    uint32_t ConstantQueryC() override { return 0; }
};

}  // namespace

extern "C" __declspec(dllexport) CReceiver* CreateRcvr() {
    static TwinReceiver receiver;
    return &receiver;
}
