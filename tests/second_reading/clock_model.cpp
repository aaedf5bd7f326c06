#include "tests/second_reading/clock_model.h"

#include <cmath>
#include <cstring>
#include <optional>

namespace second_reading {

namespace {

constexpr const char* kClockError =
    "Could not determine the System clock frequency automatically. Please set it manually in the receiver "
    "properties.";

struct Thrown {
    std::string text;
};

std::string Hex(uint32_t number) {
    static const char* const digits = "0123456789abcdef";
    std::string text;
    for (; number != 0; number /= 16) text.insert(text.begin(), digits[number % 16]);
    return "0x" + (text.empty() ? "0" : text);
}

// strtoul with base 16 and 32 bits.
uint32_t AddressOf(const std::string& text) {
    static const std::string digits = "0123456789abcdef";
    std::size_t at = text.find_first_not_of(" \t");
    if (at == std::string::npos) return 0;
    if (text.compare(at, 2, "0x") == 0 || text.compare(at, 2, "0X") == 0) at += 2;
    uint64_t number = 0;
    for (; at < text.size(); ++at) {
        const char letter = text[at];
        const std::size_t digit =
            digits.find(letter >= 'A' && letter <= 'F' ? static_cast<char>(letter + 32) : letter);
        if (digit == std::string::npos) break;
        number = number * 16 + digit;
        if (number > 0xFFFFFFFFu) return 0xFFFFFFFFu;
    }
    return static_cast<uint32_t>(number);
}

// A word that could be read or not. What is computed from one that could not be read is no clock.
using Word = std::optional<uint32_t>;
uint32_t Needed(const Word& word) {
    if (!word) throw Thrown{kClockError};
    return *word;
}
std::string Shown(const Word& word) { return Hex(word.value_or(0)); }

class Reader {
  public:
    Reader(const ClockTarget& clockTarget, ClockReading& clockReading)
        : target(clockTarget), reading(clockReading) {
        Ask("information");
        if (!target.hasInformation) throw Thrown{"Internal error: Device information could not be parsed"};
        Ask("module");
        if (!target.hasModule) throw Thrown{kNoRegister};
    }

    uint32_t Address(const std::string& name) {
        Ask(name);
        const auto found = target.addresses.find(name);
        if (found == target.addresses.end() || found->second.empty()) throw Thrown{kNoRegister};
        return AddressOf(found->second);
    }
    Word At(uint32_t address) {
        Ask(Hex(address));
        if (target.unreadable.count(address) != 0) return {};
        const auto found = target.words.find(address);
        return found == target.words.end() ? 0 : found->second;
    }
    Word Register(const std::string& name) { return At(Address(name)); }
    void Line(const std::string& text) { reading.lines.push_back("M " + text); }

  private:
    static constexpr const char* kNoRegister =
        "Internal error: Trace clock freq could not be deftermined for this device";
    void Ask(const std::string& what) { reading.asked.push_back(what); }

    const ClockTarget& target;
    ClockReading& reading;
};

template <typename Road>
ClockReading Read(const ClockTarget& target, Road road) {
    ClockReading reading;
    try {
        Reader reader(target, reading);
        road(reader, reading);
    } catch (const Thrown& thrown) {
        reading.error = thrown.text;
    }
    return reading;
}

// A number made of the bits that a register's description names, written with shifts and divisions.
uint32_t Field(uint32_t word, unsigned from, unsigned to) {
    uint32_t number = 0;
    for (unsigned bit = to + 1; bit-- > from;) number = number * 2 + (word >> bit) % 2;
    return number;
}

double FerrinDco(Reader& reader, uint32_t csctl0, uint32_t tlvbase) {
    const double megahertz[] = {1.5, 3, 6, 12, 24, 48, 1.5, 1.5};
    const double centre = megahertz[Field(csctl0, 16, 18)] * 1e6;
    int tune = static_cast<int>(Field(csctl0, 0, 12));
    if (tune >= 4096) tune -= 8192;
    if (tune == 0) return centre;
    const Word constant = reader.At(tlvbase + 100u);
    const Word calibration = reader.At(tlvbase + 76u);
    const uint32_t bits = Needed(constant);
    const auto fcal = static_cast<int32_t>(Needed(calibration));
    float k = 0;
    std::memcpy(&k, &bits, sizeof(k));
    const auto distance = static_cast<float>(768.0 - fcal);
    const float below = 8.0F * (1.0F + k * distance);
    const float bracket = 1.0F - k * static_cast<float>(tune) / below;
    return centre / bracket;
}

double GlintarCrystal(uint32_t xtal) {
    const double megahertz[] = {1.0,    1.8432, 2.0,      2.4576, 3.579545, 3.6864, 4.0,   4.096, 4.9152,
                                5.0,    5.12,   6.0,      6.144,  7.3728,   8.0,    8.192, 10.0,  12.0,
                                12.288, 13.56,  14.31818, 16.0,   16.384,   18.0,   20.0,  24.0,  25.0};
    return xtal < 27 ? megahertz[xtal] * 1e6 : 0;
}

double GlintarSource(uint32_t oscillator, uint32_t xtal, uint32_t deviceClass) {
    const double internal = deviceClass < 4 ? 12e6 : 16e6;
    const double crystal = GlintarCrystal(xtal);
    if (oscillator == 0 && crystal > 0) return crystal;
    if (oscillator == 1) return internal;
    if (oscillator == 2) return internal / 4;
    if (oscillator == 3) return 30000;
    if (oscillator == 7) return 32768;
    throw Thrown{kClockError};
}

double GlintarRunClock(uint32_t rcc, uint32_t rcc2, uint32_t deviceClass) {
    const bool second = Field(rcc2, 31, 31) == 1;
    const bool fast = second && Field(rcc2, 30, 30) == 1;
    const bool bypass = Field(second ? rcc2 : rcc, 11, 11) == 1;
    const uint32_t oscillator = second ? Field(rcc2, 4, 6) : Field(rcc, 4, 5);
    uint32_t divisor = second ? Field(rcc2, 23, 28) : Field(rcc, 23, 26);
    if (fast) divisor = divisor * 2 + Field(rcc2, 22, 22);
    double clock = fast ? 400e6 : 200e6;
    if (bypass) clock = GlintarSource(oscillator, Field(rcc, 6, 10), deviceClass);
    return Field(rcc, 22, 22) == 1 ? clock / (divisor + 1.0) : clock;
}

double RimefoldClock(const Word& rsclkcfg, const Word& pllfreq0, const Word& pllfreq1) {
    const uint32_t configuration = Needed(rsclkcfg);
    if (Field(configuration, 28, 28) == 0) {
        if (Field(configuration, 20, 23) != 0) throw Thrown{kClockError};
        return 16e6 / (Field(configuration, 10, 19) + 1.0);
    }
    if (Field(configuration, 24, 27) != 0) throw Thrown{kClockError};
    const double factor = Field(Needed(pllfreq0), 0, 9) + Field(Needed(pllfreq0), 10, 19) / 1024.0;
    const double q = Field(Needed(pllfreq1), 8, 12);
    const double n = Field(Needed(pllfreq1), 0, 4);
    return 16e6 * factor / ((q + 1) * (n + 1)) / (Field(configuration, 0, 9) + 1.0);
}

}  // namespace

ClockReading ModelFerrin(const ClockTarget& target) {
    return Read(target, [](Reader& reader, ClockReading& reading) {
        const std::string tag = "Tarnel_FerrinDevice: ";
        const Word csctl0 = reader.Register("CSCTL0");
        const Word csctl1 = reader.Register("CSCTL1");
        const Word csctl2 = reader.Register("CSCTL2");
        const Word csctl3 = reader.Register("CSCTL3");
        const Word csclken = reader.Register("CSCLKEN");
        const uint32_t tlvbase = reader.Address("TLVBASE");
        reader.Line(tag + "CSCTL0 = " + Shown(csctl0) + ", CSCTL1 = " + Shown(csctl1) +
                    ", CSCTL2 = " + Shown(csctl2) + ", CSCTL3 = " + Shown(csctl3) +
                    ", CSCLKEN = " + Shown(csclken) + ", TLVBASE = " + Hex(tlvbase));
        reading.constructed = true;
        const uint32_t selm = Field(Needed(csctl1), 0, 2);
        const uint32_t divm = Field(Needed(csctl1), 16, 18);
        reader.Line(tag + "selm = " + std::to_string(selm) + ", divm = " + std::to_string(divm));
        double source = 0;
        if (selm == 0) source = 32768;
        if (selm == 1) source = 10240;
        if (selm == 2) source = Field(Needed(csclken), 15, 15) == 0 ? 32768 : 131072;
        if (selm == 3) source = FerrinDco(reader, Needed(csctl0), tlvbase);
        if (selm == 4) source = 25165824;
        reading.frequency = source / std::pow(2.0, divm);
        if (reading.frequency == 0 || !std::isfinite(reading.frequency)) throw Thrown{kClockError};
    });
}

ClockReading ModelMothwing(const ClockTarget& target) {
    return Read(target, [](Reader& reader, ClockReading& reading) {
        const Word divider = reader.Register("CPUCLKDIV");
        reader.Line("Tarnel_MothwingDevice: CPUCLKDIV = " + Shown(divider));
        reading.frequency = Needed(divider) % 2 == 1 ? 24e6 : 48e6;
        reading.constructed = true;  // its GetFrequency never throws
    });
}

ClockReading ModelGlintar(const ClockTarget& target) {
    return Read(target, [](Reader& reader, ClockReading& reading) {
        const std::string tag = "Tarnel_GlintarDevice: ";
        const uint32_t place = reader.Address("DID0");
        const Word did0 = reader.At(place);
        const uint32_t deviceClass = Field(did0.value_or(0), 16, 23);
        reader.Line(tag + "DID0 addr = " + Hex(place) + " value = " + Shown(did0));
        if (deviceClass == 10 || deviceClass == 12) {
            reader.Line(tag + "Rimefold");
            const Word rsclkcfg = reader.Register("RSCLKCFG");
            const Word pllfreq0 = reader.Register("PLLFREQ0");
            const Word pllfreq1 = reader.Register("PLLFREQ1");
            reading.constructed = true;
            reading.frequency = RimefoldClock(rsclkcfg, pllfreq0, pllfreq1);
            return;
        }
        const Word rcc = reader.Register("RCC");
        const Word rcc2 = reader.Register("RCC2");
        reading.constructed = true;
        Needed(did0);
        reading.frequency = GlintarRunClock(Needed(rcc), Needed(rcc2), deviceClass);
    });
}

}  // namespace second_reading
