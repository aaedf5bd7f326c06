#include "simulator/board/board_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "simulator/board/board_reader.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

const std::string kRun = "$RUN/";

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// The bytes of a file that may also be a pipe or a device without an end.
std::string LoadBoardFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw BoardError("board file " + file + ": cannot be opened");
    std::string text;
    std::array<char, 4096> block{};
    while (stream && text.size() <= kLargestBoardFile) {
        const std::size_t room = kLargestBoardFile + 1 - text.size();
        stream.read(block.data(), static_cast<std::streamsize>(std::min(room, block.size())));
        text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (text.size() <= kLargestBoardFile) return text;
    throw BoardError("board file " + file + ": is longer than " + std::to_string(kLargestBoardFile) +
                     " bytes");
}

}  // namespace

std::string PathPerCpu::For(const std::string& cpuName) const {
    const auto own = byCpu.find(cpuName);
    return own != byCpu.end() ? own->second : common;
}

bool Board::KnowsCpu(const std::string& cpuName) const {
    return setUpFile.byCpu.empty() || setUpFile.byCpu.count(cpuName) != 0;
}

std::string ResolveBeside(const std::string& file, const std::string& path) {
    const bool rooted = path.empty() || path[0] == '/' || path[0] == '\\';
    const bool hasDrive = path.size() > 1 && path[1] == ':';
    const size_t separator = file.find_last_of("/\\");
    if (rooted || hasDrive || separator == std::string::npos) return path;
    return file.substr(0, separator + 1) + path;
}

std::string RunFolder() {
    namespace fs = std::filesystem;
    const std::string given = Variable("TRACEHOST_RUN_FOLDER");
    const std::string runtime = Variable("XDG_RUNTIME_DIR");
    const std::string user = Variable("USER").empty() ? Variable("USERNAME") : Variable("USER");
    std::error_code ignored;
    const fs::path folder = !given.empty()     ? fs::path(given)
                            : !runtime.empty() ? fs::path(runtime) / "tracehost"
                                               : fs::temp_directory_path(ignored) / ("tracehost-run-" + user);
    fs::create_directories(folder, ignored);
    return folder.string();
}

std::string ResolveWritten(const std::string& file, const std::string& path) {
    if (path.rfind(kRun, 0) != 0) return ResolveBeside(file, path);
    return (std::filesystem::path(RunFolder()) / path.substr(kRun.size())).string();
}

std::optional<uint32_t> ParseHexadecimal(const std::string& text) {
    const bool prefixed = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const std::string digits = prefixed ? text.substr(2) : text;
    const bool fits = !digits.empty() && digits.size() <= 8;
    if (!fits || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return std::nullopt;
    return static_cast<uint32_t>(std::stoul(digits, nullptr, 16));
}

nlohmann::ordered_json ReadBoardText(const std::string& file) {
    const std::string bytes = LoadBoardFile(file);
    try {
        auto text = nlohmann::ordered_json::parse(bytes);
        if (!text.is_object()) throw BoardError("board file " + file + ": is no JSON object");
        return text;
    } catch (const nlohmann::ordered_json::exception& error) {  // a number too large is no parse_error
        throw BoardError("board file " + file + ": is no JSON: " + error.what());
    }
}

Board ParseBoard(const nlohmann::ordered_json& text, const std::string& file) {
    return BoardReader(file).Read(text);
}

Board ReadBoard(const std::string& file) { return ParseBoard(ReadBoardText(file), file); }

Board ReadCurrentBoard() {
    const char* file = std::getenv(kBoardVariable);
    if (file == nullptr || *file == '\0') {
        throw BoardError(std::string("no board file: the environment variable ") + kBoardVariable +
                         " is not set");
    }
    return ReadBoard(file);
}

}  // namespace Korr::Plim::Trace::Simulator
