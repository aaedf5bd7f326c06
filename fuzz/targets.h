#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

/// \file
/// The fuzz targets. Each takes any bytes and aborts, with a line on standard error, when an answer is not a
/// documented one. libFuzzer drives one of them per program (entry.cpp); an ordinary test replays all
/// corpora.

namespace fuzz {

void FuzzSetupFile(std::string_view input);       ///< target set-up data file
void FuzzItmSetup(std::string_view input);        ///< ITM channel set-up file
void FuzzTdfFile(std::string_view input);         ///< a host's TDF file that gets a section
void FuzzTdfSections(std::string_view input);     ///< a recorded file that `tracehost info` lists
void FuzzBoardFile(std::string_view input);       ///< board file of the simulated libraries
void FuzzScript(std::string_view input);          ///< `tracehost script`, through the plug-in's own code
void FuzzElfSymbols(std::string_view input);      ///< a firmware's ELF file
void FuzzItmDecoder(std::string_view input);      ///< an ITM stream
void FuzzTpiuFrames(std::string_view input);      ///< a capture of TPIU frames, or of an ITM stream
void FuzzRecordingSheet(std::string_view input);  ///< what was known when a capture was recorded
void FuzzViewRequest(std::string_view input);     ///< what a program says to the page's server
void FuzzReceiver(std::string_view input);        ///< host calls in any order, beside a model of the receiver

inline void Require(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "not a documented answer: %s\n", what.c_str());
    std::abort();
}

/// A folder of this process, deleted at its end.
class Folder {
  public:
    static Folder& Instance() {
        static Folder folder;
        return folder;
    }
    std::string Path(const std::string& name) const { return (path / name).string(); }

  private:
    Folder()
        : path(std::filesystem::temp_directory_path() /
               ("tarnel_fuzz_" + std::to_string(std::random_device{}()))) {
        std::filesystem::create_directories(path);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::filesystem::path path;
};

inline void WriteFile(const std::string& name, std::string_view content) {
    std::ofstream(name, std::ios::binary | std::ios::trunc) << content;
}

/// The first bytes of a file, at most `most`; empty when there is no such file.
inline std::string ReadFile(const std::string& name, std::uintmax_t most = 1 << 22) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(name, missing);
    std::string content(missing ? 0 : static_cast<std::size_t>(std::min(size, most)), '\0');
    std::ifstream(name, std::ios::binary).read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

}  // namespace fuzz
