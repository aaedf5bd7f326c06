#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// What a number option measures; each measure has its units, none of which depends on the locale.
enum class Measure {
    Count,  ///< no unit
    Time,   ///< seconds; us, ms, s, min, h, d
    Size,   ///< bytes; k, M and G (also kB, MB, GB) are powers of 1000, KiB, MiB and GiB of 1024
    Hertz,  ///< Hz; k, M and G (also kHz, MHz, GHz) are powers of 1000
};

/// A number that the user gives: its bounds belong to it, so that no command can take it unbounded.
struct NumberOption {
    const char* name;  ///< "--seconds", as a refusal shows it
    Measure measure;
    double smallest;  ///< in the measure's own unit
    double largest;
    bool whole = false;          ///< whole multiples of the measure's own unit alone
    const char* word = nullptr;  ///< a word that may stand in the number's place, such as "auto"; null: none
};

/// The options that several commands take.
inline constexpr NumberOption kClockOption{"--clock", Measure::Hertz, 1, 4e9, false, "auto"};
inline constexpr NumberOption kPrescalerOption{"--prescaler", Measure::Count, 0, 8191, true, "auto"};

/// Reads a number: decimal digits, a decimal point, a decimal exponent, and a unit of the measure, which a
/// blank may precede. The nearest double is given, whole numbers below 2^53 exactly.
/// \throws UsageError that names the option, the text, the bounds and an example, when the text is not of
/// that form (nan, inf and hexadecimal numbers are not) or the number is out of the bounds
double ParseNumber(const NumberOption& option, const std::string& text);
/// The same; absent when the text is the option's word.
std::optional<double> ParseNumberOrWord(const NumberOption& option, const std::string& text);

/// "give auto or a time from 1 ms to 30 d, such as 10s or 500ms": how a refusal ends.
std::string NumberForm(const NumberOption& option);

/// A number in the largest unit in which it is whole: "1 ms", "30 d", "4 GHz", "34359738360 B".
std::string FormatQuantity(Measure measure, double number);

/// Decimal digits that read back as the same double, without exponent: "48000000", "1152000.5".
std::string FormatExact(double number);

/// Adds a number option to a command; `take` is called with a number within the bounds, or with nothing for
/// the option's word. The description gets the bounds added.
CLI::Option* AddNumber(CLI::App& command, const NumberOption& option, const std::string& description,
                       std::function<void(std::optional<double>)> take);

/// Adds an option that takes a text, which must not be empty. \param typeName as help shows it, "FILE"
CLI::Option* AddText(CLI::App& command, const std::string& name, const std::string& typeName,
                     const std::string& description, std::string& text);

/// Adds an option that takes one of some words (or numbers, which then are words), refused in the same style.
CLI::Option* AddChoice(CLI::App& command, const std::string& name, const std::string& description,
                       std::vector<std::string> choices, std::function<void(const std::string&)> take);

}  // namespace Korr::Plim::Trace::Tracehost
