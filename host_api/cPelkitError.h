#pragma once

#include <string>

/// \file
/// The exception type that reaches the host. The class belongs to the host's error library "pelkit":
/// constructors, copy, destructor and accessors are imported from it. The one exception is
/// cPelkitError::Delete, which the plug-in defines itself (empty) and exports.
///
/// PELKIT_API marks what the library exports; the library's own build defines PELKIT_BUILD.

#if defined(_WIN32)
#if defined(PELKIT_BUILD)
#define PELKIT_API __declspec(dllexport)
#else
#define PELKIT_API __declspec(dllimport)
#endif
#else
#define PELKIT_API __attribute__((visibility("default")))
#endif

/// Base of the host's errors: message, severity, and a way to give the object back.
class PELKIT_API cPelkitErrorIF {
  public:
    /// How bad an error is. 1: recoverable, the operation's result may be used with care. 2: the operation
    /// failed.
    enum Severity_Type { eSEVERITY_NONE = 0, eSEVERITY_WARNING = 1, eSEVERITY_ERROR = 2 };

    cPelkitErrorIF();
    cPelkitErrorIF(const cPelkitErrorIF&);
    cPelkitErrorIF& operator=(const cPelkitErrorIF&);
    virtual ~cPelkitErrorIF();

    /// The message, valid while the error object lives; never null. [host thread]
    virtual const char* GetText() const = 0;
    /// The severity given at construction. [host thread]
    virtual Severity_Type GetSeverity() const = 0;
    /// Host hook; does nothing in the plug-in. [host thread]
    virtual void Delete() = 0;
};

/// The concrete error: a copy of the message and a severity. Thrown by value, caught by reference.
class cPelkitError : public cPelkitErrorIF {
  public:
    /// Copies `text`; null counts as the empty text.
    PELKIT_API cPelkitError(const char* text, Severity_Type severity);
    PELKIT_API cPelkitError(const std::string& text, Severity_Type severity);
    PELKIT_API cPelkitError(const cPelkitError& other);
    PELKIT_API cPelkitError& operator=(const cPelkitError& other);
    PELKIT_API ~cPelkitError() override;

    PELKIT_API const char* GetText() const override;
    PELKIT_API Severity_Type GetSeverity() const override;
    void Delete() override;

  private:
    std::string text;
    Severity_Type severity;
};
