#include "tracehost/feed_switch.h"

#include <stdexcept>

namespace Korr::Plim::Trace::Tracehost {

void FeedSwitch::Show(std::shared_ptr<const Viewer::Feed> next) {
    const std::lock_guard guard(mutex);
    feed = std::move(next);
}

std::shared_ptr<const Viewer::Feed> FeedSwitch::Shown() const {
    const std::lock_guard guard(mutex);
    if (!feed) throw std::runtime_error("the recording has not begun yet");
    return feed;
}

Viewer::FeedState FeedSwitch::Now() const {
    std::shared_ptr<const Viewer::Feed> shown;
    {
        const std::lock_guard guard(mutex);
        shown = feed;
    }
    if (shown) return shown->Now();
    Viewer::FeedState before;
    before.live = true;
    return before;
}

}  // namespace Korr::Plim::Trace::Tracehost
