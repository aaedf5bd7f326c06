#pragma once

#include <functional>
#include <mutex>

#include "trace/port_values.h"
#include "viewer/server/controls.h"

namespace Korr::Plim::Trace::Tracehost {

/// What pages want to be changed, kept until whoever shows the recording looks.
class ViewControls : public Viewer::Controls {
  public:
    /// \param stop ends the recording that is being made, and tells whether there is one; null: there is
    /// none. Any thread
    explicit ViewControls(std::function<bool()> stop = nullptr) : end(std::move(stop)) {}

    bool Stop() override { return end && end(); }
    void ShowPorts(const std::vector<Viewer::PortChoice>& choices) override;
    /// Takes what was wanted since the last time into `ports`; names stay. \return whether anything changes
    bool Apply(Swo::PortFormats& ports);

  private:
    const std::function<bool()> end;
    std::mutex mutex;
    std::map<uint8_t, Swo::PortType> wanted;
};

}  // namespace Korr::Plim::Trace::Tracehost
