#include "tracehost/feed_switch.h"

#include <stdexcept>
#include <utility>

namespace Korr::Plim::Trace::Tracehost {

void FeedSwitch::Show(std::shared_ptr<const Viewer::Feed> next) {
    const std::lock_guard guard(mutex);
    feed = std::move(next);
    trouble.clear();
}

void FeedSwitch::Tell(std::string why) {
    const std::lock_guard guard(mutex);
    trouble = std::move(why);
}

std::shared_ptr<const Viewer::Feed> FeedSwitch::Shown() const {
    const std::lock_guard guard(mutex);
    if (!feed) throw std::runtime_error("the recording has not begun yet");
    return feed;
}

Viewer::FeedState FeedSwitch::Now() const {
    std::shared_ptr<const Viewer::Feed> shown;
    std::string why;
    {
        const std::lock_guard guard(mutex);
        shown = feed;
        why = trouble;
    }
    Viewer::FeedState now;
    now.live = true;  // before the first feed
    if (shown) now = shown->Now();
    now.trouble = std::move(why);
    return now;
}

}  // namespace Korr::Plim::Trace::Tracehost
