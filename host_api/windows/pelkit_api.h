#pragma once

/// What the error library exports. Its own build defines PELKIT_BUILD.
#if defined(PELKIT_BUILD)
#define PELKIT_API __declspec(dllexport)
#else
#define PELKIT_API __declspec(dllimport)
#endif
/// A class whose type information is one in all modules: types are compared by name.
#define PELKIT_TYPE
/// The name of an exported function where the compiler would not choose the error library's own, because a
/// type in it is the host's std::string there and HostString here.
#define PELKIT_NAME(name) __asm__(name)
