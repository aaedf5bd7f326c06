#include "tracehost/source_lines.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <span>

#include "exports/names.h"
#include "tracehost/child_process.h"
#include "tracehost/errors.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr std::size_t kBatch = 500;  // addresses: a command line is limited
constexpr std::chrono::seconds kLongest{120};

/// Empty when there is none.
std::string LineReader() {
    for (const char* const name : {"arm-none-eabi-addr2line", "llvm-addr2line", "addr2line"}) {
        std::string path = FindProgram(name);
        if (!path.empty()) return path;
    }
    return {};
}

std::string FindReader() {
    std::string path = LineReader();
    if (!path.empty()) return path;
    throw HostError(
        "source lines take arm-none-eabi-addr2line, llvm-addr2line or addr2line, and none is in the PATH: "
        "install one, or take --by function");
}

/// "main.c:12" of "/src/main.c:12 (discriminator 3)"; empty where none is known.
std::string CleanLine(std::string line) {
    if (line.ends_with('\r')) line.pop_back();
    line.resize(std::min(line.find(" (discriminator"), line.size()));
    const bool isUnknown = line.starts_with("??") || line.ends_with(":?") || line.ends_with(":0");
    return isUnknown ? "" : line;
}

void Ask(const std::string& reader, const std::string& elf, std::span<const uint32_t> addresses,
         const std::string& answers, std::map<uint32_t, std::string>& lines) {
    std::vector<std::string> words{reader, "-e", elf};
    for (const uint32_t address : addresses) words.push_back(Exports::HexadecimalText(address));
    const ChildEnd end = RunChild(words, kLongest, answers);
    std::ifstream file(answers, std::ios::binary);
    std::string line;
    std::string first;
    std::size_t count = 0;
    while (std::getline(file, line)) {
        if (count == 0) first = line;
        if (count < addresses.size()) {
            const std::string known = CleanLine(line);
            if (!known.empty()) lines[addresses[count]] = known;
        }
        ++count;
    }
    const bool isWhole = count == addresses.size();
    if (end.kind == ChildEnd::Kind::Exited && end.status == 0 && isWhole) return;
    const std::string why = end.kind == ChildEnd::Kind::TimedOut ? "it does not come to an end"
                            : !end.words.empty()                 ? end.words
                            : end.status != 0                    ? first
                                                                 : "its answer is not understood";
    throw HostError("\"" + reader + "\" tells no source lines of \"" + elf + "\": " + why);
}

}  // namespace

bool HasLineReader() { return !LineReader().empty(); }

std::map<uint32_t, std::string> FindSourceLines(const std::string& elf,
                                                const std::vector<uint32_t>& addresses) {
    const std::string reader = FindReader();
    const TemporaryFolder folder;
    std::map<uint32_t, std::string> lines;
    for (std::size_t at = 0; at < addresses.size(); at += kBatch) {
        const auto batch = std::span(addresses).subspan(at, std::min(kBatch, addresses.size() - at));
        Ask(reader, elf, batch, folder.Path("lines"), lines);
    }
    return lines;
}

}  // namespace Korr::Plim::Trace::Tracehost
