#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// What a refusal can be about; decides which path and reason stand in its explanation.
enum class Subject {
    Nothing,      ///< advice alone
    Port,         ///< the COM port's device
    CaptureFile,  ///< the plug-in's own file of the captured bytes
    OptionsFile,
    OutputFile,  ///< the file that the recording is saved into
    Library,     ///< a library of the host, whose name ends the message
    Board,       ///< the board file, which tells the simulated libraries what to answer
    Probe,       ///< the library that knows the probe, and its set-up file, which the board file names
};

/// What tracehost says of one message of the plug-in.
struct Explanation {
    const char* message;  ///< the plug-in's, letter for letter; of those that vary the beginning
    bool varies;
    Subject subject;
    const char* advice;  ///< what to do when the subject itself tells nothing better
};

/// All of them; a message stands in one row.
std::span<const Explanation> Explanations();

/// What a command used. What is not known is empty.
struct Surroundings {
    std::optional<uint32_t> port;
    std::string captureFile;  ///< empty: the plug-in could not make the folder for it
    std::string optionsFile;  ///< the user's; empty when tracehost wrote one itself
    std::string outputFile;
    std::string board;
    std::string cpu;
    std::string pluginFolder;  ///< without a separator at its end
};

/// Path, reason and what to do, as in "Permission denied: /dev/ttyACM5; join the group dialout". Empty for a
/// message that stands in no row.
std::string Explain(const std::string& message, const Surroundings& used);

/// "REASON: THING; ADVICE"; parts that are empty are left out.
std::string FormatFinding(const std::string& reason, const std::string& thing, const std::string& advice);

}  // namespace Korr::Plim::Trace::Tracehost
