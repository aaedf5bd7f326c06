#include "tracehost/output_file.h"

#include <ctime>
#include <filesystem>
#include <fstream>

#include "tracehost/errors.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint64_t kSectionHeader = 24;  // bytes before the data of "BinTraceData"

std::string DefaultName(bool raw) {
    const std::time_t now = std::time(nullptr);
    char text[64] = "";
    std::strftime(text, sizeof text, "swo-%Y%m%d-%H%M%S", std::localtime(&now));
    return std::string(text) + (raw ? ".bin" : ".tdf");
}

uint64_t SizeOf(const std::string& name) {
    std::error_code failure;
    const uint64_t size = std::filesystem::file_size(name, failure);
    return failure ? 0 : size;
}

}  // namespace

OutputFile::OutputFile(const RecordRequest& wanted)
    : name(wanted.output.empty() ? DefaultName(wanted.Raw()) : wanted.output), raw(wanted.Raw()) {}

OutputFile::~OutputFile() {
    std::error_code ignored;
    if (made) std::filesystem::remove(name, ignored);
}

void OutputFile::Prepare() {
    std::error_code failure;
    const bool existed = std::filesystem::exists(name, failure);
    if (std::ofstream(name, std::ios::binary | std::ios::app).fail()) {
        throw UsageError("\"" + name + "\" cannot be written: is its folder there, and may you write in it?");
    }
    made = !existed;
    if (raw) return;
    PrepareTdfFile(name);
    sizeBefore = SizeOf(name);
}

void OutputFile::CheckSaved(uint64_t bytes) {
    made = false;
    const uint64_t wanted = raw ? bytes : sizeBefore + kSectionHeader + bytes;
    const uint64_t size = SizeOf(name);
    if (size >= wanted) return;
    throw HostError("\"" + name + "\" is short of " + std::to_string(wanted - size) +
                    " bytes after saving: is the disk full?");
}

}  // namespace Korr::Plim::Trace::Tracehost
