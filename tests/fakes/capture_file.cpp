#include "uart/capture_file.h"

#include <fstream>
#include <set>

#include "tests/fakes/scripted_capture_file.h"

namespace fakes {

namespace {

constexpr uint32_t kPathNotFound = 3;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInUse = 32;

struct Disk {
    std::mutex lock;
    std::map<std::string, std::string> files;
    std::set<std::string> unreachable;
    std::vector<std::string> opened;  ///< name of the file behind a handle, which is an index here
    std::set<std::string> inUse;      ///< names of the files that are open
    bool real = false;

    /// Whether the file of that name could be written; a file in memory always can.
    bool Put(const std::string& name, std::ios::openmode mode, const char* data, std::size_t count) const {
        if (!real) return true;
        std::ofstream file(name, std::ios::binary | mode);
        return file.write(data, static_cast<std::streamsize>(count)) && file.flush();
    }
};

Disk& TheDisk() {
    static Disk disk;
    return disk;
}

}  // namespace

std::string ScriptedFiles::Content(const std::string& name) {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    const auto file = TheDisk().files.find(name);
    return file == TheDisk().files.end() ? std::string() : file->second;
}

bool ScriptedFiles::Exists(const std::string& name) {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    return TheDisk().files.count(name) != 0;
}

std::size_t ScriptedFiles::OpenCount() {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    return TheDisk().inUse.size();
}

void ScriptedFiles::MakeUnreachable(const std::string& name) {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    TheDisk().unreachable.insert(name);
}

void ScriptedFiles::KeepOnDisk() {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    TheDisk().real = true;
}

void ScriptedFiles::Reset() {
    const std::lock_guard<std::mutex> guard(TheDisk().lock);
    TheDisk().files.clear();
    TheDisk().unreachable.clear();
    TheDisk().inUse.clear();
    TheDisk().real = false;
    ScriptedCalls::Instance().Reset();
}

}  // namespace fakes

namespace Korr::Plim::Trace::Tarnel {

namespace {

bool Enter(const char* name, const std::string& argument = std::string()) {
    return fakes::ScriptedCalls::Instance().Enter(name, argument);
}

bool Refuse(uint32_t code) {
    fakes::ScriptedCalls::LastError() = code;
    return false;
}

}  // namespace

bool CaptureFile::Create(const std::string& name) {
    handle = kClosed;
    if (!Enter("file.Create", name)) return false;
    fakes::Disk& disk = fakes::TheDisk();
    const std::lock_guard<std::mutex> guard(disk.lock);
    if (disk.unreachable.count(name) != 0) return Refuse(fakes::kPathNotFound);
    if (disk.inUse.count(name) != 0) return Refuse(fakes::kInUse);
    if (!disk.Put(name, std::ios::trunc, nullptr, 0)) return Refuse(fakes::kPathNotFound);
    disk.files[name].clear();
    disk.opened.push_back(name);
    disk.inUse.insert(name);
    handle = static_cast<std::intptr_t>(disk.opened.size()) - 1;
    return true;
}

bool CaptureFile::Write(const void* data, uint32_t count) {
    if (!Enter("file.Write", std::to_string(count))) return false;
    if (handle == kClosed) return Refuse(fakes::kInvalidHandle);
    fakes::Disk& disk = fakes::TheDisk();
    const std::lock_guard<std::mutex> guard(disk.lock);
    const std::string& name = disk.opened.at(static_cast<std::size_t>(handle));
    const auto* bytes = static_cast<const char*>(data);
    disk.files[name].append(bytes, count);
    return disk.Put(name, std::ios::app, bytes, count) || Refuse(fakes::kInvalidHandle);
}

bool CaptureFile::Close() {
    const bool wasOpen = handle != kClosed;
    if (wasOpen) {
        fakes::Disk& disk = fakes::TheDisk();
        const std::lock_guard<std::mutex> guard(disk.lock);
        disk.inUse.erase(disk.opened.at(static_cast<std::size_t>(handle)));
    }
    handle = kClosed;
    if (!Enter("file.Close")) return false;
    return wasOpen || Refuse(fakes::kInvalidHandle);
}

uint32_t CaptureFile::LastError() { return fakes::ScriptedCalls::LastError(); }

}  // namespace Korr::Plim::Trace::Tarnel
