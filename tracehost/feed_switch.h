#pragma once

#include <memory>
#include <mutex>

#include "viewer/feed.h"

namespace Korr::Plim::Trace::Tracehost {

/// A feed that hands every question to another one, which can be exchanged: when a recording goes on in
/// another capture, or a file turns out to be another. Any thread.
class FeedSwitch : public Viewer::Feed {
  public:
    /// Asks `next` from now on, with which all is well. \param next not null
    void Show(std::shared_ptr<const Viewer::Feed> next);
    /// Why no more is shown from now on, see FeedState. What is shown stays.
    void Tell(std::string why);

    Viewer::FeedState Now() const override;
    std::string Overview() const override { return Shown()->Overview(); }
    std::string Window(const Viewer::WindowQuestion& question) const override {
        return Shown()->Window(question);
    }
    std::string Events(const Viewer::EventsQuestion& question) const override {
        return Shown()->Events(question);
    }
    std::string Text(const Viewer::TextQuestion& question) const override { return Shown()->Text(question); }
    std::string Find(const Viewer::FindQuestion& question) const override { return Shown()->Find(question); }
    std::string LineAt(uint8_t port, double time) const override { return Shown()->LineAt(port, time); }
    std::string Ledger(uint64_t from, uint32_t count) const override { return Shown()->Ledger(from, count); }
    std::string Profile(const Viewer::ProfileQuestion& question) const override {
        return Shown()->Profile(question);
    }

  private:
    /// \throws std::runtime_error while there is none
    std::shared_ptr<const Viewer::Feed> Shown() const;

    mutable std::mutex mutex;
    std::shared_ptr<const Viewer::Feed> feed;
    std::string trouble;
};

}  // namespace Korr::Plim::Trace::Tracehost
