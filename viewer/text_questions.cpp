// Lines of text ports, and where something stands in them.
#include <algorithm>
#include <chrono>

#include "trace/line_reader.h"
#include "viewer/json_text.h"
#include "viewer/recording_questions.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr auto kLongestSearch = std::chrono::milliseconds(400);

void ReadLines(const Swo::ReplayPlan& plan, const Swo::CaptureBytes& bytes, uint8_t port, bool timed,
               Swo::LineReader::Take take) {
    Swo::LineReader reader(port, timed, 0, 0, 0, std::move(take));
    const Swo::Replay<Swo::LineReader> replay(plan, bytes, reader);
    reader.Finish();
}

char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

bool Holds(const std::string& text, const std::string& sought, bool matchCase) {
    const auto same = [matchCase](char a, char b) { return matchCase ? a == b : Lower(a) == Lower(b); };
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
    const Swo::ReplayPlan plan = index.PlanFrom(0);
    hold.unlock();
    uint64_t lines = 0;
    Json rows = Json::array();
    ReadLines(plan, bytes, question.port, timed, [&](Swo::TextLine&& line) {
        ++lines;
        if (line.number >= question.line && line.number - question.line < question.count) {
            rows.push_back({{"time", axis.At(line.position)},
                            {"offset", line.offset},
                            {"text", line.text},
                            {"flags", line.flags}});
        }
        return true;
    });
    return TextOf(
        {{"revision", revision}, {"lines", lines}, {"first", question.line}, {"rows", std::move(rows)}});
}

std::string RecordingQuestions::Find(const FindQuestion& question, Hold& hold) const {
    if (question.text.empty() || question.text.size() > kMostSought) {
        throw BadQuestion("text must have 1 to " + std::to_string(kMostSought) + " bytes");
    }
    CheckText(question.port);
    const Swo::ReplayPlan plan = index.PlanFrom(0);
    hold.unlock();
    std::optional<uint64_t> found;
    ReadLines(plan, bytes, question.port, timed, [&](Swo::TextLine&& line) {
        if (question.back ? line.number > question.line : line.number < question.line) return !question.back;
        if (Holds(line.text, question.text, question.matchCase)) found = line.number;
        return question.back || !found;
    });
    return TextOf({{"line", OrNull(found)}});
}

std::string RecordingQuestions::LineAt(uint8_t port, double time, Hold& hold) const {
    if (!(time == time)) throw BadQuestion("time must be a number");
    CheckText(port);
    const uint64_t position = axis.PositionAt(time);
    const Swo::ReplayPlan plan = index.PlanFrom(0);
    hold.unlock();
    uint64_t number = 0;
    ReadLines(plan, bytes, port, timed, [&](Swo::TextLine&& line) {
        number = line.number;
        if (line.position < position) ++number;
        return line.position < position;
    });
    return TextOf({{"line", number}});
}

}  // namespace Korr::Plim::Trace::Viewer
