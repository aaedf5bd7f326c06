#include "tracehost/plugin_version.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "version/version.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr std::size_t kLongestVersion = 64;
constexpr uint64_t kLongestModule = uint64_t{1} << 30;  // bytes

}  // namespace

std::string VersionIn(const std::string& file) {
    std::error_code failure;
    const auto size = std::filesystem::file_size(file, failure);
    if (failure || size > kLongestModule) return {};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::ifstream(file, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const std::size_t mark = bytes.find(kVersionMark);
    if (mark == std::string::npos) return {};
    const std::string text = bytes.substr(mark + sizeof kVersionMark - 1, kLongestVersion);
    const auto isShown = [](char character) { return character >= ' ' && character <= '~'; };
    return {text.begin(), std::find_if_not(text.begin(), text.end(), isShown)};
}

std::string VersionReport(const std::string& plugin) {
    const std::string own = std::string("tracehost ") + VersionText() + "\nplug-in   ";
    try {
        const std::string file = Plugin(plugin).File();
        const std::string version = VersionIn(file);
        return own + (version.empty() ? "of unknown version" : version) + ", " + file;
    } catch (const HostError& error) {
        return own + error.what();
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
