#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host_api/CReceiver.h"
#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "host_api/TargetAdapter.h"

/// \file
/// The host's objects for unit tests. Each works first and fails on demand at a named operation; all note
/// their calls, in order, in one journal. Header only; every fake may be called from several threads, but
/// what a test sets is set before the calls.

namespace fakes {

/// Calls in order, each as "Operation(argument, argument)": numbers in decimal, addresses and identification
/// values as 0x%08X, texts as they are.
class CallJournal {
  public:
    void Add(const std::string& call) {
        const std::lock_guard<std::mutex> guard(lock);
        calls.push_back(call);
    }
    std::vector<std::string> Calls() const {
        const std::lock_guard<std::mutex> guard(lock);
        return calls;
    }
    /// Number of calls of an operation, whatever its arguments.
    std::size_t Count(const std::string& operation) const {
        const std::string head = operation + "(";
        const std::lock_guard<std::mutex> guard(lock);
        return static_cast<std::size_t>(
            std::count_if(calls.begin(), calls.end(),
                          [&head](const std::string& call) { return call.rfind(head, 0) == 0; }));
    }
    void Clear() {
        const std::lock_guard<std::mutex> guard(lock);
        calls.clear();
    }

  private:
    mutable std::mutex lock;
    std::vector<std::string> calls;
};

/// What an operation named in `throwing` throws.
class HostFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline std::string Hexadecimal(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

/// Every operation succeeds until `results` gives it another result or `throwing` names it.
class FakeTargetAdapter : public Korr::Plim::Trace::TargetAdapter {
  public:
    explicit FakeTargetAdapter(CallJournal& calls) : journal(calls) {}
    virtual ~FakeTargetAdapter() = default;

    std::map<std::string, uint32_t> results;  ///< operation name to result; absent: 0
    std::set<std::string> throwing;           ///< operations that throw HostFault with their name
    uint32_t exportStatus = 0;                ///< what GetExportStatus writes; 0: it writes nothing
    bool clearsStatus = true;                 ///< ClearExportStatus takes the bits away

    uint32_t TraceRelease(uint32_t cpuId) override { return Note("TraceRelease", cpuId); }
    uint32_t ProgramTpiu(uint32_t cpuId) override { return Note("ProgramTpiu", cpuId); }
    uint32_t EnableTpiu(uint32_t cpuId) override { return Note("EnableTpiu", cpuId); }
    uint32_t TraceExportOpA(uint32_t cpuId) override { return Note("TraceExportOpA", cpuId); }
    uint32_t TraceExportOpB(uint32_t cpuId) override { return Note("TraceExportOpB", cpuId); }
    uint32_t SetTpiuPrescaler(uint32_t cpuId, uint32_t prescaler) override {
        return Note("SetTpiuPrescaler", cpuId, prescaler);
    }
    uint32_t GetExportStatus(uint32_t cpuId, uint32_t& status) override {
        const uint32_t result = Note("GetExportStatus", cpuId);
        if (exportStatus != 0) status = exportStatus;
        return result;
    }
    uint32_t ClearExportStatus(uint32_t cpuId, uint32_t status) override {
        const uint32_t result = Note("ClearExportStatus", cpuId, status);
        if (clearsStatus) exportStatus &= ~status;
        return result;
    }
    uint32_t SetTpiuPinProtocol(uint32_t cpuId, uint32_t protocol) override {
        return Note("SetTpiuPinProtocol", cpuId, protocol);
    }
    uint32_t SetTimestampPrescale(uint32_t cpuId, uint32_t prescale) override {
        return Note("SetTimestampPrescale", cpuId, prescale);
    }

  private:
    uint32_t Note(const std::string& operation, uint32_t cpuId) {
        journal.Add(operation + "(" + std::to_string(cpuId) + ")");
        return Answer(operation);
    }
    uint32_t Note(const std::string& operation, uint32_t cpuId, uint32_t argument) {
        journal.Add(operation + "(" + std::to_string(cpuId) + ", " + std::to_string(argument) + ")");
        return Answer(operation);
    }
    uint32_t Answer(const std::string& operation) const {
        if (throwing.count(operation) != 0) throw HostFault(operation);
        const auto found = results.find(operation);
        return found == results.end() ? 0 : found->second;
    }

    CallJournal& journal;
};

/// Memory of a target: the words that were set, 0 elsewhere.
class FakeMemoryAccessor : public Korr::Plim::Trace::MemoryAccessor {
  public:
    explicit FakeMemoryAccessor(CallJournal& calls) : journal(calls) {}
    virtual ~FakeMemoryAccessor() = default;

    std::map<uint32_t, uint32_t> words;  ///< address to word
    std::set<uint32_t> failing;          ///< addresses whose read gives result 1 and no value
    bool throws = false;                 ///< every read throws HostFault "ReadMemory"

    uint32_t ReadMemory(uint32_t address, uint32_t& value) override {
        journal.Add("ReadMemory(" + Hexadecimal(address) + ")");
        if (throws) throw HostFault("ReadMemory");
        if (failing.count(address) != 0) return 1;
        const auto found = words.find(address);
        value = found == words.end() ? 0 : found->second;
        return 0;
    }

  private:
    CallJournal& journal;
};

/// Register names with the hexadecimal text of their addresses.
class FakeDeviceModule : public Korr::Plim::Trace::DeviceModule {
  public:
    virtual ~FakeDeviceModule() = default;
    std::map<std::string, std::string> registers;
    std::vector<std::string> asked;  ///< names that were looked up, in order

    Korr::Plim::Trace::HostString GetRegisterAddress(const char* registerName) override {
        asked.emplace_back(registerName);
        const auto found = registers.find(registerName);
        return found == registers.end() ? std::string() : found->second;
    }
};

/// Modules by name.
class FakeDeviceInformation : public Korr::Plim::Trace::DeviceInformation {
  public:
    virtual ~FakeDeviceInformation() = default;
    std::map<std::string, FakeDeviceModule> modules;
    std::vector<std::string> asked;  ///< names that were looked up, in order

    Korr::Plim::Trace::DeviceModule* GetModule(const char* moduleName) override {
        asked.emplace_back(moduleName);
        const auto found = modules.find(moduleName);
        return found == modules.end() ? nullptr : &found->second;
    }
};

/// Knows one device, whatever name it is asked for.
class FakeDeviceIdentifier : public Korr::Plim::Trace::DeviceIdentifier {
  public:
    explicit FakeDeviceIdentifier(CallJournal& calls) : journal(calls) {}
    virtual ~FakeDeviceIdentifier() = default;

    uint32_t identification = 0;        ///< of the connected device
    bool hasInformation = true;         ///< false: GetDeviceInformation gives null
    bool matchThrows = false;           ///< Match throws HostFault "Match"
    FakeDeviceInformation information;  ///< the device's modules

    /// Puts a register of MOD_SYSCLK at an address.
    void AddClockRegister(const std::string& name, uint32_t address) {
        information.modules["MOD_SYSCLK"].registers[name] = Hexadecimal(address);
    }

    bool Match(uint32_t value, uint32_t mask) override {
        journal.Add("Match(" + Hexadecimal(value) + ", " + Hexadecimal(mask) + ")");
        if (matchThrows) throw HostFault("Match");
        return (identification & mask) == (value & mask);
    }
    Korr::Plim::Trace::DeviceInformation* GetDeviceInformation(const char* deviceName) override {
        journal.Add(std::string("GetDeviceInformation(") + deviceName + ")");
        return hasInformation ? &information : nullptr;
    }
    void Reserved0() override { journal.Add("Reserved0()"); }
    void Reserved1() override { journal.Add("Reserved1()"); }
    void Reserved2() override { journal.Add("Reserved2()"); }
    void Reserved3() override { journal.Add("Reserved3()"); }
    void Reserved4() override { journal.Add("Reserved4()"); }
    void Reserved5() override { journal.Add("Reserved5()"); }
    void Reserved6() override { journal.Add("Reserved6()"); }
    void Reserved7() override { journal.Add("Reserved7()"); }
    void Reserved8() override { journal.Add("Reserved8()"); }
    void Reserved9() override { journal.Add("Reserved9()"); }

  private:
    CallJournal& journal;
};

/// A receiver without drivers, for what only keeps a reference to one.
class FakeReceiver : public Korr::Plim::Trace::CReceiver {
  public:
    explicit FakeReceiver(CallJournal& calls) : journal(calls) {}

    void TargetStateChanged(const char* /*cpuName*/, uint32_t /*state*/) override {
        journal.Add("TargetStateChanged()");
    }
    void TargetEvent(const char* /*cpuName*/, uint32_t /*event*/) override { journal.Add("TargetEvent()"); }
    void TargetNotice(const char* /*cpuName*/, uint32_t /*notice*/, uint32_t /*value*/) override {
        journal.Add("TargetNotice()");
    }
    uint32_t GetNumCpus() override { return 0; }
    void GetCpuNames(char** /*buffers*/) override { journal.Add("GetCpuNames()"); }
    Korr::Plim::Trace::CChannelDriver* AllocateChannelDriver(
        const char* /*cpuName*/, Korr::Plim::Trace::TargetAdapter* /*targetAdapter*/, uint32_t /*cpuId*/,
        uint32_t /*channelIndex*/) override {
        journal.Add("AllocateChannelDriver()");
        return nullptr;
    }
    void ReleaseChannelDriver(Korr::Plim::Trace::CChannelDriver* /*driver*/) override {
        journal.Add("ReleaseChannelDriver()");
    }
    uint32_t ConstantQueryA() override { return 1; }
    void* GetDataSource(void* /*request*/) override { return nullptr; }
    Korr::Plim::Trace::CChannelDriver* GetChannelDriver(const char* /*cpuName*/) override { return nullptr; }
    uint32_t GetNextAvailableChannel() override { return 1; }
    uint32_t ConstantQueryB(uint32_t /*argument*/) override { return 0; }
    void ProgressNotice() override { journal.Add("ProgressNotice()"); }
    uint32_t ConstantQueryC() override { return 0; }

  private:
    CallJournal& journal;
};

}  // namespace fakes
