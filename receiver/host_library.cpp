#include "receiver/host_library.h"

#include <new>
#include <string>

#include "host_api/cPelkitError.h"

namespace Korr::Plim::Trace::Tarnel {

void ThrowReceiverError(const char* text) { throw cPelkitError(text, cPelkitErrorIF::eSEVERITY_ERROR); }

std::unique_ptr<KORR_PLIM::uDll> LoadHostLibrary(const char* baseName) {
    std::unique_ptr<KORR_PLIM::uDll> library(new (std::nothrow) KORR_PLIM::uDll(baseName));
    if (!library) ThrowReceiverError("Failed to allocate receiver dll.");
    if (!library->FindAndLoad(baseName, KORR_PLIM::uDll::kDefaultMode)) {
        ThrowReceiverError((std::string("Failed to load ") + baseName).c_str());
    }
    return library;
}

}  // namespace Korr::Plim::Trace::Tarnel
