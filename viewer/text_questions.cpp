// Lines of text ports, and where something stands in them.
#include <algorithm>
#include <chrono>

#include "trace/text_parts.h"
#include "viewer/json_text.h"
#include "viewer/recording_questions.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr auto kLongestSearch = std::chrono::milliseconds(300);
constexpr uint64_t kBytesOfASearch = uint64_t{8} << 20;  // of the capture, decoded in one go
constexpr uint64_t kBytesOfRows = uint64_t{64} << 20;    // the same

char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

bool Holds(const std::string& text, const FindQuestion& question) {
    const auto same = [&question](char a, char b) {
        return question.matchCase ? a == b : Lower(a) == Lower(b);
    };
    const std::string& sought = question.text;
    return std::search(text.begin(), text.end(), sought.begin(), sought.end(), same) != text.end();
}

}  // namespace

void RecordingQuestions::CheckText(uint8_t port) const {
    if (!index.Summaries().Types().IsText(port)) {
        throw BadQuestion("port " + std::to_string(port) + " has numbers, no text");
    }
}

std::string RecordingQuestions::Text(const TextQuestion& question, Hold& hold) const {
    if (question.count < 1 || question.count > kMostRows) {
        throw BadQuestion("count must be 1 to " + std::to_string(kMostRows));
    }
    CheckText(question.port);
    const Swo::TextParts text(index, question.port);
    const uint64_t lines = text.Lines();
    const auto parts = text.From(question.line, question.count, kBytesOfRows);
    hold.unlock();
    Json rows = Json::array();
    const auto take = [&](Swo::TextLine&& line) {
        if (line.number < question.line) return true;
        rows.push_back({{"time", axis.At(line.position)},
                        {"offset", line.offset},
                        {"text", line.text},
                        {"flags", line.flags}});
        return rows.size() < question.count;
    };
    ReadLines(parts, bytes, question.port, timed, take);
    return TextOf(
        {{"revision", revision}, {"lines", lines}, {"first", question.line}, {"rows", std::move(rows)}});
}

std::string RecordingQuestions::Find(const FindQuestion& question, Hold& hold) const {
    if (question.text.empty() || question.text.size() > kMostSought) {
        throw BadQuestion("text must have 1 to " + std::to_string(kMostSought) + " bytes");
    }
    CheckText(question.port);
    return question.back ? FindBack(question, hold) : FindOnwards(question, hold);
}

/// A line that spreads so far that one go does not show its end is read whole in the next one, whatever time
/// that takes: its bytes stand in as many blocks at most. Such a line comes first in a question of its own.
std::string RecordingQuestions::FindOnwards(const FindQuestion& question, Hold& hold) const {
    const auto until = std::chrono::steady_clock::now() + kLongestSearch;
    std::optional<uint64_t> found;
    bool whole = false;  // the first line will be read whole
    for (uint64_t next = question.line;;) {
        const Swo::TextParts text(index, question.port);
        const uint64_t ofALine = (Swo::LineSplitter::kLongestLine + 1) * index.Summaries().BlockBytes();
        const auto parts =
            text.From(next, UINT64_MAX / 2, whole ? std::max(ofALine, kBytesOfASearch) : kBytesOfASearch);
        const bool last = parts.empty() || parts.back().to == UINT64_MAX;
        const uint64_t behind = parts.empty() ? next : parts.back().firstLine + parts.back().lines;
        hold.unlock();
        // The last line may go on behind the parts: it is looked at again with the next.
        const uint64_t known = last ? UINT64_MAX : std::max(behind - 1, next + (whole ? 1 : 0));
        ReadLines(parts, bytes, question.port, timed, [&](Swo::TextLine&& line) {
            if (line.number >= next && line.number < known && Holds(line.text, question)) found = line.number;
            return !found;
        });
        if (found || last) return TextOf({{"line", OrNull(found)}});
        const bool over = std::chrono::steady_clock::now() >= until;
        whole = known == next;
        if (whole ? next != question.line : over) return TextOf({{"line", nullptr}, {"next", known}});
        next = known;
        hold.lock();
    }
}

std::string RecordingQuestions::FindBack(const FindQuestion& question, Hold& hold) const {
    const auto until = std::chrono::steady_clock::now() + kLongestSearch;
    std::optional<uint64_t> found;
    for (uint64_t next = question.line;;) {
        const Swo::TextParts text(index, question.port);
        const auto parts = text.Before(next < UINT64_MAX ? next + 1 : next, kBytesOfASearch);
        hold.unlock();
        ReadLines(parts, bytes, question.port, timed, [&](Swo::TextLine&& line) {
            if (line.number > next) return false;
            if (Holds(line.text, question)) found = line.number;
            return true;
        });
        const uint64_t first = parts.empty() ? 0 : parts.front().firstLine;
        if (found || first == 0) return TextOf({{"line", OrNull(found)}});
        next = first - 1;
        if (std::chrono::steady_clock::now() >= until) return TextOf({{"line", nullptr}, {"next", next}});
        hold.lock();
    }
}

std::string RecordingQuestions::LineAt(uint8_t port, double time, Hold& hold) const {
    if (!(time == time)) throw BadQuestion("time must be a number");
    CheckText(port);
    const uint64_t position = axis.PositionAt(time);
    const Swo::TextParts text(index, port);
    uint64_t number = text.LineNear(position);
    const auto parts = text.From(number, UINT64_MAX / 2, kBytesOfASearch);
    hold.unlock();
    ReadLines(parts, bytes, port, timed, [&](Swo::TextLine&& line) {
        if (line.number < number) return true;
        number = line.number;
        if (line.position < position) ++number;
        return line.position < position;
    });
    return TextOf({{"line", number}});
}

}  // namespace Korr::Plim::Trace::Viewer
