#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trace/port_values.h"
#include "trace/text_lines.h"
#include "tracehost/fail_on.h"
#include "tracehost/plugin.h"

namespace Korr::Plim::Trace::Tracehost {

/// What the user asked "tracehost record" for. Texts are empty when not given.
struct RecordRequest {
    std::string board;
    std::string cpu = "board/cpu";
    std::string options;  ///< options file; excludes the five settings below
    std::optional<uint32_t> port;
    std::optional<double> clock;        ///< Hz; absent: read from the device
    std::optional<uint32_t> prescaler;  ///< 0 to 8191; absent: found by trying
    uint32_t timestampPrescale = 4;
    std::string firmware = "1.0.0.8";  ///< the probe's firmware version, for the plug-in's rules
    std::optional<double> seconds;
    std::optional<uint64_t> bytes;
    std::string output;                 ///< "-": standard output
    std::string format;                 ///< "tdf" or "raw"; empty: the output's name decides
    bool force = false;                 ///< replace an existing file
    bool quiet = false;                 ///< neither progress nor summary
    bool json = false;                  ///< an object in place of the summary; progress on standard error
    std::optional<double> waitForPort;  ///< seconds that the port may take to come
    bool reconnect = false;             ///< go on when a port that went away is back
    bool demo = false;
    bool explain = false;                ///< show the search for the prescaler
    std::optional<Swo::Ports> print;     ///< stimulus ports whose text is printed while recording
    std::optional<uint8_t> counterPort;  ///< that the firmware counts up
    bool view = false;                   ///< show it in the browser meanwhile
    bool noBrowser = false;              ///< of a view: tell its address alone
    std::string elf;                     ///< of a view: file of the firmware
    Swo::PortFormats portFormats;        ///< of a view: types and names of stimulus ports
    std::optional<uint16_t> tcpPort;     ///< of 127.0.0.1, where programs get the bytes; 0: any that is free
    FailOn failOn = FailOn::Line;
    std::string plugin = kDefaultPlugin;
};

}  // namespace Korr::Plim::Trace::Tracehost
