#pragma once

#include <HostString.h>
#include <pelkit_api.h>

#include <cstddef>

/// \file
/// The exception type that reaches the host. The class belongs to the host's error library "pelkit":
/// constructors, copy and destructor are imported from it. The one exception is cPelkitError::Delete, which
/// the plug-in defines itself (empty) and exports.
///
/// Only what is declared public here is known of the host's classes. How large an error is, what it holds,
/// and the order of its virtual operations are the library's own: the plug-in makes errors, copies them and
/// destroys them, all through imported functions, and calls none of them through their table. Who wants to
/// read an error asks the library.

/// Base of the host's errors. Nothing of it is imported.
class PELKIT_TYPE cPelkitErrorIF {
  public:
    /// How bad an error is. 1: recoverable, the operation's result may be used with care. 2: the operation
    /// failed.
    enum Severity_Type { eSEVERITY_NONE = 0, eSEVERITY_WARNING = 1, eSEVERITY_ERROR = 2 };

    cPelkitErrorIF() = default;
    /// A thrown error is copied.
    cPelkitErrorIF(const cPelkitErrorIF&) = default;
    cPelkitErrorIF& operator=(const cPelkitErrorIF&) = delete;
    virtual ~cPelkitErrorIF() = default;

    /// Host hook; does nothing in the plug-in. [host thread]
    virtual void Delete() = 0;
};

/// The concrete error: a copy of the message and a severity. Thrown by value, caught by reference.
class alignas(16) PELKIT_TYPE cPelkitError : public cPelkitErrorIF {
  public:
    /// Copies `text`; null counts as the empty text.
    PELKIT_API cPelkitError(const char* text, Severity_Type severity);
    /// Copies a text of the host's string type.
    PELKIT_API cPelkitError(const Korr::Plim::Trace::HostString& text, Severity_Type severity) PELKIT_NAME(
        "??0cPelkitError@@QEAA@AEBV?$basic_string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@"
        "W4Severity_Type@cPelkitErrorIF@@@Z");
    /// The same message and severity.
    PELKIT_API cPelkitError(const cPelkitError& other);
    cPelkitError& operator=(const cPelkitError&) = delete;
    PELKIT_API ~cPelkitError() override;

    /// Empty, and the only member that the plug-in exports. [host thread]
    void Delete() override;

  private:
    friend struct cPelkitErrorContent;
    /// Room for whatever the library's constructors write behind the table; nothing else touches it.
    std::byte room[1016];
};
static_assert(sizeof(cPelkitError) == 1024);
