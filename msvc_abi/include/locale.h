#pragma once

#include_next <locale.h>

#include <stdlib.h>
#include <time.h>
#include <wctype.h>

#ifdef __cplusplus
extern "C" {
#endif
int ___mb_cur_max_l_func(_locale_t locale);
const unsigned short* __pctype_func(void);
int _iswcntrl_l(wint_t character, _locale_t locale);
int _iswxdigit_l(wint_t character, _locale_t locale);
size_t _strftime_l(char* text, size_t size, const char* format, const struct tm* time, _locale_t locale);
#ifdef __cplusplus
}
#endif
