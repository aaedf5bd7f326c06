#pragma once

#include_next <winbase.h>

// As a macro it would rename the member of FILE_DISPOSITION_INFO; who deletes a file says DeleteFileA or
// DeleteFileW.
#undef DeleteFile
#define SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE 2
