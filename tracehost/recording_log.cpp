#include "tracehost/recording_log.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/trace_folders.h"
#include "tracehost/log_space.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;
using KORR_PLIM::platform::GetVariable;

namespace {

constexpr const char* kHome = "USERPROFILE";
constexpr const char* kLevel = "KORR_TRACE_LOGGING";
constexpr const char* kClient = "KORR_TRACE_DEBUGCLIENT_PID";
constexpr std::array kFolders = {"KORR_TRACE_LOGGING_DIR", "KORR_TRACE_DATA_DIR", "KORR_TRACE_SETTINGS_DIR"};
constexpr std::size_t kErrorMark = 4;  // column of the "E" of an error line
constexpr const char* kEndOfTime = " | ";

/// Whether the plug-in would write a log, by its own reading of the level.
bool WantsLog(const std::string& level) {
    const long value = std::strtol(level.c_str(), nullptr, 10);
    return value >= 1 && value <= 6;
}

/// An empty value unsets the variable.
void Restore(const char* name, const std::string& value) {
    if (value.empty()) {
        ClearProcessVariable(name);
    } else {
        SetProcessVariable(name, value.c_str());
    }
}

/// Publishes the three folders of the user's home as the plug-in does. \return false when they cannot be made
bool PublishUserFolders() {
    try {
        std::string logging;
        std::string data;
        std::string settings;
        KORR_PLIM::GetLoggingFolder(logging);
        KORR_PLIM::GetDataFolder(data);
        KORR_PLIM::GetSettingsFolder(settings);
        for (const std::string& folder : {logging, data, settings}) {
            if (!KORR_PLIM::CreateFolderTree(folder)) return false;
        }
        SetProcessVariable(kFolders[0], logging.c_str());
        SetProcessVariable(kFolders[1], data.c_str());
        SetProcessVariable(kFolders[2], settings.c_str());
        return true;
    } catch (const KORR_PLIM::source_utilities_error&) {
        return false;  // no home
    }
}

/// The text of a log line when it tells an error, else empty.
std::string ErrorText(const std::string& line) {
    if (line.size() <= kErrorMark || line[kErrorMark] != 'E') return {};
    const std::size_t end = line.find(kEndOfTime);
    return end != std::string::npos ? line.substr(end + std::char_traits<char>::length(kEndOfTime))
                                    : std::string();
}

}  // namespace

void RecordingLog::BeforeTheReceiver() {
    userLevel = GetVariable(kLevel);
    userHome = GetVariable(kHome);
    isPrivate = !WantsLog(userLevel);
    if (!isPrivate) return;
    for (const char* name : kFolders) userFolders.push_back(GetVariable(name));
    SetProcessVariable(kHome, home.c_str());
    SetProcessVariable(kLevel, "1");
}

void RecordingLog::AfterTheReceiver() {
    FindFile(GetVariable(kFolders[0]));
    if (!isPrivate) return;
    Restore(kHome, userHome);
    Restore(kLevel, userLevel);
    if (PublishUserFolders()) return;
    for (std::size_t i = 0; i < kFolders.size(); ++i) Restore(kFolders[i], userFolders[i]);
}

/// The name holds the debug client's id and a date.
void RecordingLog::FindFile(const std::string& folder) {
    const std::string end = "_" + GetVariable(kClient) + ".txt";
    fs::file_time_type newest{};
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure), none; !failure && entry != none;
         entry.increment(failure)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        const fs::file_time_type time = entry->last_write_time(ignored);
        if (!name.starts_with("korr_trace_log_") || !name.ends_with(end) ||
            (!file.empty() && time < newest)) {
            continue;
        }
        newest = time;
        file = entry->path().string();
        start = position = entry->file_size(ignored);
    }
}

/// Of the log from an offset on, at most kMostAtOnce bytes; empty when it cannot be read now.
std::string RecordingLog::ReadFrom(uint64_t offset) const {
    std::string text;
    if (file.empty()) return text;
    std::FILE* const stream = KORR_PLIM::platform::OpenShared(file.c_str(), "rb");
    if (stream == nullptr) return text;
    const int64_t length = KORR_PLIM::platform::StreamLength(stream);
    const auto begin = static_cast<int64_t>(offset);
    if (length > begin && KORR_PLIM::platform::SeekStream(stream, begin)) {
        text.resize(static_cast<std::size_t>(std::min<int64_t>(length - begin, kMostAtOnce)));
        text.resize(std::fread(text.data(), 1, text.size(), stream));
    }
    std::fclose(stream);
    return text;
}

std::optional<LineSettings> RecordingLog::Settings() const { return LastLineSettings(ReadFrom(start)); }

/// A look that fails leaves the lines for the next one.
std::vector<std::string> RecordingLog::NewErrors() {
    std::vector<std::string> errors;
    const std::string text = ReadFrom(position);
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
        std::string line = text.substr(begin, end - begin);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (std::string told = ErrorText(line); !told.empty()) errors.push_back(std::move(told));
        begin = end + 1;
    }
    // A line longer than a look has no end in it: it is passed over piece by piece.
    position += begin != 0 ? begin : text.size() == kMostAtOnce ? kMostAtOnce : 0;
    ForgetWhatWasRead();
    return errors;
}

/// Every read-back of the capture leaves a line in the log, of which a long recording has millions.
void RecordingLog::ForgetWhatWasRead() {
    if (!isPrivate || position < forgetAt) return;
    forgetAt = position + kMostAtOnce;
    ForgetBeginning(file, position);
}

}  // namespace Korr::Plim::Trace::Tracehost
