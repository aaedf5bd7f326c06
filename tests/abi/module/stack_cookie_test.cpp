#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace {

/// Exit status of tarnel_smashed_stack, which lies beside this program.
DWORD StatusOf(const std::string& argument) {
    char own[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, own, sizeof own);
    std::string path(own);
    path.resize(path.find_last_of("\\/") + 1);
    std::string command = "\"" + path + "tarnel_smashed_stack.exe\" " + argument;
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                       &process) == 0) {
        ADD_FAILURE() << command << " does not start";
        return 0xFFFFFFFF;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0xFFFFFFFF;
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return status;
}

TEST(StackCookie, ProgramWhoseStackWasOverwrittenIsEnded) {
    constexpr DWORD kStackBufferOverrun = 0xC0000409;
    EXPECT_EQ(StatusOf("smash"), kStackBufferOverrun);
    EXPECT_EQ(StatusOf("keep"), 0U);
}

}  // namespace
