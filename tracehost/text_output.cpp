#include "tracehost/text_output.h"

#include <filesystem>

#include "tracehost/errors.h"
#include "tracehost/file_access.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

TextOutput::TextOutput(const std::string& name, bool force) : fileName(name == "-" ? "" : name) {
    if (fileName.empty()) {
        stream = TakeStandardOutput();
        return;
    }
    std::error_code failure;
    if (!force && std::filesystem::is_regular_file(fileName, failure)) {
        throw UsageError("\"" + fileName + "\" exists: give another name, or --force to replace it");
    }
    made = !std::filesystem::exists(std::filesystem::symlink_status(fileName, failure));
    if (!std::filesystem::is_regular_file(fileName, failure) || !WhyNotWritable(fileName).empty()) Open();
}

void TextOutput::Open() {
    stream = std::fopen(fileName.c_str(), "wb");
    if (stream != nullptr) return;
    throw UsageError("\"" + fileName + "\" cannot be written: " + WhyNotWritable(fileName) +
                     ": is its folder there, and may you write in it?");
}

TextOutput::~TextOutput() {
    if (fileName.empty() || stream == nullptr) return;
    std::fclose(stream);
    std::error_code failure;
    const bool empty = std::filesystem::file_size(fileName, failure) == 0;
    if (made && empty) std::filesystem::remove(fileName, failure);
}

bool TextOutput::OnTerminal() const { return stream != nullptr && IsTerminal(stream); }

void TextOutput::Finish() {
    if (fileName.empty()) {
        FinishStandardOutput(stream);
        return;
    }
    if (stream == nullptr) Open();
    const bool failed = std::ferror(stream) != 0;
    const bool closed = std::fclose(stream) == 0;
    stream = nullptr;
    if (failed || !closed) {
        throw HostError("\"" + fileName + "\" could not be written whole: is the disk full?");
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
