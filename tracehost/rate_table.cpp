#include "tracehost/rate_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tracehost/errors.h"
#include "tracehost/explanation.h"
#include "tracehost/human_numbers.h"
#include "tracehost/port_access.h"
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

const char* Judgement(const RateRow& row) {
    if (row.taken == 0) return "refused";
    return std::abs(RateError(row)) <= kRateTolerance ? "" : "another rate taken without a word";
}

}  // namespace

std::vector<RateRow> AskRates(uint32_t port, double clock, uint32_t from, uint32_t to) {
    OpenPort open(port);
    std::vector<RateRow> rows;
    for (uint32_t prescaler = from; prescaler <= to; ++prescaler) {
        const double asked = clock / (prescaler + 1);
        const double baud = std::clamp(std::floor(asked), 0.0, static_cast<double>(UINT32_MAX));
        rows.push_back({prescaler, asked, baud < 1 ? 0 : open.Ask(static_cast<uint32_t>(baud))});
    }
    return rows;
}

double RateError(const RateRow& row) {
    return row.asked > 0 ? (static_cast<double>(row.taken) - row.asked) / row.asked : 0;
}

std::string FormatRates(const std::vector<RateRow>& rows, std::optional<uint32_t> chosen) {
    char line[160];
    std::snprintf(line, sizeof line, "%9s %14s %14s %10s\n", "prescaler", "rate asked", "rate taken",
                  "error");
    std::string text = line;
    for (const RateRow& row : rows) {
        std::snprintf(line, sizeof line, "%9u %14s %14s %8.2f %%  %s", row.prescaler,
                      FormatCount(static_cast<uint64_t>(std::llround(row.asked))).c_str(),
                      FormatCount(row.taken).c_str(), 100 * RateError(row), Judgement(row));
        text += line;
        if (chosen == row.prescaler) text += "<- taken by auto";
        text.erase(text.find_last_not_of(' ') + 1);
        text += "\n";
    }
    return text;
}

}  // namespace Korr::Plim::Trace::Tracehost
