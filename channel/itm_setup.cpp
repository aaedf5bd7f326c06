#include "channel/itm_setup.h"

#include <algorithm>
#include <cstdio>

#include "channel/channel_log.h"
#include "channel/text_numbers.h"
#include "source_utilities/file_stream.h"
#include "source_utilities/visible_text.h"
#include "uart/device_clock_readers.h"

using KORR_PLIM::FileStream;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::OpenStream;
using KORR_PLIM::Visible;

namespace Korr::Plim::Trace::Tarnel {
namespace {

// Takes lines in file order and keeps those that carry the expected channel.
class ItmTable {
  public:
    ItmTable() { types.fill(kItmTypeNotSet); }

    void Take(const std::string& line) {
        const ItmLine entry = ParseItmLine(line);
        if (entry.channel != expected) {
            LogError("%s: Read channel number %d instead of expected channel number %d", kChannelDriverTag,
                     entry.channel, static_cast<int32_t>(expected));
            return;
        }
        if (expected < kItmChannels) types[static_cast<std::size_t>(expected)] = entry.type;
        ++expected;
    }
    const ItmTypes& Types() const { return types; }

  private:
    ItmTypes types;
    int64_t expected = 0;
};

constexpr std::size_t kLongestLine = 1 << 20;  // what follows in a longer line is ignored

void AppendBounded(std::string& line, const char* from, const char* end) {
    const std::size_t room = kLongestLine - line.size();
    line.append(from, std::min(room, static_cast<std::size_t>(end - from)));
}

// Opening a file does not yet say that the disk gives its bytes.
bool IsReadable(std::FILE* stream) {
    const int first = std::getc(stream);
    if (first == EOF) return std::ferror(stream) == 0;
    std::ungetc(first, stream);
    return true;
}

// Hands every line of a stream, without its line feed, to the table.
void ReadLines(std::FILE* stream, ItmTable& table) {
    std::array<char, 4096> block;
    std::string line;
    bool lineBegun = false;
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), stream)) {
        for (const char *from = block.data(), *end = from + size; from != end;) {
            const char* lineEnd = std::find(from, end, '\n');
            AppendBounded(line, from, lineEnd);
            lineBegun = lineEnd == end;
            if (lineBegun) break;
            table.Take(line);
            line.clear();
            from = lineEnd + 1;
        }
    }
    if (lineBegun) table.Take(line);
}

ItmTypes LegacyMapping(const std::string& fileName) {
    LogMessage(kLogOrdinary,
               "%s: Could not find/open file (%s) to get ITM channel setup. Setting up legacy mapping.",
               kChannelDriverTag, Visible(fileName).Text());
    return {1};
}

}  // namespace

ItmLine ParseItmLine(const std::string& line) {
    const std::size_t equals = line.find('=');
    const std::string key = line.substr(0, equals);
    const std::string type = equals == std::string::npos ? line : line.substr(equals + 1);
    const std::size_t mark = key.find('_');
    const std::string channel = mark == std::string::npos ? key : key.substr(mark + 1);
    return {ParseInteger(channel.c_str()), ParseInteger(type.c_str())};
}

ItmTypes ReadItmTypes(const std::string& fileName) {
    const FileStream stream = OpenStream(fileName.c_str(), "r");
    if (stream == nullptr || !IsReadable(stream.get())) return LegacyMapping(fileName);
    LogMessage(kLogOrdinary, "%s: Opened file (%s) to get ITM channel setup.", kChannelDriverTag,
               Visible(fileName).Text());
    ItmTable table;
    ReadLines(stream.get(), table);
    return table.Types();
}

const char* GlintarExceptionMap(uint32_t deviceClass) {
    return IsRimefoldClass(deviceClass) ? "MOD_EXCEPTIONMAP_129" : "MOD_EXCEPTIONMAP_123";
}

}  // namespace Korr::Plim::Trace::Tarnel
