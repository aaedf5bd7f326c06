#include "tracehost/library.h"

#include <filesystem>

#include "tracehost/errors.h"
#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

namespace platform = KORR_PLIM::platform;

namespace {

/// The name as the platform's loader wants it: a file of the working folder with its whole path, and without
/// the extension, which the loader adds.
std::string LoaderName(const std::string& name) {
    std::error_code failure;
    const bool isFile = std::filesystem::is_regular_file(name, failure);
    std::string path = isFile ? std::filesystem::absolute(name, failure).string() : name;
    const std::string extension = std::string(".") + platform::LibraryExtension();
    const bool hasExtension = path.size() > extension.size() && path.ends_with(extension);
    return hasExtension ? path.substr(0, path.size() - extension.size()) : path;
}

}  // namespace

Library::Library(const std::string& libraryName)
    : name(libraryName), handle(platform::LoadDynamicLibrary(LoaderName(libraryName).c_str())) {
    if (handle != platform::kNoLibrary) return;
    const std::string words = LoaderWords(LoaderName(name), ProgramFolder());
    throw HostError("cannot load \"" + name + "\": " + words +
                    "; it is missing, or a library that it needs is");
}

Library::~Library() { platform::FreeDynamicLibrary(handle); }

std::string Library::File(const char* entry) const { return ModuleFile(Address(entry)); }

void* Library::Address(const char* entry) const {
    void* const address = platform::FindSymbol(handle, entry);
    if (address == nullptr) throw HostError("\"" + name + "\" does not export " + entry);
    return address;
}

}  // namespace Korr::Plim::Trace::Tracehost
