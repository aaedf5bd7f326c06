#include "tracehost/number_option.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <span>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// One unit: `factor` times ten to the `exponent` of the measure's own unit.
struct Unit {
    const char* suffix;
    uint32_t factor;
    int exponent;
    const char* shown;  ///< how a bound is shown in it; null: never
};

constexpr Unit kCountUnits[] = {{"", 1, 0, ""}};
constexpr Unit kTimeUnits[] = {{"d", 86400, 0, "d"}, {"h", 3600, 0, "h"}, {"min", 60, 0, "min"},
                               {"s", 1, 0, "s"},     {"", 1, 0, nullptr}, {"ms", 1, -3, "ms"},
                               {"us", 1, -6, "us"}};
constexpr Unit kSizeUnits[] = {{"G", 1, 9, nullptr},
                               {"GB", 1, 9, "GB"},
                               {"M", 1, 6, nullptr},
                               {"MB", 1, 6, "MB"},
                               {"k", 1, 3, nullptr},
                               {"kB", 1, 3, "kB"},
                               {"K", 1, 3, nullptr},
                               {"KB", 1, 3, nullptr},
                               {"B", 1, 0, "B"},
                               {"", 1, 0, nullptr},
                               {"KiB", 1U << 10, 0, nullptr},
                               {"MiB", 1U << 20, 0, nullptr},
                               {"GiB", 1U << 30, 0, nullptr}};
constexpr Unit kHertzUnits[] = {{"G", 1, 9, nullptr}, {"GHz", 1, 9, "GHz"}, {"M", 1, 6, nullptr},
                                {"MHz", 1, 6, "MHz"}, {"k", 1, 3, nullptr}, {"kHz", 1, 3, "kHz"},
                                {"Hz", 1, 0, "Hz"},   {"", 1, 0, nullptr}};

struct MeasureWords {
    std::span<const Unit> units;
    const char* noun;
    const char* example;   ///< null: none is needed
    const char* typeName;  ///< in help
};

MeasureWords WordsOf(Measure measure) {
    switch (measure) {
        case Measure::Time:
            return {kTimeUnits, "a time", "10s, 500ms, 2min or 1h", "TIME"};
        case Measure::Size:
            return {kSizeUnits, "a size", "10k, 1.5MB or 4MiB", "SIZE"};
        case Measure::Hertz:
            return {kHertzUnits, "a frequency", "48000000, 48M or 32.768kHz", "HZ"};
        case Measure::Count:
            break;
    }
    return {kCountUnits, "a number", nullptr, "N"};
}

constexpr std::size_t kMostDigits = 18;  // fit a 64-bit number
constexpr int kMostExponent = 22;        // powers of ten that a double holds exactly

/// A decimal number: mantissa times ten to the exponent.
struct Decimal {
    uint64_t mantissa = 0;
    int exponent = 0;
};

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// Takes digits from `rest`. \return how many; absent for more than a mantissa holds
std::optional<std::size_t> TakeDigits(std::string_view& rest, uint64_t& number,
                                      std::size_t digitsBefore = 0) {
    std::size_t count = 0;
    for (; count < rest.size() && IsDigit(rest[count]); ++count) {
        if (digitsBefore + count >= kMostDigits) return std::nullopt;
        number = number * 10 + static_cast<uint64_t>(rest[count] - '0');
    }
    rest.remove_prefix(count);
    return count;
}

/// Takes "e6", "E-3", "e+6"; an "e" without digits behind it stays. \return false when it is out of reason
bool TakeExponent(std::string_view& rest, int& exponent) {
    if (rest.empty() || (rest.front() != 'e' && rest.front() != 'E')) return true;
    std::string_view behind = rest.substr(1);
    const bool negative = behind.starts_with('-');
    if (negative || behind.starts_with('+')) behind.remove_prefix(1);
    uint64_t number = 0;
    const auto digits = TakeDigits(behind, number);
    if (digits && *digits == 0) return true;
    if (!digits || number > kMostExponent) return false;
    rest = behind;
    exponent += negative ? -static_cast<int>(number) : static_cast<int>(number);
    return true;
}

/// Takes the number at the front of `rest`. \return absent when there is none
std::optional<Decimal> TakeDecimal(std::string_view& rest) {
    Decimal decimal;
    const auto before = TakeDigits(rest, decimal.mantissa);
    if (!before) return std::nullopt;
    std::size_t behind = 0;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        const auto digits = TakeDigits(rest, decimal.mantissa, *before);
        if (!digits) return std::nullopt;
        behind = *digits;
    }
    decimal.exponent = -static_cast<int>(behind);
    if (*before + behind == 0 || !TakeExponent(rest, decimal.exponent)) return std::nullopt;
    return decimal;
}

/// The number in the measure's own unit; absent when the text is not of the form.
std::optional<double> Read(Measure measure, std::string_view text) {
    const auto decimal = TakeDecimal(text);
    if (!decimal) return std::nullopt;
    if (text.size() > 1 && text.front() == ' ') text.remove_prefix(1);
    for (const Unit& unit : WordsOf(measure).units) {
        if (text != unit.suffix) continue;
        const int exponent = decimal->exponent + unit.exponent;
        const double product = static_cast<double>(decimal->mantissa) * unit.factor;
        const double power = std::pow(10.0, std::abs(exponent));
        return exponent < 0 ? product / power : product * power;
    }
    return std::nullopt;
}

}  // namespace

double ParseNumber(const NumberOption& option, const std::string& text) {
    const auto number = Read(option.measure, text);
    const bool inBounds = number && *number >= option.smallest && *number <= option.largest;
    if (inBounds && (!option.whole || *number == std::floor(*number))) return *number;
    throw UsageError(std::string(option.name) + " \"" + text + "\": " + NumberForm(option));
}

std::optional<double> ParseNumberOrWord(const NumberOption& option, const std::string& text) {
    if (option.word != nullptr && text == option.word) return std::nullopt;
    return ParseNumber(option, text);
}

std::string NumberForm(const NumberOption& option) {
    const MeasureWords words = WordsOf(option.measure);
    std::string form = "give ";
    if (option.word != nullptr) form += std::string(option.word) + " or ";
    form += std::string(words.noun) + " from " + FormatQuantity(option.measure, option.smallest) + " to " +
            FormatQuantity(option.measure, option.largest);
    return words.example != nullptr ? form + ", such as " + words.example : form;
}

std::string FormatQuantity(Measure measure, double number) {
    for (const Unit& unit : WordsOf(measure).units) {
        if (unit.shown == nullptr) continue;
        const double power = std::pow(10.0, std::abs(unit.exponent));
        const double inUnit = (unit.exponent < 0 ? number * power : number / power) / unit.factor;
        if (inUnit < 1 || inUnit != std::floor(inUnit)) continue;
        return FormatExact(inUnit) + (*unit.shown != '\0' ? " " : "") + unit.shown;
    }
    return FormatExact(number);
}

std::string FormatExact(double number) {
    char text[400];  // the longest double has 309 digits before its point
    for (int decimals = 0; decimals <= 20; ++decimals) {
        std::snprintf(text, sizeof text, "%.*f", decimals, number);
        if (std::strtod(text, nullptr) == number) break;
    }
    return text;
}

CLI::Option* AddNumber(CLI::App& command, const NumberOption& option, const std::string& description,
                       std::function<void(std::optional<double>)> take) {
    const auto parse = [option, take = std::move(take)](const std::string& text) {
        take(ParseNumberOrWord(option, text));
    };
    const std::string bounds = FormatQuantity(option.measure, option.smallest) + " to " +
                               FormatQuantity(option.measure, option.largest);
    const std::string word = option.word != nullptr ? std::string("|") + option.word : "";
    return command.add_option_function<std::string>(option.name, parse, description + " (" + bounds + ")")
        ->type_name(WordsOf(option.measure).typeName + word);
}

CLI::Option* AddText(CLI::App& command, const std::string& name, const std::string& typeName,
                     const std::string& description, std::string& text) {
    const auto take = [name, &text](const std::string& given) {
        if (given.empty()) throw UsageError(name + " \"\": it must not be empty");
        text = given;
    };
    return command.add_option_function<std::string>(name, take, description)->type_name(typeName);
}

CLI::Option* AddChoice(CLI::App& command, const std::string& name, const std::string& description,
                       std::vector<std::string> choices, std::function<void(const std::string&)> take) {
    std::string typeName;
    std::string form;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        typeName += (i > 0 ? "|" : "") + choices[i];
        form += (i == 0 ? "" : i + 1 < choices.size() ? ", " : " or ") + choices[i];
    }
    const auto parse = [name, form, choices = std::move(choices),
                        take = std::move(take)](const std::string& text) {
        if (std::find(choices.begin(), choices.end(), text) == choices.end()) {
            throw UsageError(name + " \"" + text + "\": give " + form);
        }
        take(text);
    };
    return command.add_option_function<std::string>(name, parse, description)->type_name(typeName);
}

}  // namespace Korr::Plim::Trace::Tracehost
