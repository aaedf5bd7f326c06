// A host of another maker: compiled apart from the project, from the interface headers alone, with its own
// string type, its own error library and host libraries, and none of the plug-in's C++ library and start-up
// pieces.
//
// usage: abi_host FOLDER
//
// Runs the checks, each group in processes of its own: with the libraries' objects as classes of the
// interfaces and with tables made by hand; prints every check and a table, and "independent host: passed"
// when all of them held. TARNEL_PROBE_PORT and TARNEL_PROBE_ORDERS name a port and the folder of the orders
// to its far end (see with_com_port.py).
#include "tests/abi/host/pelkit.h"
#include "tests/abi/host/scene.h"

namespace host {
namespace {

constexpr uint32_t kPassed = 42;                  // not 0, which a process that died can leave
constexpr uint32_t kNoticed = 43;                 // what must not pass was reached, and noticed
constexpr uint32_t kOtherException = 0x20474343;  // of a process that an exception of GCC's runtime has ended

void CheckDelete(const Plugin& plugin) {
    Group("the exported Delete");
    const auto remove =
        reinterpret_cast<void (*)(cPelkitError*)>(FindSymbol(plugin.module, "?Delete@cPelkitError@@UEAAXXZ"));
    Check(remove != nullptr, "cPelkitError::Delete is exported");
    cPelkitError error("a text", cPelkitErrorIF::eSEVERITY_ERROR);
    remove(&error);
    Check(Equal(error.Message(), "a text") && cPelkitError::Living() == 1,
          "cPelkitError::Delete does nothing");
}

/// All checks but those that end the process.
uint32_t RunChecks() {
    OrderFarEnd("plug", "", 0);
    {
        const Plugin plugin;
        CheckDelete(plugin);
        for (int round = 0; round < 2; ++round) {
            const bool raw = round == 0;
            CheckReceiver(plugin, raw);
            CheckNotifications(plugin, raw);
            CheckDriver(plugin, raw);
            CheckErrors(plugin, raw);
            CheckRecording(plugin, raw);
        }
        CheckAdapter(plugin, true);
        CheckCasts(plugin);
        CheckErrorsOnThreads(plugin);
        CheckHostErrors(plugin);
        CheckSwallowed(plugin);
        CheckStrings(plugin);
        CheckEverySlotCalled(plugin);
    }
    Group("after unloading");
    Check(cPelkitError::Living() == 0, "no error is left");
    Check(HeapIsSound(), "the heap is sound");
    return PrintGroups() ? kPassed : 1;
}

/// The checks for which nobody has to be at a port's far end.
uint32_t RunWithoutPort() {
    {
        const Plugin plugin;
        CheckDelete(plugin);
        CheckErrors(plugin, true);
        CheckErrors(plugin, false);
        CheckErrorsOnThreads(plugin);
    }
    Group("after unloading");
    Check(cPelkitError::Living() == 0, "no error is left");
    Check(HeapIsSound(), "the heap is sound");
    return PrintGroups() ? kPassed : 1;
}

uint32_t RunStrings() {
    CheckStringExchange();
    return PrintGroups() ? kPassed : 1;
}

/// Must not pass: a write behind a block.
uint32_t RunOverrun() {
    volatile char* const block = static_cast<char*>(::operator new(100));
    block[100] = 'x';
    return HeapIsSound() ? kPassed : kNoticed;
}

/// Must not pass: the plug-in in another C++ ABI. What it does instead is known.
uint32_t RunTwin() {
    CheckTwin();
    return PrintGroups() ? kNoticed : 1;
}

uint32_t RunTwinThatThrows() {
    CallTwinThatThrows();
    return kPassed;
}

uint32_t RunDestructors(bool raw) {
    CheckDestructors(raw);
    return PrintGroups() ? kPassed : 1;
}

void Expect(uint32_t wanted, const char* what, const char* arguments, bool checkHeap) {
    Print("\n%s: %s\n", wanted == kPassed ? "must pass" : "must not pass", what);
    const uint32_t status = RunSelf(arguments, checkHeap);
    Check(status == wanted, "%s: status %u, wanted %u", what, status, wanted);
}

uint32_t RunAll(const char* folder) {
    Group("processes");
    Expect(kPassed, "all checks, objects of the interfaces' classes", Line("%s headers", folder), false);
    Expect(kPassed, "all checks, tables made by hand, heap checked", Line("%s raw", folder), true);
    Expect(kPassed, "what needs no port, objects of the interfaces' classes", Line("%s portless", folder),
           false);
    Expect(kPassed, "strings, heap checked", Line("%s strings", folder), true);
    Expect(kPassed, "destructor by slot, heap checked", Line("%s destructors-raw", folder), true);
    Expect(kPassed, "destructor by name, heap checked", Line("%s destructors-headers", folder), true);
    Expect(kNoticed, "a write behind a block, heap checked", Line("%s overrun", folder), true);
    Expect(kNoticed, "the plug-in built by mingw-w64", Line("%s twin", folder), false);
    Expect(kOtherException, "an error of the plug-in built by mingw-w64", Line("%s twin-that-throws", folder),
           false);
    if (!PrintGroups()) return 1;
    Print("independent host: passed\n");
    return 0;
}

uint32_t Run(const char* folder, const char* mode) {
    if (mode == nullptr) return RunAll(folder);
    PrepareFolder(folder, Equal(mode, "raw") || Equal(mode, "destructors-raw"));
    if (Equal(mode, "raw") || Equal(mode, "headers")) return RunChecks();
    if (Equal(mode, "portless")) return RunWithoutPort();
    if (Equal(mode, "strings")) return RunStrings();
    if (Equal(mode, "overrun")) return RunOverrun();
    if (Equal(mode, "twin")) return RunTwin();
    if (Equal(mode, "twin-that-throws")) return RunTwinThatThrows();
    if (Equal(mode, "destructors-raw")) return RunDestructors(true);
    if (Equal(mode, "destructors-headers")) return RunDestructors(false);
    Fail("unknown mode");
}

}  // namespace
}  // namespace host

uint32_t host::Main() {
    const char* words[2] = {nullptr, nullptr};
    if (Arguments(words, 2) < 1) Fail("usage: abi_host FOLDER");
    return Run(words[0], words[1]);
}
