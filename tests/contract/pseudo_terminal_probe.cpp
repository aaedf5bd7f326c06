#include "tests/contract/probe.h"
#include "tests/unit/uart/pseudo_terminal.h"

namespace {

class PseudoTerminalProbe : public Probe {
  public:
    uint32_t PortNumber() const override { return 41; }
    void Send(const std::string& bytes) override { terminal.Send(bytes); }
    void Unplug() override { terminal.Unplug(); }

  private:
    PseudoTerminal terminal{41};
};

}  // namespace

std::unique_ptr<Probe> Probe::Plug() { return std::make_unique<PseudoTerminalProbe>(); }
