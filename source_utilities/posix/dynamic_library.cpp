#include "source_utilities/dynamic_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace KORR_PLIM::platform {
namespace {

constexpr uint32_t kLibraryNotFound = 126;
constexpr uint32_t kEntryPointNotFound = 127;

thread_local uint32_t lastError = 0;

/// The working folder when this module was loaded: where a relative path of the module begins, whatever the
/// working folder is later.
const std::string loadFolder = [] {
    std::error_code unknown;
    return std::filesystem::current_path(unknown).string();
}();

/// Folder of the module that this code is linked into, absolute, with its final '/'; empty when unknown, as
/// for a program that was found by PATH.
std::string ModuleFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&LoadDynamicLibrary), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    const std::string file = info.dli_fname;
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    const bool isRelative = !folder.empty() && folder[0] != '/';
    return isRelative ? loadFolder + '/' + folder : folder;
}

/// Tries lib<name>.so, then <name>.so, in a folder; an empty folder stands for the platform's own search.
void* OpenIn(const std::string& folder, const std::string& name) {
    void* handle = dlopen((folder + "lib" + name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle != nullptr ? handle : dlopen((folder + name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* OpenByName(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    if (slash != std::string::npos) return OpenIn(name.substr(0, slash + 1), name.substr(slash + 1));
    const std::string folder = ModuleFolder();
    void* handle = folder.empty() ? nullptr : OpenIn(folder, name);
    return handle != nullptr ? handle : OpenIn("", name);
}

}  // namespace

const char* LibraryExtension() { return "so"; }

LibraryHandle LoadDynamicLibrary(const char* name) {
    void* handle = name != nullptr && *name != '\0' ? OpenByName(name) : nullptr;
    if (handle == nullptr) lastError = kLibraryNotFound;
    return reinterpret_cast<LibraryHandle>(handle);
}

void* FindSymbol(LibraryHandle library, const char* name) {
    void* entry = name != nullptr ? dlsym(reinterpret_cast<void*>(library), name) : nullptr;
    if (entry == nullptr) lastError = kEntryPointNotFound;
    return entry;
}

void FreeDynamicLibrary(LibraryHandle library) { dlclose(reinterpret_cast<void*>(library)); }

uint32_t LastLibraryError() { return lastError; }

}  // namespace KORR_PLIM::platform
