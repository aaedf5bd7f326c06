#include "source_utilities/uLogger.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "source_utilities/debugger_output.h"
#include "source_utilities/uTime.h"

namespace KORR_PLIM {
namespace {

/// Bytes kept behind the message for the line feed and the terminator.
constexpr std::size_t kTail = 2;

const char* TimeFormatText(uint32_t timeFormat) {
    switch (timeFormat) {
        case 1:
            return "%m/%d/%y | ";
        case 2:
            return "%H:%M:%S:%s | ";
        case 3:
            return "%m/%d/%y %H:%M:%S:%s | ";
        default:
            return " ";
    }
}

/// Makes the text of `length` bytes end in exactly one line feed, whatever single line end it had.
void EndLine(char* text, std::size_t length) {
    const auto isEnd = [](char c) { return c == '\n' || c == '\r'; };
    if (length > 0 && isEnd(text[length - 1])) {
        const char last = text[--length];
        if (length > 0 && isEnd(text[length - 1]) && text[length - 1] != last) --length;
    }
    text[length] = '\n';
    text[length + 1] = '\0';
}

}  // namespace

uLogger::uLogger(const std::string& filePath, bool appendToFile)
    : path(filePath), append(appendToFile), buffer(new char[kBufferSize]) {}

uLogger::~uLogger() { file.Close(); }

bool uLogger::SetEnabled(bool on) {
    const uMutexLock guard(lock);
    const bool previous = enabled.exchange(on);
    if (!on) {
        file.Close();
        fileOpen = false;
    }
    return previous;
}

void uLogger::Log(uint32_t mask, uint32_t timeFormat, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    LogV(mask, timeFormat, format, arguments);
    va_end(arguments);
}

void uLogger::LogV(uint32_t mask, uint32_t timeFormat, const char* format, std::va_list arguments) {
    if (!enabled || mask == 0 || maskFilter == 0) return;
    const uMutexLock guard(lock);
    if (!enabled) return;
    const std::size_t head = WriteHead(mask, timeFormat);
    std::va_list again;
    va_copy(again, arguments);
    const std::size_t room = kBufferSize - head - kTail;
    const int printed = std::vsnprintf(buffer.get() + head, room, format, arguments);
    const std::size_t message = printed > 0 ? static_cast<std::size_t>(printed) : 0;
    if (message < room) {
        EndLine(buffer.get(), head + message);
        WriteLine(buffer.get());
    } else {
        // The line is longer than the buffer: it is built in one of its own size.
        std::string line(buffer.get(), head);
        line.resize(head + message + kTail);
        std::vsnprintf(line.data() + head, message + 1, format, again);
        EndLine(line.data(), head + message);
        WriteLine(line.c_str());
    }
    va_end(again);
}

std::size_t uLogger::WriteHead(uint32_t mask, uint32_t timeFormat) {
    static constexpr std::string_view kLetters = "MWFAE";
    std::size_t length = 0;
    for (const char letter : kLetters) {
        buffer[length] = (mask & (1U << length)) != 0 ? letter : ' ';
        ++length;
    }
    buffer[length++] = ' ';
    const uTime now;
    uTime::Format(buffer.get() + length, static_cast<int32_t>(kBufferSize - length),
                  TimeFormatText(timeFormat));
    return length + std::strlen(buffer.get() + length);
}

void uLogger::WriteLine(const char* line) {
    if (!fileOpen) fileOpen = file.Open(path.c_str(), append ? "a+" : "w+");
    file.WriteString(line);
    file.Flush();
    if (toConsole) {
        std::printf("%s", line);
        std::fflush(stdout);
    }
    if (toDebugger) platform::WriteToDebugger(line);
}

}  // namespace KORR_PLIM
