#pragma once

#include_next <stdio.h>

#ifdef __cplusplus
#include <sys/types.h>
// For std::fstream beyond 2 GiB.
extern "C++" {
inline int fseeko(FILE* stream, off_t offset, int origin) { return _fseeki64(stream, offset, origin); }
inline off_t ftello(FILE* stream) { return _ftelli64(stream); }
}
#endif
