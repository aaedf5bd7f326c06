#include "tracehost/check/verdict.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr std::size_t kLongestLine = 2000;  // bytes; a plug-in's text may be of any length

std::FILE* verdict = nullptr;
std::string remarks;

/// One write for each line, so that nothing is lost when the process dies behind it.
void WriteLine(const char* kind, const std::string& words) {
    if (verdict == nullptr) return;
    std::string line = kind + (" " + words.substr(0, kLongestLine));
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::replace(line.begin(), line.end(), '\r', ' ');
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), verdict);
    std::fflush(verdict);
}

[[noreturn]] void End(const char* kind, const std::string& words) {
    WriteLine(kind, words);
    std::_Exit(0);
}

}  // namespace

void OpenVerdict(const std::string& file) {
    verdict = std::fopen(file.c_str(), "wb");
    if (verdict == nullptr) throw HostError("\"" + file + "\" cannot be made");
}

void Step(const std::string& what) { WriteLine("step", what); }

void Remark(const std::string& what) { remarks += (remarks.empty() ? "" : "; ") + what; }

void Pass() { End("passed", remarks); }
void Fail(const std::string& why) { End("failed", why); }
void Skip(const std::string& why) { End("skipped", why); }

Verdict ReadVerdict(const std::string& file) {
    Verdict read;
    std::ifstream lines(file, std::ios::binary);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        const std::string kind = line.substr(0, blank);
        const std::string words = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (kind == "step") {
            read.step = words;
            continue;
        }
        read.words = words;
        read.kind = kind == "passed"    ? Verdict::Kind::Passed
                    : kind == "failed"  ? Verdict::Kind::Failed
                    : kind == "skipped" ? Verdict::Kind::Skipped
                                        : Verdict::Kind::None;
    }
    return read;
}

uint64_t Counted(const char* what, std::optional<uint64_t> count) {
    const uint64_t told = count.value_or(0);
    if (told == 0) Skip(std::string("the ") + what + " cannot be counted");
    return told;
}

void Expect(bool holds, const std::string& what) {
    if (!holds) Fail(what);
}

void ExpectText(const std::string& what, const char* got, const std::string& wanted) {
    if (got == nullptr || wanted != got) Fail(what + ": " + Shown(got) + " instead of " + Shown(wanted));
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
