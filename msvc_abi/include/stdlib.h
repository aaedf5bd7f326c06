#pragma once

#include_next <stdlib.h>

#include <corecrt.h>

#undef MB_CUR_MAX
#define MB_CUR_MAX ___mb_cur_max_func()
#define _sys_nerr (*__sys_nerr())

#ifdef __cplusplus
extern "C" {
#endif
int ___mb_cur_max_func(void);
int* __sys_nerr(void);
errno_t _dupenv_s(char** value, size_t* size, const char* name);
unsigned _set_abort_behavior(unsigned flags, unsigned mask);
double _strtod_l(const char* text, char** end, _locale_t locale);
float _strtof_l(const char* text, char** end, _locale_t locale);
// A long double is a double.
inline long double wcstold(const wchar_t* text, wchar_t** end) { return wcstod(text, end); }
#ifdef __cplusplus
}
#endif
