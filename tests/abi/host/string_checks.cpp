// Texts that cross the boundary: in the plug-in's calls, and between the two string types in every
// combination.
#include "tests/abi/host/errors.h"
#include "tests/abi/host/scene.h"
#include "tests/abi/strings/exchange.h"
#include "tests/abi/strings/host_side.h"

namespace host {
namespace {

const size_t kLengths[] = {8, 15, 16, 4095, 4096, 1024 * 1024};

/// `length` bytes that end with `tail`; what is before it is `fill`.
class LongText {
  public:
    LongText(size_t length, char fill, const char* tail)
        : bytes(static_cast<char*>(::operator new(length + 1))) {
        memset(bytes, fill, length);
        memcpy(bytes + length - strlen(tail), tail, strlen(tail) + 1);
        text = {bytes, length};
    }
    ~LongText() { ::operator delete(bytes); }
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    char* const bytes;
    Text text;
};

void CheckSetupTexts(const ReceiverCalls& receiver, size_t length) {
    const unsigned bytes = static_cast<unsigned>(length);
    const auto allocate = [&] { receiver.Allocate(kCpu, FreshAdapter(), kCpuId, 1); };
    const ExpectedError noProbe = {"SWO trace is not supported by this emulator.",
                                   cPelkitErrorIF::eSEVERITY_ERROR};
    {
        ResetScript();
        const LongText error(length, 'e', "licence!");
        HostScript()->initialiseError = error.text;
        const LogWatch log;
        Check(CaughtByReference(noProbe, allocate) && log.Holds("Unable to initialize SetupAdapter4 : "),
              "set-up adapter's error text of %u bytes", bytes);
        Check(length > 1000 || log.Holds(error.bytes), "  ... and it is in the log");
    }
    {
        ResetScript();
        const LongText path(length, 'p', "no-file!");
        HostScript()->setupFile = path.text;
        Check(CaughtByReference(noProbe, allocate), "set-up adapter's path of %u bytes", bytes);
    }
    {
        ResetScript();
        const LongText cpu(length, 'c', "/the-cpu");
        HostScript()->cpu = cpu.text;
        TargetAdapter* const adapter = FreshAdapter();
        CChannelDriver* const driver = receiver.Allocate(cpu.bytes, adapter, kCpuId, 1);
        Check(HostScript()->wrongNames == 0, "CPU name of %u bytes, as the set-up adapter gets it", bytes);
        Check(Equal(driver->GetCpuName(), cpu.bytes), "CPU name of %u bytes, as the driver gives it back",
              bytes);
        receiver.Release(driver);
    }
    ResetScript();
}

void CheckRegisterAddress(const DriverCalls& driver, size_t length) {
    ResetScript();
    const LongText address(length, '0', "400FE060");
    HostScript()->registerAddress = address.text;
    driver.StartRecording();
    Check(HostScript()->address == 0x400FE060, "register's address of %u bytes, returned by value",
          static_cast<unsigned>(length));
    driver.StopRecording();
}

void CheckFilledStrings(const DriverCalls& driver, size_t length) {
    const unsigned bytes = static_cast<unsigned>(length);
    const LongText before(length, 'b', "before!!");
    std::string text(before.bytes, length);
    Check(Equal(driver.GetExtendedInfo(text).c_str(), "Not implemented") && text.size() == 15,
          "GetExtendedInfo into a string of %u bytes", bytes);
    StatusRecord record{99, std::string(before.bytes, length), {9, 9, 9, 9, 9}};
    driver.GetStatus(record);
    Check(Equal(record.text.c_str(), "Stopped by user") && record.text.size() == 15,
          "GetStatus into a text of %u bytes", bytes);
}

uint32_t expectations;
uint32_t unmet;

void Count(bool holds, const char* what, size_t length) {
    ++expectations;
    if (holds) return;
    if (++unmet <= 20) Print("     %s, %u bytes\n", what, static_cast<unsigned>(length));
}

void Exchange(const StringSide& one, const StringSide& other) {
    expectations = unmet = 0;
    ExchangeStrings(one, other, Count);
    Check(expectations > 900 && unmet == 0, "%s gives, %s takes: %u expectations, %u not met", one.name,
          other.name, expectations, unmet);
    Check(HeapIsSound(), "the heap is sound");
}

/// A string of the other side has memory of the one heap, and as much as its own side would take.
void CheckBlocks(const StringSide& side) {
    for (const size_t length : kLengths) {
        alignas(8) unsigned char room[32];
        const LongText text(length, 'x', "the-end!");
        side.make(room, text.bytes, length);
        const size_t capacity = side.capacity(room);
        const char* const start = side.text(room);
        const void* const block = capacity + 1 >= 4096 ? reinterpret_cast<void* const*>(start)[-1] : start;
        const size_t size = capacity + 1 >= 4096 ? capacity + 1 + 39 : capacity + 1;
        Check(length <= 15 || BlockSize(block) == size, "%s: a text of %u bytes has a block of %u", side.name,
              static_cast<unsigned>(length), static_cast<unsigned>(length <= 15 ? 0 : size));
        side.destroy(room);
    }
}

/// The constructor that takes a string, called with the plug-in's type for it.
void CheckErrorsOfStrings(void* library) {
    const auto throwIt =
        reinterpret_cast<void (*)(const char*, size_t)>(FindSymbol(library, "ThrowErrorOfString"));
    for (const size_t length : kLengths) {
        const LongText text(length, 'e', "the-end!");
        const ExpectedError expected = {text.bytes, cPelkitErrorIF::eSEVERITY_WARNING};
        const long before = cPelkitError::MadeOfStrings();
        Check(CaughtAfterRethrow(expected, [&] { throwIt(text.bytes, length); }) &&
                  cPelkitError::MadeOfStrings() == before + 1 && cPelkitError::Living() == 0,
              "an error of a string of %u bytes", static_cast<unsigned>(length));
    }
    Check(HeapIsSound(), "the heap is sound");
}

}  // namespace

void CheckStrings(const Plugin& plugin) {
    Group("texts in calls");
    ResetScript();
    const Session session(plugin, true);
    session.driver.SetConfiguration(WriteOptions("Auto", "624", Variable("TARNEL_PROBE_PORT")));
    uint32_t blocks[2];
    for (uint32_t& counted : blocks) {
        for (const size_t length : kLengths) {
            CheckSetupTexts(session.receiver, length);
            CheckRegisterAddress(session.driver, length);
            CheckFilledStrings(session.driver, length);
        }
        counted = HeapBlocks();
    }
    Check(blocks[0] == blocks[1], "the same texts once more leave nothing behind: %u blocks, %u blocks",
          blocks[0], blocks[1]);
    Check(HeapIsSound(), "the heap is sound");
}

void CheckStringExchange() {
    Group("strings of both sides");
    Check(HeapIsChecked(), "the system checks the heap");
    void* const library = LoadModule(Line("%sabi_strings.dll", ProgramFolder()));
    const auto plugins = reinterpret_cast<const StringSide* (*)()>(FindSymbol(library, "PluginStrings"));
    if (plugins == nullptr) Fail("abi_strings.dll is missing");
    const StringSide& pluginSide = *plugins();
    const StringSide& hostSide = *HostStrings();
    Exchange(hostSide, pluginSide);
    Exchange(pluginSide, hostSide);
    CheckBlocks(hostSide);
    CheckBlocks(pluginSide);
    CheckErrorsOfStrings(library);
    UnloadModule(library);
}

}  // namespace host
