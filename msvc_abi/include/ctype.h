#pragma once

#include_next <ctype.h>

#include <corecrt.h>

#ifdef __cplusplus
extern "C" {
#endif
int _isdigit_l(int character, _locale_t locale);
int _islower_l(int character, _locale_t locale);
int _isupper_l(int character, _locale_t locale);
int _isxdigit_l(int character, _locale_t locale);
#ifdef __cplusplus
}
#endif
