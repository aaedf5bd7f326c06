#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "viewer/feed.h"
#include "viewer/server/controls.h"

namespace fakes {

/// Keeps what is to be changed. Any thread.
class ScriptedControls : public Korr::Plim::Trace::Viewer::Controls {
  public:
    bool recording = true;  ///< something is being recorded

    bool Stop() override {
        const std::lock_guard guard(lock);
        asked.push_back("stop");
        return recording;
    }
    void ShowPorts(const std::vector<Korr::Plim::Trace::Viewer::PortChoice>& choices) override {
        const std::lock_guard guard(lock);
        std::string text = "ports";
        for (const auto& [port, type] : choices) {
            if (type == "nothing") throw Korr::Plim::Trace::Viewer::BadQuestion("there is no such type");
            text += " " + std::to_string(port) + "=" + type;
        }
        asked.push_back(text);
    }
    std::vector<std::string> Asked() const {
        const std::lock_guard guard(lock);
        return asked;
    }

  private:
    mutable std::mutex lock;
    std::vector<std::string> asked;
};

}  // namespace fakes
