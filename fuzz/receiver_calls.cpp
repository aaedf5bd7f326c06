// Calls of the receiver.
#include <algorithm>

#include "fuzz/receiver_session.h"
#include "receiver/exports.h"

namespace fuzz {

void ReceiverSession::CreateReceiver() {
    Expect("CreateRcvr", model.Create(), [this] {
        trace::CReceiver* const created = CreateRcvr();
        Require(created != nullptr && (receiver == nullptr || created == receiver), "one receiver");
        receiver = created;
    });
}

void ReceiverSession::DestroyReceiver() {
    fakes::FakeReceiver foreign(host.journal);
    DestroyRcvr(nullptr);
    DestroyRcvr(&foreign);
    CheckTraces("DestroyRcvr of another");
    const bool dies = model.Destroy();
    Expect("DestroyRcvr", std::nullopt, [this] { DestroyRcvr(receiver); });
    if (!dies) return;
    drivers.clear();
    receiver = nullptr;
}

void ReceiverSession::Allocate() {
    const uint8_t choice = Next();
    const std::string& name = NextName();
    if (receiver == nullptr || drivers.size() == kMostDrivers) return;
    const bool hasName = choice % 16 != 1;
    const bool hasAdapter = choice % 16 != 2;
    const auto expected = model.Allocate(hasName ? std::optional(name) : std::nullopt, hasAdapter, choice);
    Expect("AllocateChannelDriver", expected, [&] {
        drivers.push_back(receiver->AllocateChannelDriver(hasName ? name.c_str() : nullptr,
                                                          hasAdapter ? &adapter : nullptr, choice, Next()));
    });
    Require(drivers.size() == model.drivers.size(), "number of drivers");
}

void ReceiverSession::Release() {
    if (receiver == nullptr) return;
    const uint8_t choice = Next() % 8;
    if (choice == 0) return receiver->ReleaseChannelDriver(nullptr);
    const bool isDead = std::find(drivers.begin(), drivers.end(), stale) == drivers.end();
    if (choice == 1 && stale != nullptr && isDead) {
        return Expect("release of a dead driver", "Failed to release unknown SWO channel driver",
                      [this] { receiver->ReleaseChannelDriver(stale); });
    }
    if (!ChooseDriver()) return;
    stale = &Driver();
    drivers.erase(drivers.begin() + static_cast<std::ptrdiff_t>(chosen));
    model.Release(chosen);
    Expect("ReleaseChannelDriver", std::nullopt, [this] { receiver->ReleaseChannelDriver(stale); });
}

void ReceiverSession::Notify() {
    if (receiver == nullptr) return;
    const std::string& name = NextName();
    const uint32_t code = Next() % 10;
    receiver->TargetStateChanged(nullptr, code);
    receiver->TargetEvent(nullptr, 0);
    receiver->TargetEvent(name.c_str(), code);
    receiver->TargetNotice(name.c_str(), code, code);
    CheckTraces("TargetEvent");
    model.TargetStateChanged(name, code);
    Expect("TargetStateChanged", std::nullopt, [&] { receiver->TargetStateChanged(name.c_str(), code); });
}

void ReceiverSession::AskReceiver() {
    if (receiver == nullptr) return;
    const auto count = static_cast<uint32_t>(model.drivers.size());
    Require(receiver->GetNumCpus() == count && receiver->GetNextAvailableChannel() == count + 1,
            "GetNumCpus");
    Require(receiver->ConstantQueryA() == 1 && receiver->ConstantQueryB(Next()) == 0, "constants");
    Require(receiver->ConstantQueryC() == 0, "constants");
    receiver->ProgressNotice();
    std::vector<std::string> texts(count, std::string(kLongName + 1, '?'));
    std::vector<char*> buffers;
    for (std::string& text : texts) buffers.push_back(text.data());
    receiver->GetCpuNames(nullptr);
    receiver->GetCpuNames(buffers.data());
    for (std::size_t i = 0; i < count; ++i) Require(model.drivers[i].name == texts[i].c_str(), "GetCpuNames");
    const std::string& name = NextName();
    const DriverModel* const found = model.Find(name);
    const auto at =
        std::find_if(model.drivers.begin(), model.drivers.end(), [&](auto& one) { return &one == found; });
    trace::CChannelDriver* const expected =
        found == nullptr ? nullptr : drivers[static_cast<std::size_t>(at - model.drivers.begin())];
    Require(receiver->GetChannelDriver(name.c_str()) == expected, "GetChannelDriver");
    Require(receiver->GetChannelDriver(nullptr) == nullptr, "GetChannelDriver of null");
    Expect("GetDataSource", "Cannot get data source", [this] { receiver->GetDataSource(this); });
}

}  // namespace fuzz
