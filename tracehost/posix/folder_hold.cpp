#include "tracehost/folder_hold.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string MarkOf(const std::string& folder) { return folder + "/in-use"; }

}  // namespace

FolderHold::~FolderHold() { Release(); }

/// The mark gets its name once it is locked, so that nobody ever sees it without its lock.
bool FolderHold::Take(const std::string& folder) {
    const std::string fresh = MarkOf(folder) + ".new";
    const int mark = ::open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (mark < 0) return false;
    handle = mark;
    return ::flock(mark, LOCK_EX | LOCK_NB) == 0 && std::rename(fresh.c_str(), MarkOf(folder).c_str()) == 0;
}

void FolderHold::Release() {
    if (handle != kNone) ::close(static_cast<int>(handle));
    handle = kNone;
}

bool FolderHold::IsLeftBehind(const std::string& folder) {
    const int mark = ::open(MarkOf(folder).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (mark < 0) return false;
    const bool free = ::flock(mark, LOCK_EX | LOCK_NB) == 0;
    ::close(mark);
    return free;
}

}  // namespace Korr::Plim::Trace::Tracehost
