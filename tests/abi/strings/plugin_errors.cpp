// An error made of the host's string type, as a module of the plug-in's tool chain throws it.
#include "host_api/cPelkitError.h"

extern "C" __declspec(dllexport) void ThrowErrorOfString(const char* text, size_t length) {
    throw cPelkitError(Korr::Plim::Trace::HostString(std::string_view(text, length)),
                       cPelkitErrorIF::eSEVERITY_WARNING);
}
