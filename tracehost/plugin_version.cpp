#include "tracehost/plugin_version.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "version/version.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr std::size_t kLongestVersion = 64;

}  // namespace

std::string VersionIn(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
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
