#include "tracehost/capture_thread.h"

#include <algorithm>
#include <system_error>
#include <thread>

#include "tracehost/own_process.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

bool Contains(const std::vector<uint64_t>& ids, uint64_t id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/// The first thread of a process can bring others with it, as a sanitizer's own. A process that gets none
/// hears that from the plug-in's start.
void BringCompanions() {
    try {
        std::thread([] {}).join();
    } catch (const std::system_error&) {
        return;
    }
}

}  // namespace

void CaptureThread::BeforeStart() {
    BringCompanions();
    before = OwnThreads();
    started.clear();
}

/// None at all have been started and have ended already.
void CaptureThread::AfterStart() {
    const std::vector<uint64_t> now = OwnThreads();
    if (now.empty()) before.clear();
    for (const uint64_t id : now) {
        if (!Contains(before, id)) started.push_back(id);
    }
}

std::optional<bool> CaptureThread::Lives() const {
    if (before.empty()) return std::nullopt;
    const std::vector<uint64_t> now = OwnThreads();
    if (now.empty()) return std::nullopt;
    return std::any_of(started.begin(), started.end(), [&now](uint64_t id) { return Contains(now, id); });
}

}  // namespace Korr::Plim::Trace::Tracehost
