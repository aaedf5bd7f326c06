#include "tracehost/child_process.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr DWORD kFirstException = 0x80000000;  // statuses from here on are numbers of exceptions
constexpr DWORD kAborted = 3;                  // the runtime's abort

/// A handle that is closed with the object.
class Owned {
  public:
    explicit Owned(HANDLE owned) : handle(owned != INVALID_HANDLE_VALUE ? owned : nullptr) {}
    ~Owned() {
        if (handle != nullptr) CloseHandle(handle);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    HANDLE Get() const { return handle; }

  private:
    HANDLE handle;
};

/// A word as the other side's runtime reads it back: in quotes, with backslashes doubled before a quote.
std::string Quoted(const std::string& word) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char character : word) {
        if (character == '"') text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, '\\') + "\"";
}

HANDLE OpenInheritable(const char* name, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileA(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited,
                       disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

ChildEnd NotStarted() {
    const DWORD error = GetLastError();
    return {ChildEnd::Kind::NotStarted, static_cast<int>(error), ErrorWords(error)};
}

ChildEnd EndOf(DWORD status) {
    if (status == kAborted) return {ChildEnd::Kind::Crashed, 0, "abort"};
    if (status < kFirstException) return {ChildEnd::Kind::Exited, static_cast<int>(status), {}};
    char words[40];
    std::snprintf(words, sizeof words, "exception 0x%08lX", static_cast<unsigned long>(status));
    return {ChildEnd::Kind::Crashed, 0, words};
}

}  // namespace

ChildEnd RunChild(const std::vector<std::string>& words, std::chrono::milliseconds limit,
                  const std::string& output) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + Quoted(word);
    const Owned input(OpenInheritable("NUL", GENERIC_READ, OPEN_EXISTING));
    const Owned file(OpenInheritable(output.c_str(), GENERIC_WRITE, CREATE_ALWAYS));
    if (file.Get() == nullptr) return NotStarted();
    STARTUPINFOA start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input.Get();
    start.hStdOutput = file.Get();
    start.hStdError = file.Get();
    PROCESS_INFORMATION started{};
    if (!CreateProcessA(words.front().c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &start, &started)) {
        return NotStarted();
    }
    const Owned process(started.hProcess);
    const Owned thread(started.hThread);
    if (WaitForSingleObject(process.Get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
        TerminateProcess(process.Get(), 1);
        WaitForSingleObject(process.Get(), INFINITE);
        return {ChildEnd::Kind::TimedOut, 0, {}};
    }
    DWORD status = 0;
    GetExitCodeProcess(process.Get(), &status);
    return EndOf(status);
}

std::string FindProgram(const std::string& name) {
    std::string variable(GetEnvironmentVariableA("PATH", nullptr, 0), '\0');
    variable.resize(GetEnvironmentVariableA("PATH", variable.data(), static_cast<DWORD>(variable.size())));
    std::stringstream folders(variable);
    for (std::string folder; std::getline(folders, folder, ';');) {
        if (!std::filesystem::path(folder).is_absolute()) continue;
        std::string path = folder;
        path.append("\\").append(name).append(".exe");
        const DWORD attributes = GetFileAttributesA(path.c_str());
        const bool isFile =
            attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        if (isFile) return path;
    }
    return {};
}

void BecomeChild() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX); }

}  // namespace Korr::Plim::Trace::Tracehost
