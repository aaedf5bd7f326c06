#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "viewer/feed.h"

namespace views {

/// A text as stimulus port 0 says it, a byte a packet.
inline std::vector<uint8_t> Said(const std::string& text) {
    std::vector<uint8_t> bytes;
    for (const char letter : text) bytes.insert(bytes.end(), {0x01, static_cast<uint8_t>(letter)});
    return bytes;
}

/// A capture that begins with a synchronisation.
inline std::vector<uint8_t> CaptureOf(const std::string& text) {
    std::vector<uint8_t> bytes = {0, 0, 0, 0, 0, 0x80};
    const std::vector<uint8_t> said = Said(text);
    bytes.insert(bytes.end(), said.begin(), said.end());
    return bytes;
}

/// Waits until something holds, at most 20 seconds. \return whether it does
inline bool Soon(const std::function<bool()>& holds) {
    for (int i = 0; i < 4000; ++i) {
        if (holds()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

/// The lines of port 0 as a feed tells them, or why it does not.
inline std::string LinesOf(const Korr::Plim::Trace::Viewer::Feed& feed) {
    try {
        return feed.Text({0, 0, 100});
    } catch (const std::exception& failure) {
        return failure.what();
    }
}
inline bool HasLine(const Korr::Plim::Trace::Viewer::Feed& feed, const std::string& line) {
    return LinesOf(feed).find("\"text\":\"" + line + "\"") != std::string::npos;
}

/// Threads of this program; absent where the system does not tell.
inline std::optional<std::ptrdiff_t> Threads() {
    std::error_code failure;
    const std::filesystem::directory_iterator first("/proc/self/task", failure);
    if (failure) return std::nullopt;
    return std::distance(begin(first), end(first));
}

/// Files of one test.
class Folder {
  public:
    Folder() {
        std::random_device random;
        path = std::filesystem::temp_directory_path() / ("tarnel-views-" + std::to_string(random()));
        std::filesystem::create_directories(path);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const std::string& name) const { return (path / name).string(); }
    /// Puts bytes into a file, behind what is there when told so. \return its path
    std::string Put(const std::string& name, std::span<const uint8_t> bytes, bool behind = false) const {
        std::ofstream file(path / name, std::ios::binary | (behind ? std::ios::app : std::ios::trunc));
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return Path(name);
    }
    /// Nobody has written the file for long.
    void MakeOld(const std::string& name) const {
        std::filesystem::last_write_time(
            path / name, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }

  private:
    std::filesystem::path path;
};

}  // namespace views
