#include "tracehost/explanation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "tracehost/platform_words.h"
#include "tracehost/standard_output.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// A message as the plug-in gives it, and what is said of it with nothing wrong around it. FILE stands for
/// the file that the message is about, BOARD for the board file.
struct Expected {
    const char* message;
    const char* said;
};

constexpr const char* kReinstall =
    "install the host's libraries beside the plug-in anew; \"tracehost doctor\" lists them";
constexpr const char* kMemory = "memory ran out: end other programs";
constexpr const char* kDefect = "this is a defect of tracehost: report it";
constexpr const char* kAdapter =
    "BOARD; the target adapter library gives none for this CPU; is --cpu as the board file has it?";
constexpr const char* kSetUp =
    "BOARD; the set-up file that the board file names does not say so; \"simulator/boards\" holds examples";
constexpr const char* kNewOptions =
    "FILE; it is no options file that the plug-in takes: \"tracehost options --output FILE\" writes one";
constexpr const char* kClock = "give --clock, the trace clock in Hz: it cannot be read from this device";
constexpr const char* kPort =
    "FILE; unplug the probe and connect it again; \"tracehost doctor\" looks at the port";
constexpr const char* kRates =
    "FILE; the port takes none of the rates that the trace clock gives: give --clock and --prescaler as the "
    "firmware "
    "has them";
constexpr const char* kBoard = "BOARD; the board file says that the target refuses this, under \"results\"";
constexpr const char* kChanged = "FILE; it was changed while the recording ran, or the disk is full";
constexpr const char* kFull =
    "FILE; the disk is full, or the file would exceed 4 GiB: save into another file, or with --format raw";

const Expected kExpected[] = {
    {"Failed to load pelkit", kReinstall},  // but for the library's name
    {"Failed to allocate receiver dll.", kMemory},
    {"Missing exports in device identifier dll", kReinstall},
    {"Internal error, failed to create device identifier",
     "BOARD; the device identifier library gives none; the board file can say so, under "
     "\"device_identifier\""},
    {"Failed to create SWO receiver", kMemory},
    {"Cannot get target adapter factory. Bad installation.", kReinstall},
    {"Cannot get target adapter for SWO receiver. Bad installation or setup.", kAdapter},
    {"Internal error: Cannot get target adapter handle. Bad installation or setup.", kAdapter},
    {"SWO trace is not supported by this emulator.",
     "FILE; the set-up file must name a Brantor or a Quiller probe; \"simulator/boards\" holds examples"},
    {"SWO trace is not supported by this device.",
     "BOARD; its \"device_identification\" must be that of a device that can send SWO"},
    {"Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port "
     "connected to TDO.",
     kSetUp},
    {"Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n 1. 2-pin "
     "CJTAG with "
     "Aux COM port connected to target TDO or UART pin.\n 1. 4-pin CJTAG with Aux COM port connected to "
     "target UART pin.",
     kSetUp},
    {"Failed to allocated SWO channel driver", kMemory},
    {"Internal error creating ChannelDriver. Failed to create mutex object", kMemory},
    {"Internal error creating Channel Driver. Null parameters.", kDefect},
    {"Internal error setting configuration.", kDefect},
    {"Undefined exception occurred while parsing emulation setup file", kNewOptions},
    {"RCVRNAME xml tag not found in this xml file.\nIf this file was created with Trace V1.0, then please "
     "recreate",
     kNewOptions},
    {"eerror during XML parsingof something", kNewOptions},
    {"error during XML initializationof something", "FILE; memory ran out: end other programs"},
    {"Recoverable errors were detected while parsing swo.xml", kNewOptions},
    {"SWO is not supported by the current emulator firmware. Update the firmware to the latest version "
     "(check with your "
     "emulator's vendor for details)",
     "FILE; firmware 1.0.0.5 or later is needed: give --firmware as the probe has it, or, in an options "
     "file, "
     "<RCVRFWVER>firmware 1.0.0.8</RCVRFWVER>, a word before the number"},
    {"Please specify prescalar in Receiver settings",
     "FILE; PRESCALARVAL needs a number from 0 to 8191 when PRESCALAR is Manual"},
    {"Please specify clock frequency in Receiver Settings",
     "FILE; CLKFREQVAL needs the trace clock in Hz when CLKFREQ is Manual"},
    {"Please specify valid COM port number in Receiver Settings",
     "FILE; COMPORT needs the number of the probe's COM port; \"tracehost ports\" lists them"},
    {"Cannot open file for writing.", "FILE; choose another file"},
    {"Invalid options to save.", kDefect},
    {"No XML file specified to save options.", "give the name of a file with --output"},
    {"Internal error: Device information could not be parsed", kClock},
    {"Internal error: Trace clock freq could not be deftermined for this device", kClock},
    {"Could not determine the System clock frequency automatically. Please set it manually in the receiver "
     "properties.",
     kClock},
    {"Invalid trace clock frequency", "FILE; CLKFREQVAL needs the trace clock in Hz, above 0"},
    {"Failed to open COM port", kPort},
    {"Failed to setup COM port communication", kPort},
    {"Failed to get COM port state", kPort},
    {"Failed to set requested COM port state",
     "FILE; the port does not take this rate: give another --prescaler"},
    {"Failed to get programmed COM port state", kPort},
    {"Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings",
     kRates},
    {"Failed to configure COM port during prescalar calibration. Please set prescalar manually in Receiver "
     "settings",
     kRates},
    {"Failed to open binary file for trace data storage",
     "FILE; another recording of a CPU of this name may be writing it: give another --cpu, or end that "
     "recording"},
    {"Internal error creating UART data collection object", kMemory},
    {"Internal error creating UART data collection thread",
     "no thread could be made: are there too many processes, or is there a limit (ulimit -u)?"},
    {"Invalid Prescalar Value", kBoard},
    {"Invalid Pin Protocol", kBoard},
    {"Failed to configure timestamping resolution", kBoard},
    {"Failed to program TPIU", kBoard},
    {"Failed to Enable TPIU for SWO trace", kBoard},
    {"Trace cannot be stopped while target is running. Please halt the target.",
     "halt the target, then stop again"},
    {"Data cannot be saved to empty file", "give the name of a file with --output"},
    {"Could not open fileNo such file or directory", kChanged},
    {"File name passed to save file is not valid.", kChanged},
    {"Could not open TDF file as specified.", kChanged},
    {"Section header offset to save data is not valid.", kChanged},
    {"No data to write TDF.", "FILE; this is a defect of the plug-in: report it"},
    {"Write error -  TDF section header size.", kFull},
    {"Write error -  TDF section name and version.", kChanged},
    {"Write error - size of TDF header.", kChanged},
    {"Write I/O error - unable to determine section length.", kChanged},
    {"Write I/O error - unable to write section data.", kFull},
    {"Write error - section data corrupted.", kChanged},
};

const Explanation* RowOf(const std::string& message) {
    const auto table = Explanations();
    const auto found = std::find_if(table.begin(), table.end(), [&](const Explanation& row) {
        return row.varies ? message.starts_with(row.message) : message == row.message;
    });
    return found != table.end() ? &*found : nullptr;
}

class ExplanationTest : public testing::Test {
  protected:
    ExplanationTest() {
        used.captureFile = used.optionsFile = used.outputFile = folder.Write("file", "");
        folder.Write("set-up.txt", "$ brantor\n");
        used.board = folder.Write("board.json", R"({"set_up_file": "set-up.txt"})");
        used.cpu = "board/cpu";
        used.pluginFolder = ProgramFolder();
    }

    TemporaryFolder folder;
    Surroundings used;
};

/// The file that an explanation names, by its subject.
std::string FileOf(Subject subject, const TemporaryFolder& folder) {
    return folder.Path(subject == Subject::Probe ? "set-up.txt" : "file");
}

std::string Filled(std::string text, const std::string& word, const std::string& value) {
    const std::size_t start = text.find(word + ";");
    return start == std::string::npos ? text : text.replace(start, word.size(), value);
}

TEST_F(ExplanationTest, EveryRowIsSaid) {
    std::set<const Explanation*> shown;
    for (const Expected& expected : kExpected) {
        const Explanation* const row = RowOf(expected.message);
        ASSERT_NE(row, nullptr) << expected.message;
        EXPECT_TRUE(shown.insert(row).second) << expected.message;
        std::string said = Filled(expected.said, "FILE", FileOf(row->subject, folder));
        said = Filled(said, "BOARD", used.board);
        if (row->subject == Subject::Library) said = "pelkit; " + said;
        if (row->subject == Subject::Port) said = std::string(expected.said).substr(6);  // no port is known
        EXPECT_EQ(Explain(expected.message, used), said);
    }
    EXPECT_EQ(shown.size(), Explanations().size()) << "a row without a test";
}

TEST_F(ExplanationTest, MessageOfNoRowIsLeftAlone) {
    EXPECT_EQ(Explain("something else", used), "");
    EXPECT_EQ(Explain("Failed to open COM port, or so", used), "");
    EXPECT_EQ(Explain("", used), "");
}

TEST_F(ExplanationTest, ReasonComesFirstWhenTheFileTellsOne) {
    used.optionsFile = folder.Path("none.xml");
    EXPECT_EQ(Explain("Undefined exception occurred while parsing emulation setup file", used).substr(0, 40),
              ErrorWords(ENOENT).append(": " + used.optionsFile).substr(0, 40));
    used.outputFile = folder.Path("none/o.tdf");
    const std::string said = Explain("Could not open TDF file as specified.", used);
    EXPECT_TRUE(said.ends_with(": " + used.outputFile + "; is its folder there, and may you write into it?"))
        << said;
}

TEST_F(ExplanationTest, LibraryThatDoesNotLoadIsToldInTheLoadersWords) {
    const std::string said = Explain("Failed to load Nowhere", used);
    EXPECT_NE(said.find("Nowhere; "), std::string::npos) << said;
    EXPECT_EQ(said.substr(0, said.find(": Nowhere; ")), LoaderWords("Nowhere", used.pluginFolder));
    EXPECT_FALSE(LoaderWords("Nowhere", used.pluginFolder).empty());
}

TEST_F(ExplanationTest, UnknownHomeIsTold) {
    used.captureFile.clear();
    const std::string message = "Failed to open binary file for trace data storage";
    SetProcessVariable("USERPROFILE", folder.Path("file/home").c_str());
    const std::string said = Explain(message, used);
    EXPECT_NE(said.find(folder.Path("file/home") + "; captures go below the user's home"), std::string::npos)
        << said;
    SetProcessVariable("USERPROFILE", "");
    SetProcessVariable("HOME", "");
    EXPECT_EQ(Explain(message, used).find("captures go below the user's home, which is not known: set "), 0U);
}

TEST_F(ExplanationTest, ProbeWithoutASetUpFileIsTold) {
    const std::string message = "SWO trace is not supported by this emulator.";
    used.board = folder.Write("bare.json", "{}");
    EXPECT_EQ(Explain(message, used), used.board + "; it names no \"set_up_file\" for the CPU board/cpu");
    used.board = folder.Write("other.json", R"({"set_up_file": "none.txt"})");
    const std::string said = Explain(message, used);
    EXPECT_NE(said.find(": " + folder.Path("none.txt") + "; the set-up file must name"), std::string::npos)
        << said;
}

TEST(FormatFinding, LeavesOutWhatIsEmpty) {
    EXPECT_EQ(FormatFinding("Permission denied", "/dev/ttyACM5", "join the group dialout"),
              "Permission denied: /dev/ttyACM5; join the group dialout");
    EXPECT_EQ(FormatFinding("", "x", "y"), "x; y");
    EXPECT_EQ(FormatFinding("why", "", "y"), "why; y");
    EXPECT_EQ(FormatFinding("", "", "y"), "y");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
