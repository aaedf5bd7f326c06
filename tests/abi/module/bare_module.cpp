// A library without anything of msvc_abi/, whose load configuration tells the loader of no stack cookie, and
// whose code can be written.
#include <cstdint>

extern "C" {
struct LoadConfiguration {
    uint32_t size;
    uint32_t rest[27];
};
extern const LoadConfiguration _load_config_used;
alignas(8) const LoadConfiguration _load_config_used = {sizeof(LoadConfiguration), {}};

__declspec(dllexport) int Nothing() { return 0; }
}
