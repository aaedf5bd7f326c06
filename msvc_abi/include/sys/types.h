#pragma once

#include_next <sys/types.h>

// libc++ takes the lengths of files for std::filesystem::resize_file in this type. No function of the system does.
#undef off_t
typedef __int64 off_t;
