#include "tracehost/rate_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tracehost/errors.h"
#include "tracehost/explanation.h"
#include "tracehost/human_numbers.h"
#include "tracehost/port_access.h"
#include "uart/prescaler_calibration.h"
#include "uart/serial_port.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// Path, reason and what to do; `otherwise` when the port looks well now.
[[noreturn]] void Refuse(uint32_t number, const std::string& otherwise) {
    const PortAccess access = CheckPort(number, PortCheck::ByOpening);
    if (access.problem.empty()) throw HostError(otherwise + ": try again");
    throw HostError(FormatFinding(access.problem, access.device, access.advice));
}

/// Gives the port back as it was found.
class OpenPort {
  public:
    explicit OpenPort(uint32_t number) {
        const std::string name = "COM" + std::to_string(number);
        if (!port.Open(number)) Refuse(number, name + " cannot be opened");
        if (port.GetState(found)) return;
        port.Close();
        Refuse(number, name + " does not tell its settings");
    }
    ~OpenPort() {
        port.SetState(found);
        port.Close();
    }
    OpenPort(const OpenPort&) = delete;
    OpenPort& operator=(const OpenPort&) = delete;

    /// The rate that the port reports after it was asked for one; 0: it refused.
    uint32_t Ask(uint32_t baud) {
        Tarnel::LineState state;
        if (!port.GetState(state)) return 0;
        state.baudRate = baud;
        state.dataBits = 8;
        state.parity = 0;
        state.stopBits = 0;
        if (!port.SetState(state) || !port.GetState(state)) return 0;
        return state.baudRate;
    }

  private:
    Tarnel::SerialPort port;
    Tarnel::LineState found;
};

RateRow AskRate(OpenPort& open, double clock, uint32_t prescaler) {
    const double asked = clock / (prescaler + 1);
    const double baud = std::clamp(std::floor(asked), 0.0, static_cast<double>(UINT32_MAX));
    return {prescaler, asked, baud < 1 ? 0 : open.Ask(static_cast<uint32_t>(baud))};
}

constexpr std::size_t kSearchEnd = 8;  // rows shown of either end of a long search

void AppendHead(std::string& text) {
    char line[160];
    std::snprintf(line, sizeof line, "%9s %14s %14s %10s\n", "prescaler", "rate asked", "rate taken",
                  "error");
    text += line;
}

const char* Judgement(const RateRow& row) {
    if (row.taken == 0) return "refused";
    return std::abs(RateError(row)) <= kRateTolerance ? "" : "another rate taken without a word";
}

void AppendRow(std::string& text, const RateRow& row, std::optional<uint32_t> chosen) {
    char line[160];
    std::snprintf(line, sizeof line, "%9u %14s %14s %8.2f %%  %s", row.prescaler,
                  FormatCount(static_cast<uint64_t>(std::llround(row.asked))).c_str(),
                  FormatCount(row.taken).c_str(), 100 * RateError(row), Judgement(row));
    text += line;
    if (chosen == row.prescaler) text += "<- taken by auto";
    text.erase(text.find_last_not_of(' ') + 1);
    text += "\n";
}

}  // namespace

std::vector<RateRow> AskRates(uint32_t port, double clock, uint32_t from, uint32_t to) {
    OpenPort open(port);
    std::vector<RateRow> rows;
    for (uint32_t prescaler = from; prescaler <= to; ++prescaler) {
        rows.push_back(AskRate(open, clock, prescaler));
    }
    return rows;
}

bool EndsSearch(const RateRow& row) { return std::abs(RateError(row)) <= kSearchTolerance; }

std::vector<RateRow> SearchRates(uint32_t port, double clock) {
    OpenPort open(port);
    std::vector<RateRow> rows;
    for (uint32_t prescaler = 0; prescaler <= Tarnel::kMaxPrescaler; ++prescaler) {
        rows.push_back(AskRate(open, clock, prescaler));
        if (EndsSearch(rows.back()) || rows.back().taken == 0) break;
    }
    return rows;
}

double RateError(const RateRow& row) {
    return row.asked > 0 ? (static_cast<double>(row.taken) - row.asked) / row.asked : 0;
}

std::string FormatRates(const std::vector<RateRow>& rows) {
    std::string text;
    AppendHead(text);
    for (const RateRow& row : rows) AppendRow(text, row, std::nullopt);
    return text;
}

std::string FormatSearch(const std::vector<RateRow>& rows, std::optional<uint32_t> chosen) {
    std::string text;
    AppendHead(text);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (i == kSearchEnd && rows.size() > 2 * kSearchEnd + 1) {
            const std::size_t left = rows.size() - 2 * kSearchEnd;
            text += "      ... " + FormatCount(left) + " more, none of them within 5 %\n";
            i += left;
        }
        AppendRow(text, rows[i], chosen);
    }
    if (rows.empty() || EndsSearch(rows.back())) return text;
    if (rows.back().taken == 0) text += "The port refused the last rate: give --prescaler.\n";
    const auto differs = [&rows](const RateRow& row) { return row.taken != rows.front().taken; };
    if (rows.size() > 1 && std::none_of(rows.begin(), rows.end(), differs)) {
        text += "The port reports " + FormatCount(rows.front().taken) + " whatever it is asked for.\n";
    }
    if (rows.size() > Tarnel::kMaxPrescaler) text += "No rate within 5 % was found: give --prescaler.\n";
    return text;
}

}  // namespace Korr::Plim::Trace::Tracehost
