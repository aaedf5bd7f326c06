#include "exports/chrome_writer.h"

#include "exports/json_text.h"

namespace Korr::Plim::Trace::Exports {

/// Up to the member's value; "}}" ends it. \param track 0: of the process
void ChromeWriter::AddMetadata(uint32_t track, std::string_view kind, std::string_view member) {
    row.BeginRow();
    row.Add(first ? "[\n{\"ph\":\"M\",\"pid\":" : ",\n{\"ph\":\"M\",\"pid\":");
    first = false;
    row.AddNumber(pid);
    if (track != 0) {
        row.Add(",\"tid\":");
        row.AddNumber(track);
    }
    row.Add(",\"name\":\"");
    row.Add(kind);
    row.Add("\",\"args\":{\"");
    row.Add(member);
    row.Add("\":");
}

void ChromeWriter::BeginProcess(uint32_t number, std::string_view name, std::string_view times) {
    pid = number;
    AddMetadata(0, "process_name", "name");
    AddJsonString(row, name);
    row.Add("}}");
    AddMetadata(0, "process_labels", "labels");
    AddJsonString(row, times);
    row.Add("}}");
}

/// Numbers are told apart by the name of their events.
void ChromeWriter::AddTrack(uint32_t track, std::string_view name, bool hasNumbers) {
    if (hasNumbers) return;
    AddMetadata(track, "thread_name", "name");
    AddJsonString(row, name);
    row.Add("}}");
    AddMetadata(track, "thread_sort_index", "sort_index");
    row.AddNumber(track);
    row.Add("}}");
}

void ChromeWriter::BeginEvent(Phase phase, uint32_t track, uint64_t time, std::string_view name) {
    row.BeginRow();
    row.Add(",\n{\"ph\":\"");
    row.Add("BEiC"[static_cast<int>(phase)]);
    row.Add("\",\"pid\":");
    row.AddNumber(pid);
    row.Add(",\"tid\":");
    row.AddNumber(track);
    row.Add(",\"ts\":");
    row.AddNumber(time / 1000);
    if (const auto rest = static_cast<uint32_t>(time % 1000); rest != 0) {
        row.Add('.');
        row.Add(static_cast<char>('0' + rest / 100));
        row.Add(static_cast<char>('0' + rest / 10 % 10));
        row.Add(static_cast<char>('0' + rest % 10));
    }
    if (phase != Phase::End) {
        row.Add(",\"name\":");
        AddJsonString(row, name);
    }
    if (phase == Phase::Mark) row.Add(track == kLosses ? ",\"cat\":\"loss\",\"s\":\"p\"" : ",\"s\":\"t\"");
    hasArguments = false;
}

void ChromeWriter::BeginArgument(std::string_view name) {
    row.Add(hasArguments ? ",\"" : ",\"args\":{\"");
    hasArguments = true;
    row.Add(name);
    row.Add("\":");
}

void ChromeWriter::AddArgument(std::string_view name, uint64_t number) {
    BeginArgument(name);
    row.AddNumber(number);
}

void ChromeWriter::AddArgument(std::string_view name, std::string_view word) {
    BeginArgument(name);
    AddJsonString(row, word);
}

void ChromeWriter::SetNumber(int64_t number) {
    BeginArgument("value");
    row.AddNumber(number);
}

void ChromeWriter::SetNumber(float number) {
    BeginArgument("value");
    row.AddNumber(number);
}

void ChromeWriter::EndEvent() { row.Add(hasArguments ? "}}" : "}"); }

void ChromeWriter::OnFinish() {
    row.BeginRow();
    row.Add(first ? "[]\n" : "\n]\n");
    row.Flush();
}

}  // namespace Korr::Plim::Trace::Exports
