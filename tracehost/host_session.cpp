#include "tracehost/host_session.h"

#include <algorithm>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// Released drivers that are remembered, so that a second release can be tried.
constexpr std::size_t kRememberedDrivers = 64;

}  // namespace

HostSession::~HostSession() {
    while (references > 0) Destroy();
}

std::string HostSession::Create() {
    CReceiver* const created = plugin.CreateReceiver();
    // While a receiver lives, another one can only have another address.
    if (references == 0 || created != receiver) ++receiversMade;
    receiver = created;
    ++references;
    return "r" + std::to_string(receiversMade);
}

std::string HostSession::Destroy() {
    if (references > 0) --references;
    plugin.DestroyReceiver(receiver);
    if (references == 0) ForgetReceiver();
    return "r" + std::to_string(receiversMade);
}

/// The last reference took the drivers with it.
void HostSession::ForgetReceiver() { drivers.clear(); }

CReceiver& HostSession::Receiver() {
    if (references == 0) throw HostError("there is no receiver: use \"create\" first");
    return *receiver;
}

HostedDriver& HostSession::Allocate(const char* cpuName, uint32_t cpuId, uint32_t channel) {
    CReceiver& target = Receiver();
    TargetAdapters::Owned adapter = adapters.Create(cpuName, cpuId);
    CChannelDriver* const driver = target.AllocateChannelDriver(cpuName, adapter.get(), cpuId, channel);
    ++driversMade;
    // A released driver's address can come back: the old entry then no longer stands for it.
    std::erase_if(drivers, [driver](const HostedDriver& old) { return old.driver == driver; });
    const std::string name = "d" + std::to_string(driversMade);
    drivers.push_back({name, cpuName != nullptr ? cpuName : "", driver, std::move(adapter)});
    return drivers.back();
}

HostedDriver* HostSession::Latest(const std::string& cpuName, bool released) {
    const auto found = std::find_if(drivers.rbegin(), drivers.rend(), [&](const HostedDriver& hosted) {
        return hosted.cpuName == cpuName && hosted.released == released;
    });
    return found != drivers.rend() ? &*found : nullptr;
}

HostedDriver& HostSession::Find(const std::string& cpuName) {
    HostedDriver* const hosted = Latest(cpuName, false);
    if (hosted == nullptr) {
        throw HostError("no driver is allocated for CPU \"" + cpuName + "\": use \"allocate\" first");
    }
    return *hosted;
}

std::string HostSession::Release(const std::string& cpuName) {
    HostedDriver* hosted = Latest(cpuName, false);
    if (hosted == nullptr) hosted = Latest(cpuName, true);
    if (hosted == nullptr) return Find(cpuName).name;  // refuses
    Receiver().ReleaseChannelDriver(hosted->driver);
    std::string name = hosted->name;
    hosted->released = true;
    hosted->adapter.reset();
    const auto released = [](const HostedDriver& old) { return old.released; };
    if (std::count_if(drivers.begin(), drivers.end(), released) > static_cast<long>(kRememberedDrivers)) {
        drivers.erase(std::find_if(drivers.begin(), drivers.end(), released));
    }
    return name;
}

const std::string* HostSession::NameOf(const CChannelDriver* driver) const {
    if (driver == nullptr) return nullptr;
    const auto found = std::find_if(drivers.begin(), drivers.end(),
                                    [driver](const HostedDriver& hosted) { return hosted.driver == driver; });
    if (found == drivers.end()) throw HostError("the plug-in gave a driver that was never allocated");
    return &found->name;
}

uint32_t HostSession::NextChannel() const {
    const auto living = std::count_if(drivers.begin(), drivers.end(),
                                      [](const HostedDriver& hosted) { return !hosted.released; });
    return static_cast<uint32_t>(living) + 1;
}

}  // namespace Korr::Plim::Trace::Tracehost
