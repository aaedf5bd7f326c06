// The reference host: loads the plug-in and drives it through the host's interfaces alone.
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/visible_text.h"
#include "tracehost/errors.h"
#include "tracehost/program.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// One line with tracehost's name in front; what a terminal might obey is shown escaped.
int Report(const std::string& text, int status) {
    std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(text).Text());
    return status;
}

/// The plug-in's message as it stands, then each line that tracehost adds.
int ReportPlugin(const PluginError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::istringstream lines(error.Further());
    for (std::string line; std::getline(lines, line);) Report(line, kFailed);
    return kFailed;
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost

int main(int argc, char** argv) {
    using namespace Korr::Plim::Trace::Tracehost;
    OccupyStandardStreams();
    try {
        return RunProgram(argc, argv);
    } catch (const cPelkitErrorIF& error) {
        return ReportPlugin(PluginError(pelkit::TextOf(error)));
    } catch (const PluginError& error) {
        return ReportPlugin(error);
    } catch (const UsageError& error) {
        return Report(error.what(), kWrongUsage);
    } catch (const ReaderEnded&) {
        return kFailed;
    } catch (const std::exception& error) {
        return Report(error.what(), kFailed);
    } catch (...) {
        return Report("an exception of an unknown type came out of the plug-in", kFailed);
    }
}
