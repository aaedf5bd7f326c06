#include "tracehost/platform_words.h"

#include <windows.h>

#include <filesystem>

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// The file of a module; null stands for the program.
std::string FileOf(HMODULE module) {
    std::string path(32768, '\0');
    path.resize(GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

}  // namespace

std::string ErrorWords(uint32_t number) {
    char text[512] = "";
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        number, 0, text, sizeof text, nullptr);
    std::string words(text, length);
    while (!words.empty() && (words.back() == '.' || static_cast<unsigned char>(words.back()) <= ' ')) {
        words.pop_back();
    }
    return !words.empty() ? words : "error " + std::to_string(number);
}

std::string LoaderWords(const std::string& name, const std::string& folder) {
    std::error_code ignored;
    const auto beside = std::filesystem::path(folder) / (name + ".dll");
    const bool isBeside = !folder.empty() && std::filesystem::exists(beside, ignored);
    const HMODULE library = LoadLibraryA(isBeside ? beside.string().c_str() : name.c_str());
    if (library == nullptr) return ErrorWords(GetLastError());
    FreeLibrary(library);
    return {};
}

std::string ModuleFile(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCSTR>(address), &module);
    return module != nullptr ? FileOf(module) : std::string();
}

std::string ProgramFile() { return FileOf(nullptr); }

std::string ProgramFolder() { return std::filesystem::path(ProgramFile()).parent_path().string(); }

}  // namespace Korr::Plim::Trace::Tracehost
