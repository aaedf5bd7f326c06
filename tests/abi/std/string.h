#pragma once

#include <cstddef>

extern "C" {
void* memcpy(void*, const void*, size_t);
void* memmove(void*, const void*, size_t);
void* memset(void*, int, size_t);
int memcmp(const void*, const void*, size_t);
int strcmp(const char*, const char*);
size_t strlen(const char*);
char* strrchr(const char*, int);
const char* strstr(const char*, const char*);
}
