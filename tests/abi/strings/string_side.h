#pragma once

#include <stddef.h>

/// What one side of the boundary does with strings of the host's type. The sides are compiled apart, each
/// with its own string type: the host's std::string, and HostString. A string is 32 bytes at an address that
/// the caller gives.
struct StringSide {
    const char* name;
    void (*make)(void* at, const char* text, size_t length);
    void (*copy)(void* at, const void* from);
    void (*move)(void* at, void* from);
    void (*assign)(void* to, const char* text, size_t length);
    void (*assignCopy)(void* to, const void* from);
    void (*assignMove)(void* to, void* from);
    void (*destroy)(void* string);
    const char* (*text)(const void* string);
    size_t (*size)(const void* string);
    size_t (*capacity)(const void* string);
    /// An object with StringGiver's table, and the call of another side's, whose result becomes a string at
    /// `at`.
    void* giver;
    void (*take)(void* at, void* giver, const char* text, size_t length);
};

/// Returns a string by value, as an operation of an interface.
template <class String>
class StringGiver {
  public:
    virtual String Give(const char* text, size_t length) = 0;

  protected:
    ~StringGiver() = default;
};
