#pragma once

#include <array>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "viewer/feed.h"

namespace fakes {

/// A feed that answers each question with the question, and keeps them. Any thread.
class ScriptedFeed : public Korr::Plim::Trace::Viewer::Feed {
  public:
    using FeedState = Korr::Plim::Trace::Viewer::FeedState;

    void Set(const FeedState& now) {
        const std::lock_guard guard(lock);
        state = now;
    }
    /// From now on questions throw: BadQuestion, or what a feed throws that cannot read.
    void Fail(const std::string& why, bool bad) {
        const std::lock_guard guard(lock);
        failure = why;
        badQuestion = bad;
    }
    std::vector<std::string> Asked() const {
        const std::lock_guard guard(lock);
        return asked;
    }

    FeedState Now() const override {
        const std::lock_guard guard(lock);
        return state;
    }
    std::string Overview() const override { return Note("overview"); }
    std::string Window(const Korr::Plim::Trace::Viewer::WindowQuestion& question) const override {
        std::string text = "window " + std::to_string(question.from) + " " + std::to_string(question.to) +
                           " " + std::to_string(question.pixels);
        for (const std::string& track : question.tracks) text += " " + track;
        return Note(text);
    }
    std::string Events(const Korr::Plim::Trace::Viewer::EventsQuestion& question) const override {
        std::string text = "events " + std::to_string(question.from) + " " + std::to_string(question.to) +
                           " " + std::to_string(question.limit) + " " + std::to_string(question.offset);
        for (const std::string& kind : question.kinds) text += " " + kind;
        return Note(text);
    }
    std::string Text(const Korr::Plim::Trace::Viewer::TextQuestion& question) const override {
        return Note("text " + std::to_string(question.port) + " " + std::to_string(question.line) + " " +
                    std::to_string(question.count));
    }
    std::string Find(const Korr::Plim::Trace::Viewer::FindQuestion& question) const override {
        return Note("find " + std::to_string(question.port) + " " + question.text + " " +
                    std::to_string(question.line) + (question.back ? " back" : "") +
                    (question.matchCase ? " case" : ""));
    }
    std::string LineAt(uint8_t port, double time) const override {
        return Note("line " + std::to_string(port) + " " + std::to_string(time));
    }
    std::string Ledger(uint64_t from, uint32_t count) const override {
        return Note("ledger " + std::to_string(from) + " " + std::to_string(count));
    }
    std::string Profile(const Korr::Plim::Trace::Viewer::ProfileQuestion& question) const override {
        return Note("profile " + std::to_string(question.from) + " " + std::to_string(question.to) +
                    std::array{" function", " line", " address"}[static_cast<std::size_t>(question.by)] +
                    (question.columns > 0 ? " " + std::to_string(question.columns) : ""));
    }

  private:
    std::string Note(const std::string& question) const {
        const std::lock_guard guard(lock);
        asked.push_back(question);
        if (failure.empty()) return question;
        if (badQuestion) throw Korr::Plim::Trace::Viewer::BadQuestion(failure);
        throw std::runtime_error(failure);
    }

    mutable std::mutex lock;
    mutable std::vector<std::string> asked;
    FeedState state;
    std::string failure;
    bool badQuestion = false;
};

}  // namespace fakes
