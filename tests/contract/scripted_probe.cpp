#include "tests/contract/probe.h"
#include "tests/fakes/scripted_serial_port.h"

namespace {

class ScriptedProbe : public Probe {
  public:
    uint32_t PortNumber() const override { return 41; }
    void Send(const std::string& bytes) override { port.AddArrived(bytes); }
    void Unplug() override { fakes::ScriptedCalls::Instance().Fail("port.Read", 5); }

  private:
    static fakes::ScriptedPort& Fresh() {
        fakes::ScriptedPorts::Reset();
        return fakes::ScriptedPorts::Plug(41);
    }
    fakes::ScriptedPort& port = Fresh();
};

}  // namespace

std::unique_ptr<Probe> Probe::Plug() { return std::make_unique<ScriptedProbe>(); }
