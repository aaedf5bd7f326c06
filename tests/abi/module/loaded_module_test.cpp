// What the loader made of the plug-in, read from its own list of modules.
#include <gtest/gtest.h>
#include <windows.h>
#include <winternl.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

/// Flag of a module that is not told of threads.
constexpr ULONG kNoThreadNotifications = 0x40000;

class LoadedModule {
  public:
    explicit LoadedModule(const char* name) : module(LoadLibraryA(name)) {
        EXPECT_NE(module, nullptr) << name << ": error " << GetLastError();
    }
    ~LoadedModule() {
        if (module != nullptr) FreeLibrary(module);
    }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    ULONG Flags() const {
        const LIST_ENTRY& list = NtCurrentTeb()->Peb->LdrData->InLoadOrderModuleList;
        for (const LIST_ENTRY* entry = list.Flink; entry != &list; entry = entry->Flink) {
            const auto* const found = CONTAINING_RECORD(entry, LDR_DATA_TABLE_ENTRY, InLoadOrderLinks);
            if (found->DllBase == module) return found->Flags;
        }
        ADD_FAILURE() << "not in the loader's list";
        return 0;
    }

    /// The stack cookie that the module has now.
    std::uint64_t StackCookie() const {
        const auto base = reinterpret_cast<std::uintptr_t>(module);
        const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(
            base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
        const DWORD configuration =
            headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_LOAD_CONFIG].VirtualAddress;
        constexpr std::size_t kCookieOffset = 88;
        std::uint64_t address = 0;
        std::memcpy(&address, reinterpret_cast<const char*>(base + configuration + kCookieOffset),
                    sizeof address);
        std::uint64_t cookie = 0;
        std::memcpy(&cookie, reinterpret_cast<const void*>(address), sizeof cookie);
        return cookie;
    }

    template <typename Function>
    Function Find(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    }

  private:
    HMODULE module;
};

TEST(LoadedModule, PluginIsNotToldOfThreads) {
    EXPECT_NE(LoadedModule("Tarnel.dll").Flags() & kNoThreadNotifications, 0U);
    EXPECT_EQ(LoadedModule("tarnel_test_good.dll").Flags() & kNoThreadNotifications, 0U);
}

// Why the plug-in must have none.
TEST(LoadedModule, LibraryWithAThreadLocalSectionIsToldOfThreadsWhateverItAsksFor) {
    const LoadedModule module("tarnel_test_unhardened.dll");
    const auto turnOff = module.Find<int (*)()>("TurnThreadNotificationsOff");
    ASSERT_NE(turnOff, nullptr);
    EXPECT_EQ(turnOff(), 0);
    EXPECT_EQ(module.Flags() & kNoThreadNotifications, 0U);
}

std::vector<int> ends;

TEST(LoadedModule, StaticObjectsEndInReverseOrderWhenTheLibraryIsUnloaded) {
    ends.clear();
    {
        const LoadedModule module("tarnel_test_statics.dll");
        const auto noteEnds = module.Find<int (*)(void (*)(int))>("NoteEnds");
        ASSERT_NE(noteEnds, nullptr);
        EXPECT_EQ(noteEnds([](int object) { ends.push_back(object); }), 6);
        EXPECT_TRUE(ends.empty());
    }
    EXPECT_EQ(ends, (std::vector<int>{3, 2, 1}));
}

// The system has some thousand slots for all of a process.
TEST(LoadedModule, ThreadLocalVariablesAreGivenBackWhenTheLibraryIsUnloaded) {
    for (int time = 0; time < 5000; ++time) {
        const LoadedModule module("tarnel_test_statics.dll");
        const auto count = module.Find<int (*)()>("Count");
        ASSERT_NE(count, nullptr);
        ASSERT_EQ(count(), 101);
        ASSERT_EQ(count(), 102);
    }
}

/// Waits until a library is not loaded any more, for at most 60 s.
bool IsUnloaded(const char* name) {
    for (int i = 0; i < 60000 && GetModuleHandleA(name) != nullptr; ++i) Sleep(1);
    return GetModuleHandleA(name) == nullptr;
}

TEST(LoadedModule, StaysForAThreadOfItsOwnWhenItsUserUnloadsIt) {
    const char* const name = "tarnel_test_thread.dll";
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = nullptr;
    {
        const LoadedModule module(name);
        const auto start = module.Find<HANDLE (*)(HANDLE)>("StartThread");
        ASSERT_NE(start, nullptr);
        thread = start(event);
        ASSERT_NE(thread, nullptr);
    }
    EXPECT_NE(GetModuleHandleA(name), nullptr);
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
    DWORD result = 0;
    EXPECT_NE(GetExitCodeThread(thread, &result), FALSE);
    EXPECT_EQ(result, 42U);
    EXPECT_TRUE(IsUnloaded(name));
    CloseHandle(thread);
    CloseHandle(event);
}

TEST(LoadedModule, PluginsStackCookieIsDrawnByTheLoader) {
    constexpr std::uint64_t kCookieInTheFile = 0x00002B992DDFA232;
    EXPECT_NE(LoadedModule("Tarnel.dll").StackCookie(), kCookieInTheFile);
}

}  // namespace
