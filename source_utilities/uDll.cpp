#include "source_utilities/uDll.h"

#include <exception>

#include "source_utilities/environment.h"
#include "source_utilities/log_call.h"
#include "source_utilities/trace_folders.h"
#include "source_utilities/uLogManager.h"
#include "source_utilities/visible_text.h"

namespace KORR_PLIM {
namespace {

/// The place that function traces name; log readers look for this number.
constexpr int kTracedLine = 191;

std::string DottedExtension() { return std::string(".") + platform::LibraryExtension(); }

void TraceFindAndLoad() {
    const uLogManager& manager = uLogManager::Instance();
    uLogger* logger = manager.CurrentLogger();
    if (manager.Level() >= kLogTrace && logger != nullptr) {
        logger->Log(kLogFunction, 0, "%s #%d  %s(...)\n", "uDll", kTracedLine,
                    "KORR_PLIM::uDll::FindAndLoad");
    }
}

std::string WorkingFolderOrNone() {
    try {
        return GetWorkingFolder();
    } catch (const std::exception&) {
        return {};
    }
}

std::string WithoutExtension(std::string name) {
    const std::string extension = DottedExtension();
    for (std::size_t at = name.find(extension); at != std::string::npos; at = name.find(extension)) {
        name.erase(at, extension.size());
    }
    return name;
}

}  // namespace

uDll::uDll(const char* libraryName, uint32_t loadMode)
    : name(libraryName != nullptr ? libraryName : ""), mode(loadMode >= kDefaultMode - 1 ? 0 : loadMode) {}

uDll::~uDll() {
    if (module != platform::kNoLibrary) platform::FreeDynamicLibrary(module);
}

bool uDll::FindAndLoad(const char* libraryName, uint32_t loadMode) noexcept {
    try {
        return Search(libraryName, loadMode);
    } catch (...) {  // no memory
        return false;
    }
}

bool uDll::Search(const char* libraryName, uint32_t loadMode) {
    TraceFindAndLoad();
    if (libraryName == nullptr) return false;
    if (module != platform::kNoLibrary) return true;
    const std::string workingFolder = WorkingFolderOrNone();
    LogMessage(kLogOrdinary, "uDll:  request to load \"%s\" in mode %d", Visible(libraryName).Text(),
               static_cast<int>(loadMode));
    const std::string platformName = GetPlatformName(libraryName);
    LogMessage(kLogOrdinary, "uDll:  GetPlatformName returned \"%s\"", Visible(platformName).Text());
    LogMessage(kLogOrdinary, "uDll:  Working Directory is: \"%s\"", Visible(workingFolder).Text());
    LogMessage(kLogOrdinary, "uDll:  PATH=%s", Visible(GetEnvironment("PATH")).Text());
    name = WithoutExtension(platformName);
    if (loadMode != kDefaultMode) mode = loadMode;
    return !name.empty() && Open(name.c_str(), loadMode);
}

std::string uDll::GetPlatformName(const std::string& libraryName) {
    const std::string extension = DottedExtension();
    const bool hasExtension = libraryName.find(extension) != std::string::npos && libraryName != extension;
    return hasExtension ? libraryName : libraryName + extension;
}

bool uDll::Load(const char* fileName, uint32_t loadMode) noexcept {
    try {
        return Open(fileName, loadMode);
    } catch (...) {  // no memory
        return false;
    }
}

bool uDll::Open(const char* fileName, uint32_t loadMode) {
    if (loadMode == kDefaultMode) mode = 0;
    if (module != platform::kNoLibrary) {
        platform::FreeDynamicLibrary(module);
        module = platform::kNoLibrary;
    }
    error.clear();
    module = platform::LoadDynamicLibrary(fileName);
    if (module != platform::kNoLibrary) return true;
    const uint32_t code = platform::LastLibraryError();
    error = std::string("failed to load ") + (fileName != nullptr ? fileName : "") + " with error code " +
            std::to_string(code);
    LogMessage(kLogOrdinary, "uDll: %s", Visible(error).Text());
    return false;
}

void* uDll::GetSymbol(const char* entryName) noexcept {
    try {
        return Find(entryName);
    } catch (...) {  // no memory
        return nullptr;
    }
}

void* uDll::Find(const char* entryName) {
    if (module == platform::kNoLibrary) return nullptr;
    error.clear();
    void* entry = platform::FindSymbol(module, entryName != nullptr ? entryName : "");
    if (entry == nullptr) {
        // Printed as a signed number.
        const auto code = static_cast<int32_t>(platform::LastLibraryError());
        error = "GetLastError() returned " + std::to_string(code);
    }
    return entry;
}

}  // namespace KORR_PLIM
