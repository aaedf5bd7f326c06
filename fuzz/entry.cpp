// What libFuzzer calls; the build names the target.
#include <cstdint>

#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzz::TARNEL_FUZZ_TARGET(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
