#include "tracehost/platform_words.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// Where the loader's seam looks for a library, in its order.
std::vector<std::string> Candidates(const std::string& name, const std::string& folder) {
    const std::size_t slash = name.rfind('/');
    const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    const std::string place = slash != std::string::npos ? name.substr(0, slash + 1)
                              : folder.empty()           ? std::string()
                                                         : folder + "/";
    std::vector<std::string> files = {place + "lib" + base + ".so", place + base + ".so"};
    if (slash == std::string::npos && !folder.empty()) {
        files.push_back("lib" + base + ".so");
        files.push_back(base + ".so");
    }
    return files;
}

/// What the loader says of one file; empty when it loads.
std::string TryToLoad(const std::string& file) {
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return dlerror();
    dlclose(library);
    return {};
}

}  // namespace

std::string ErrorWords(uint32_t number) { return std::generic_category().message(static_cast<int>(number)); }

/// Of several files that could have been meant, the one that is there is the one whose words tell something.
std::string LoaderWords(const std::string& name, const std::string& folder) {
    std::string first;
    for (const std::string& file : Candidates(name, folder)) {
        std::string words = TryToLoad(file);
        std::error_code ignored;
        if (words.empty() || std::filesystem::exists(file, ignored)) return words;
        if (first.empty()) first = std::move(words);
    }
    return first;
}

std::string ModuleFile(const void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

std::string ProgramFile() {
    std::error_code failure;
    return std::filesystem::read_symlink("/proc/self/exe", failure).string();
}

std::string ProgramFolder() { return std::filesystem::path(ProgramFile()).parent_path().string(); }

}  // namespace Korr::Plim::Trace::Tracehost
