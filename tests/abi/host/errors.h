#pragma once

#include "tests/abi/host/pelkit.h"
#include "tests/abi/host/system.h"

namespace host {

/// Counts the ends of its objects: what an exception unwinds.
class Unwound {
  public:
    explicit Unwound(int& count) : number(count) {}
    ~Unwound() { ++number; }
    Unwound(const Unwound&) = delete;
    Unwound& operator=(const Unwound&) = delete;

  private:
    int& number;
};

/// What an error must be.
struct ExpectedError {
    const char* text;
    cPelkitErrorIF::Severity_Type severity;

    bool Is(const cPelkitErrorIF& error) const {
        return strcmp(error.Message(), text) == 0 && error.Severity() == severity &&
               error.Origin() == 0x50454C4B;
    }
};

/// Each way in which a host may catch what a call throws. All answer whether the expected error was caught,
/// once.
template <class Call>
bool CaughtByReference(const ExpectedError& expected, Call call) {
    int unwound = 0;
    try {
        const Unwound frame(unwound);
        call();
    } catch (const cPelkitError& error) {
        return unwound == 1 && expected.Is(error);
    } catch (...) {
    }
    return false;
}

template <class Call>
bool CaughtByBase(const ExpectedError& expected, Call call) {
    try {
        call();
    } catch (int) {
    } catch (cPelkitErrorIF& error) {
        error.Annotate("the host's own operation, on the error that was thrown");
        return expected.Is(error) && dynamic_cast<cPelkitError*>(&error) != nullptr;
    }
    return false;
}

/// In a frame of its own: errors are large.
template <class Call>
__declspec(noinline) bool CaughtByValue(const ExpectedError& expected, Call call) {
    try {
        call();
    } catch (cPelkitError error) {
        return expected.Is(error) && cPelkitError::Living() == 2;
    }
    return false;
}

/// Caught by its base, thrown on, and caught as itself: the same object.
template <class Call>
bool CaughtAfterRethrow(const ExpectedError& expected, Call call) {
    const cPelkitErrorIF* first = nullptr;
    int unwound = 0;
    try {
        const Unwound outer(unwound);
        try {
            const Unwound inner(unwound);
            call();
        } catch (cPelkitErrorIF& error) {
            first = &error;
            throw;
        }
    } catch (const cPelkitError& error) {
        return unwound == 2 && &error == first && expected.Is(error);
    }
    return false;
}

/// Caught while another error is being handled, which is still there afterwards.
template <class Call>
bool CaughtWithinAHandler(const ExpectedError& expected, Call call) {
    try {
        call();
    } catch (const cPelkitError& first) {
        const bool inner = CaughtByReference(expected, call);
        return inner && expected.Is(first);
    }
    return false;
}

}  // namespace host
