#pragma once

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

/// \file
/// How a check tells its result. A check runs in a process of its own and writes into one file what it is
/// about to do
/// ("step"), and at its end how it went; so the file says where it was when it crashed or did not come back.

namespace Korr::Plim::Trace::Tracehost::Validation {

/// Opens the result file of this process. \throws HostError
void OpenVerdict(const std::string& file);
/// Notes what is done next, such as the call of an operation. Kept until the next one.
void Step(const std::string& what);
/// Added to the verdict of a check that passes: what was not looked at.
void Remark(const std::string& what);
/// Ends the process: the check passed.
[[noreturn]] void Pass();
/// Ends the process at once, without another call of the plug-in: the check failed. \param why one line
[[noreturn]] void Fail(const std::string& why);
/// Ends the process at once: the check cannot be done here.
[[noreturn]] void Skip(const std::string& why);

/// A verdict file as it was left.
struct Verdict {
    enum class Kind { None, Passed, Failed, Skipped };
    Kind kind = Kind::None;
    std::string words;  ///< why it failed or was skipped; the remark of one that passed
    std::string step;   ///< the last step
};
Verdict ReadVerdict(const std::string& file);

/// A count of this process's. One that the system does not tell, absent or 0, ends the check as skipped.
/// \param what what is counted, in the plural
uint64_t Counted(const char* what, std::optional<uint64_t> count);

/// Fails unless it holds. \param what what does not hold then
void Expect(bool holds, const std::string& what);

inline std::string Shown(const std::string& text) { return "\"" + text + "\""; }
inline std::string Shown(const char* text) { return text != nullptr ? Shown(std::string(text)) : "null"; }
inline std::string Shown(bool flag) { return flag ? "true" : "false"; }
template <typename Number>
std::string Shown(Number number) {
    std::ostringstream text;
    text << +number;
    return text.str();
}

/// Fails unless both are equal. \param what what was asked
template <typename Got, typename Wanted>
void ExpectEqual(const std::string& what, const Got& got, const Wanted& wanted) {
    if (!(got == wanted)) Fail(what + ": " + Shown(got) + " instead of " + Shown(wanted));
}
/// The same for texts by pointer.
void ExpectText(const std::string& what, const char* got, const std::string& wanted);

}  // namespace Korr::Plim::Trace::Tracehost::Validation
