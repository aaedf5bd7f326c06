#include "tests/faults/recording_files.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "source_utilities/uLogManager.h"

namespace fault_tests {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

namespace {

/// A log line without its time, with the home's name as "HOME" and paths as on Linux.
std::string Masked(const std::string& line, std::size_t mask, std::size_t bar) {
    std::string text = line.substr(mask, 1) + " " + line.substr(bar + 2);
    std::replace(text.begin(), text.end(), '\\', '/');
    const std::size_t home = text.find(Home().string());
    return home == std::string::npos ? text : text.replace(home, Home().string().size(), "HOME");
}

std::string LastLine(const std::string& text) {
    const std::size_t end = text.find_last_not_of("\r\n");
    return text.substr(text.rfind('\n', end) + 1);
}

}  // namespace

const fs::path& Home() {
    struct Folder {
        fs::path path = "tarnel_faults_" + std::to_string(std::random_device{}());
        Folder() {
            fs::current_path(fs::temp_directory_path());
            fs::create_directories(path / ".KORR-trace" / "data");
        }
        ~Folder() {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    };
    static const Folder home;
    return home.path;
}

std::map<fs::path, std::string> Logs() {
    std::map<fs::path, std::string> logs;
    for (const auto& entry : fs::directory_iterator(Home() / ".KORR-trace")) {
        if (entry.is_regular_file()) logs[entry.path()] = ContentOf(entry.path());
    }
    return logs;
}

void CloseLog() {
    if (KORR_PLIM::uLogger* const logger = KORR_PLIM::uLogManager::Instance().CurrentLogger()) {
        logger->SetEnabled(logger->SetEnabled(false));
    }
}

int OpenStreams() {
    constexpr int kNumbers = 16;
    int open = kNumbers;
    std::vector<std::FILE*> probes;
    do {
        probes.push_back(std::fopen((Home() / "probe").string().c_str(), "w"));
        open -= fileno(probes.back()) < kNumbers ? 1 : 0;
    } while (fileno(probes.back()) < kNumbers - 1);
    for (std::FILE* probe : probes) std::fclose(probe);
    return open;
}

void Write(const fs::path& name, const std::string& content) {
    std::ofstream(name, std::ios::binary | std::ios::trunc) << content;
}

void AddFailures(const std::string& text, Strings& failures) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const std::size_t bar = line.find("| ");
        const std::size_t mask = line.find_first_not_of(' ');
        if (bar == std::string::npos || mask > bar) continue;
        const bool failure = line[mask] == 'E' || line.find("failed") != std::string::npos;
        if (failure) failures.push_back(Masked(line, mask, bar));
    }
}

Strings LogDifferences(const std::map<std::string, std::string>& written, const Strings& lines,
                       const std::string& last) {
    if (written.empty()) return {"log: none"};
    Strings differences;
    if (written.size() > 1 || written.count(kUsualLog) == 0) {
        for (const auto& [name, text] : written) differences.push_back("log: " + name);
    }
    const auto expect = [&](const std::string& line, auto isThere) {
        if (std::none_of(written.begin(), written.end(),
                         [&](const auto& log) { return isThere(log.second); })) {
            differences.push_back("log: without " + line);
        }
    };
    for (const std::string& line : lines) {
        expect(line, [&](const std::string& text) { return text.find("| " + line) != std::string::npos; });
    }
    if (!last.empty()) {
        expect(last, [&](const std::string& text) {
            return LastLine(text).find("| " + last) != std::string::npos;
        });
    }
    return differences;
}

std::string ContentOf(const fs::path& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace fault_tests
