#pragma once

#include_next <sys/types.h>

// libc++ takes the length of a file in this type (std::filesystem::resize_file); no system function does.
#undef off_t
typedef __int64 off_t;
