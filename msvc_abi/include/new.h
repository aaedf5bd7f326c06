#pragma once

#include <vcruntime_new.h>

namespace std {
using new_handler = void (*)();
new_handler set_new_handler(new_handler handler) noexcept;
new_handler get_new_handler() noexcept;
}  // namespace std
