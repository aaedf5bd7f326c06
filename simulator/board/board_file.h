#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace Korr::Plim::Trace::Simulator {

/// What is wrong with a board file, with its path and the key.
class BoardError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A path for all CPUs, or one per CPU name. Paths are complete (see ReadBoard).
struct PathPerCpu {
    std::string common;                        ///< empty when there is none
    std::map<std::string, std::string> byCpu;  ///< CPU name to path; empty when the board names no CPU

    /// The path of a CPU: its own, else the common one; empty when there is neither.
    std::string For(const std::string& cpuName) const;
};

/// One reading of a board file: what the simulated host libraries answer.
struct Board {
    PathPerCpu setUpFile;                          ///< target set-up data
    std::optional<uint32_t> deviceIdentification;  ///< absent: nothing matches
    std::map<std::string, std::map<std::string, std::string>> deviceInformation;
    bool hasDeviceInformation = false;        ///< false: the device is not known
    std::map<uint32_t, uint32_t> memory;      ///< address to word; others read as 0
    std::map<std::string, uint32_t> results;  ///< target adapter operation to result; others give 0
    uint32_t exportStatus = 0;  ///< what GetExportStatus gives for a CPU until it is cleared for it
    bool createSetupAdapter = true;
    std::optional<std::string> initialiseError;  ///< text with which the set-up adapter refuses
    bool setupAdapterThrows = false;             ///< GetSetupFile throws
    bool createDeviceIdentifier = true;
    bool createTargetAdapter = true;  ///< the memory accessor of NewTargetAdapter
    std::string journal;              ///< file of the calls; empty: none is kept
    PathPerCpu tpiu;                  ///< state file of the simulated TPIU
    double traceClockHz = 0;          ///< the target's real trace clock; 0 when not given

    /// False when the board names its CPUs and this is none of them.
    bool KnowsCpu(const std::string& cpuName) const;
};

/// Names of the target adapter operations, the keys that "results" may hold, in slot order.
inline constexpr std::array<const char*, 10> kTargetAdapterOperations = {
    "TraceRelease",     "ProgramTpiu",     "EnableTpiu",        "TraceExportOpA",     "TraceExportOpB",
    "SetTpiuPrescaler", "GetExportStatus", "ClearExportStatus", "SetTpiuPinProtocol", "SetTimestampPrescale"};

/// Environment variable that holds the path of the board file.
inline constexpr const char* kBoardVariable = "TRACEHOST_BOARD";

/// Bytes that a board file has at most.
inline constexpr std::size_t kLargestBoardFile = std::size_t{1} << 20;

/// Reads the file as JSON. \throws BoardError when it cannot be read, is too long or is no JSON object
nlohmann::ordered_json ReadBoardText(const std::string& file);
/// Checks and understands a board. Relative paths are completed with the folder of `file`; for the files that
/// are written, journal and TPIU state, "$RUN/" at the beginning stands for RunFolder. \throws BoardError
/// that names an unknown key, or the key whose value is of the wrong form
Board ParseBoard(const nlohmann::ordered_json& text, const std::string& file);
/// Both of them.
Board ReadBoard(const std::string& file);
/// Reads the board that the environment names. \throws BoardError also when the variable is not set
Board ReadCurrentBoard();

/// `path` as it is when it is absolute or empty, else in the folder of `file`.
std::string ResolveBeside(const std::string& file, const std::string& path);
/// Folder of the files that a run of the simulated libraries writes, which exists afterwards if it can be
/// made: what the environment variable TRACEHOST_RUN_FOLDER names, else "tracehost" in XDG_RUNTIME_DIR, else
/// "tracehost-run-<user>" in the folder of temporary files. Everybody who reads the same board file for the
/// same user gets the same.
std::string RunFolder();
/// As ResolveBeside, but "$RUN/name" stands in RunFolder: for files that are written.
std::string ResolveWritten(const std::string& file, const std::string& path);
/// Reads "0x1F" or "1F" as a 32-bit number. \return nothing for any other text
std::optional<uint32_t> ParseHexadecimal(const std::string& text);
/// Replaces a file by `text` so that a reader sees the old or the new content and never a part. The new
/// content is first written into `file` + ".new". \return false when it could not be written
bool ReplaceFile(const std::string& file, const std::string& text);

}  // namespace Korr::Plim::Trace::Simulator
