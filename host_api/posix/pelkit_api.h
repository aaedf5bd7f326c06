#pragma once

/// What the error library exports.
#define PELKIT_API __attribute__((visibility("default")))
/// A class whose type information is one in all modules.
#define PELKIT_TYPE [[gnu::visibility("default")]]
/// The name of an exported function where the compiler would not choose the error library's own: nowhere
/// here.
#define PELKIT_NAME(name)
