#include "tracehost/recording_summary.h"

#include <algorithm>
#include <cmath>

#include "source_utilities/visible_text.h"
#include "tracehost/number_option.h"
#include "tracehost/progress.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using KORR_PLIM::Visible;

const char* Count(const RecordingResult& result) { return result.parts.size() == 1 ? "" : " in all"; }

std::string Kind(const OutputFile& file) {
    if (file.IsStream()) return "raw, as it came";
    return file.Raw() ? "raw" : "TDF, section \"BinTraceData\"";
}

/// "3.2 s and 12345 bytes".
std::string Extent(double seconds, uint64_t bytes) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f s and ", seconds);
    return text + std::to_string(bytes) + " bytes";
}

/// The stretches between which the port was away.
void PrintParts(std::FILE* output, const RecordingResult& result) {
    const std::size_t away = result.TimesAway();
    if (away == 0) return;
    std::fprintf(output, "The port went away %zu time(s); what the target sent meanwhile is lost:\n", away);
    std::size_t number = 0;
    for (const RecordedPart& part : result.parts) {
        std::fprintf(output, "  part %zu  %.1f s to %.1f s  %llu bytes in %s%s%s\n", ++number, part.begin,
                     part.end, static_cast<unsigned long long>(part.bytes), Visible(part.file).Text(),
                     part.fault.empty() ? "" : ", then ", Visible(part.fault).Text());
    }
}

}  // namespace

uint32_t RecordingResult::Prescaler() const {
    return bitRate > 0 ? static_cast<uint32_t>(std::max(std::round(traceClock / bitRate) - 1, 0.0)) : 0;
}

std::size_t RecordingResult::TimesAway() const {
    const auto faults =
        std::count_if(parts.begin(), parts.end(), [](const RecordedPart& part) { return part.portFault; });
    const bool endedBySuch = CutShort() && !parts.empty() && parts.back().portFault;
    return static_cast<std::size_t>(faults) - (endedBySuch ? 1 : 0);
}

std::string RecordingResult::CutShortSentence() const {
    return "the recording was cut short after " + Extent(seconds, bytes) + ": " +
           (parts.empty() ? std::string() : parts.back().fault);
}

std::string RecordingResult::AwaySentence() const {
    const RecordedPart& first = parts.front();  // only after such an end a recording goes on
    return "trace was lost while the port was away " + std::to_string(TimesAway()) +
           " time(s), first after " + Extent(first.end, first.bytes) + ": " + first.fault;
}

void PrintSummary(std::FILE* output, const RecordRequest& request, const OutputFile& file,
                  const RecordingResult& result) {
    const double rate = result.seconds > 0 ? static_cast<double>(result.bytes) / result.seconds : 0;
    std::fprintf(output, "\nRecorded %llu bytes in %.1f s (%s/s)%s\n",
                 static_cast<unsigned long long>(result.bytes), result.seconds, FormatBytes(rate).c_str(),
                 Count(result));
    std::fprintf(output, "  CPU           %s\n", Visible(request.cpu).Text());
    std::fprintf(output, "  trace clock   %s MHz\n", FormatExact(result.traceClock / 1e6).c_str());
    std::fprintf(output, "  prescaler     %u\n", result.Prescaler());
    std::fprintf(output, "  baud rate     %.0f\n", result.bitRate);
    if (!result.parts.empty()) {
        std::fprintf(output, "  capture file  %s\n", Visible(result.parts.back().captureFile).Text());
        std::fprintf(output, "  saved         %s (%s)\n", Visible(result.parts.back().file).Text(),
                     Kind(file).c_str());
    }
    PrintParts(output, result);
    if (result.lostBytes > 0) {
        std::fprintf(output,
                     "  dropped       %llu bytes, by the simulated probe: its port was not read in time\n",
                     static_cast<unsigned long long>(result.lostBytes));
    }
    if (result.reason == EndReason::ReaderGone) {
        std::fprintf(output, "The reader of \"%s\" closed it: the recording ended there.\n",
                     Visible(file.Name()).Text());
    }
    if (result.bytes == 0) {
        std::fprintf(output,
                     "Nothing was received: does the target run, is its SWO pin switched on and connected, "
                     "and do trace clock and prescaler fit?\n");
    }
}

void PrintTcpClients(std::FILE* output, const TcpClients& clients) {
    std::fprintf(output, "  tcp           127.0.0.1:%u, %llu client(s)", clients.port,
                 static_cast<unsigned long long>(clients.served));
    if (clients.cutOff > 0) {
        std::fprintf(output, ", %llu cut off: they read too slowly",
                     static_cast<unsigned long long>(clients.cutOff));
    }
    if (clients.turnedAway > 0) {
        std::fprintf(output, ", %llu turned away: %zu at once are served",
                     static_cast<unsigned long long>(clients.turnedAway), TcpOutput::kMostClients);
    }
    std::fputc('\n', output);
}

}  // namespace Korr::Plim::Trace::Tracehost
