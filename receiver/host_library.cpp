#include "receiver/host_library.h"

#include <new>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

std::unique_ptr<KORR_PLIM::uDll> LoadHostLibrary(const char* baseName) {
    std::unique_ptr<KORR_PLIM::uDll> library(new (std::nothrow) KORR_PLIM::uDll(baseName));
    if (!library) ThrowError("Failed to allocate receiver dll.");
    if (!library->FindAndLoad(baseName, KORR_PLIM::uDll::kDefaultMode)) {
        ThrowError((std::string("Failed to load ") + baseName).c_str());
    }
    return library;
}

}  // namespace Korr::Plim::Trace::Tarnel
