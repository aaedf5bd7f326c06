#pragma once

#include_next <wchar.h>

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif
inline int fwide(FILE*, int mode) { return mode; }
errno_t wcrtomb_s(size_t* written, char* bytes, size_t size, wchar_t character, mbstate_t* state);
#ifdef __cplusplus
}
#endif
