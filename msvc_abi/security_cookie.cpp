// Stack cookies: functions with arrays put the cookie between them and the return address, and check it at
// their end. The loader finds the cookie through the load configuration and gives it a random value before
// any code of the module runs.
#include <stdint.h>

extern "C" {
uintptr_t __security_cookie =
    0x00002B992DDFA232;  // by this value the loader knows that it has not been there yet

/// As far as the cookie; what the compiler has no use for here stays 0.
struct LoadConfiguration {
    uint32_t size;
    uint32_t before[21];
    uintptr_t* cookie;
    uint64_t after[2];
};
static_assert(sizeof(LoadConfiguration) == 112);
extern const LoadConfiguration _load_config_used;
const LoadConfiguration _load_config_used = {sizeof(LoadConfiguration), {}, &__security_cookie, {}};

__attribute__((no_stack_protector)) void __security_check_cookie(uintptr_t cookie) {
    constexpr unsigned kStackCookieCheckFailure = 2;
    if (cookie != __security_cookie) __asm__ volatile("int $0x29" : : "c"(kStackCookieCheckFailure));
}
}
