// What tracehost says of each message that the plug-in can give to a host. The messages stand as the plug-in
// writes them, old misspellings included.
#include "tracehost/explanation.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kCheckPort =
    "unplug the probe and connect it again; \"tracehost doctor\" looks at the port";
constexpr const char* kTryOtherRate = "the port does not take this rate: give another --prescaler";
constexpr const char* kGiveClockAndPrescaler =
    "the port takes none of the rates that the trace clock gives: give --clock and --prescaler as the "
    "firmware has "
    "them";
constexpr const char* kGiveClock = "give --clock, the trace clock in Hz: it cannot be read from this device";
constexpr const char* kWriteNewOptions =
    "it is no options file that the plug-in takes: \"tracehost options --output FILE\" writes one";
constexpr const char* kFreeMemory = "memory ran out: end other programs";
constexpr const char* kReinstall =
    "install the host's libraries beside the plug-in anew; \"tracehost doctor\" lists them";
constexpr const char* kBoardSays = "the board file says that the target refuses this, under \"results\"";
constexpr const char* kSetUpSays =
    "the set-up file that the board file names does not say so; \"simulator/boards\" holds examples";
constexpr const char* kOutputChanged = "it was changed while the recording ran, or the disk is full";

constexpr Explanation kTable[] = {
    // Loading and making the receiver
    {"Failed to load ", true, Subject::Library, kReinstall},
    {"Failed to allocate receiver dll.", false, Subject::Nothing, kFreeMemory},
    {"Missing exports in device identifier dll", false, Subject::Nothing, kReinstall},
    {"Internal error, failed to create device identifier", false, Subject::Board,
     "the device identifier library gives none; the board file can say so, under \"device_identifier\""},
    {"Failed to create SWO receiver", false, Subject::Nothing, kFreeMemory},
    // Allocating a channel driver
    {"Cannot get target adapter factory. Bad installation.", false, Subject::Nothing, kReinstall},
    {"Cannot get target adapter for SWO receiver. Bad installation or setup.", false, Subject::Board,
     "the target adapter library gives none for this CPU; is --cpu as the board file has it?"},
    {"Internal error: Cannot get target adapter handle. Bad installation or setup.", false, Subject::Board,
     "the target adapter library gives none for this CPU; is --cpu as the board file has it?"},
    {"SWO trace is not supported by this emulator.", false, Subject::Probe,
     "the set-up file must name a Brantor or a Quiller probe; \"simulator/boards\" holds examples"},
    {"SWO trace is not supported by this device.", false, Subject::Board,
     "its \"device_identification\" must be that of a device that can send SWO"},
    {"Please check the target configuration(VELXML). Debug probe protocol must be SWD", true, Subject::Board,
     kSetUpSays},
    {"Please check the target configuration(VELXML). Debug probe protocol must be set", true, Subject::Board,
     kSetUpSays},
    {"Failed to allocated SWO channel driver", false, Subject::Nothing, kFreeMemory},
    {"Internal error creating ChannelDriver. Failed to create mutex object", false, Subject::Nothing,
     kFreeMemory},
    {"Internal error creating Channel Driver. Null parameters.", false, Subject::Nothing,
     "this is a defect of tracehost: report it"},
    // Options
    {"Internal error setting configuration.", false, Subject::Nothing,
     "this is a defect of tracehost: report it"},
    {"Undefined exception occurred while parsing emulation setup file", false, Subject::OptionsFile,
     kWriteNewOptions},
    {"RCVRNAME xml tag not found in this xml file.", true, Subject::OptionsFile, kWriteNewOptions},
    {"eerror during XML parsing", true, Subject::OptionsFile, kWriteNewOptions},
    {"error during XML initialization", true, Subject::OptionsFile, kFreeMemory},
    {"Recoverable errors were detected while parsing ", true, Subject::OptionsFile, kWriteNewOptions},
    {"SWO is not supported by the current emulator firmware.", true, Subject::OptionsFile,
     "firmware 1.0.0.5 or later is needed: give --firmware as the probe has it, or, in an options file, "
     "<RCVRFWVER>firmware 1.0.0.8</RCVRFWVER>, a word before the number"},
    {"Please specify prescalar in Receiver settings", false, Subject::OptionsFile,
     "PRESCALARVAL needs a number from 0 to 8191 when PRESCALAR is Manual"},
    {"Please specify clock frequency in Receiver Settings", false, Subject::OptionsFile,
     "CLKFREQVAL needs the trace clock in Hz when CLKFREQ is Manual"},
    {"Please specify valid COM port number in Receiver Settings", false, Subject::OptionsFile,
     "COMPORT needs the number of the probe's COM port; \"tracehost ports\" lists them"},
    {"Cannot open file for writing.", false, Subject::OutputFile, "choose another file"},
    {"Invalid options to save.", false, Subject::Nothing, "this is a defect of tracehost: report it"},
    {"No XML file specified to save options.", false, Subject::Nothing,
     "give the name of a file with --output"},
    // Trace clock
    {"Internal error: Device information could not be parsed", false, Subject::Nothing, kGiveClock},
    {"Internal error: Trace clock freq could not be deftermined for this device", false, Subject::Nothing,
     kGiveClock},
    {"Could not determine the System clock frequency automatically.", true, Subject::Nothing, kGiveClock},
    {"Invalid trace clock frequency", false, Subject::OptionsFile,
     "CLKFREQVAL needs the trace clock in Hz, above 0"},
    // Port
    {"Failed to open COM port", false, Subject::Port, kCheckPort},
    {"Failed to setup COM port communication", false, Subject::Port, kCheckPort},
    {"Failed to get COM port state", false, Subject::Port, kCheckPort},
    {"Failed to set requested COM port state", false, Subject::Port, kTryOtherRate},
    {"Failed to get programmed COM port state", false, Subject::Port, kCheckPort},
    {"Failed to calibrate prescalar automatically.", true, Subject::Port, kGiveClockAndPrescaler},
    {"Failed to configure COM port during prescalar calibration.", true, Subject::Port,
     kGiveClockAndPrescaler},
    // Capture
    {"Failed to open binary file for trace data storage", false, Subject::CaptureFile,
     "another recording of a CPU of this name may be writing it: give another --cpu, or end that recording"},
    {"Internal error creating UART data collection object", false, Subject::Nothing, kFreeMemory},
    {"Internal error creating UART data collection thread", false, Subject::Nothing,
     "no thread could be made: are there too many processes, or is there a limit (ulimit -u)?"},
    // TPIU
    {"Invalid Prescalar Value", false, Subject::Board, kBoardSays},
    {"Invalid Pin Protocol", false, Subject::Board, kBoardSays},
    {"Failed to configure timestamping resolution", false, Subject::Board, kBoardSays},
    {"Failed to program TPIU", false, Subject::Board, kBoardSays},
    {"Failed to Enable TPIU for SWO trace", false, Subject::Board, kBoardSays},
    {"Trace cannot be stopped while target is running. Please halt the target.", false, Subject::Nothing,
     "halt the target, then stop again"},
    // Saving
    {"Data cannot be saved to empty file", false, Subject::Nothing, "give the name of a file with --output"},
    {"Could not open file", true, Subject::OutputFile, kOutputChanged},
    {"File name passed to save file is not valid.", false, Subject::OutputFile, kOutputChanged},
    {"Could not open TDF file as specified.", false, Subject::OutputFile, kOutputChanged},
    {"Section header offset to save data is not valid.", false, Subject::OutputFile, kOutputChanged},
    {"No data to write TDF.", false, Subject::OutputFile, "this is a defect of the plug-in: report it"},
    {"Write error -  TDF section header size.", false, Subject::OutputFile,
     "the disk is full, or the file would exceed 4 GiB: save into another file, or with --format raw"},
    {"Write error -  TDF section name and version.", false, Subject::OutputFile, kOutputChanged},
    {"Write error - size of TDF header.", false, Subject::OutputFile, kOutputChanged},
    {"Write I/O error - unable to determine section length.", false, Subject::OutputFile, kOutputChanged},
    {"Write I/O error - unable to write section data.", false, Subject::OutputFile,
     "the disk is full, or the file would exceed 4 GiB: save into another file, or with --format raw"},
    {"Write error - section data corrupted.", false, Subject::OutputFile, kOutputChanged},
};

}  // namespace

std::span<const Explanation> Explanations() { return kTable; }

}  // namespace Korr::Plim::Trace::Tracehost
