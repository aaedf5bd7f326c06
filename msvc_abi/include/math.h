#pragma once

#include_next <math.h>

// C++ has functions where C has macros.
#ifdef __cplusplus
#undef fpclassify
#undef isfinite
#undef isinf
#undef isnan
#undef isnormal
#undef signbit
extern "C++" {
template <class T>
inline int fpclassify(T value) {
    return __builtin_fpclassify(FP_NAN, FP_INFINITE, FP_NORMAL, FP_SUBNORMAL, FP_ZERO,
                                static_cast<double>(value));
}
template <class T>
inline bool isfinite(T value) {
    return __builtin_isfinite(static_cast<double>(value));
}
template <class T>
inline bool isinf(T value) {
    return __builtin_isinf(static_cast<double>(value));
}
template <class T>
inline bool isnan(T value) {
    return __builtin_isnan(static_cast<double>(value));
}
template <class T>
inline bool isnormal(T value) {
    return __builtin_isnormal(static_cast<double>(value));
}
template <class A, class B>
inline bool isgreater(A left, B right) {
    return __builtin_isgreater(left, right);
}
template <class A, class B>
inline bool isgreaterequal(A left, B right) {
    return __builtin_isgreaterequal(left, right);
}
template <class A, class B>
inline bool isless(A left, B right) {
    return __builtin_isless(left, right);
}
template <class A, class B>
inline bool islessequal(A left, B right) {
    return __builtin_islessequal(left, right);
}
template <class A, class B>
inline bool islessgreater(A left, B right) {
    return __builtin_islessgreater(left, right);
}
template <class A, class B>
inline bool isunordered(A left, B right) {
    return __builtin_isunordered(left, right);
}
// A long double is a double.
inline long double atan2l(long double y, long double x) {
    return atan2(static_cast<double>(y), static_cast<double>(x));
}
inline double nan(const char*) { return __builtin_nan(""); }
}
#endif
