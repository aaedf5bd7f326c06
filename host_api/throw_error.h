#pragma once

#include <array>

#include "host_api/cPelkitError.h"

namespace Korr::Plim::Trace {

/// Throws the host's error. \param text copied; null counts as the empty text \throws cPelkitError always
[[noreturn]] void ThrowError(const char* text,
                             cPelkitErrorIF::Severity_Type severity = cPelkitErrorIF::eSEVERITY_ERROR);

/// Keeps the text of what this thread throws through ThrowError while the object lives: who catches a
/// cPelkitError and only logs it learns the text here, without an operation of the host's class. Of nested
/// objects the inner one gets the text. Allocates nothing and throws nothing.
class ThrownText {
  public:
    ThrownText() noexcept;
    ~ThrownText();
    ThrownText(const ThrownText&) = delete;
    ThrownText& operator=(const ThrownText&) = delete;

    /// The latest text, of which the first 500 bytes count; a fixed one when only the host threw.
    const char* Get() const noexcept { return text.data(); }

  private:
    friend void ThrowError(const char*, cPelkitErrorIF::Severity_Type);

    std::array<char, 501> text;
    ThrownText* outer;
};

}  // namespace Korr::Plim::Trace
