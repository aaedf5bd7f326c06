#include "tests/second_reading/collector_model.h"

namespace second_reading {

namespace {

std::string Number(uint32_t number) { return std::to_string(static_cast<int32_t>(number)); }

class Collector {
  public:
    Collector(const CollectorSettings& collectorSettings, const World& collectorWorld, Seen& collectorSeen)
        : settings(collectorSettings),
          world(collectorWorld),
          seen(collectorSeen),
          port(collectorWorld, collectorSeen) {}

    void Construct() {
        if (!port.Call("port.Open", std::to_string(settings.portNumber))) {
            port.Line("E Failed to open COM" + Number(settings.portNumber) +
                      " with error code = " + Number(port.LastError()));
            throw Refusal{"Failed to open COM port"};
        }
        seen.portOpen = true;
        if (!port.Call("port.SetPollingTimeouts")) {
            port.CloseAndThrow("Failed to set COM port Comm Timeouts with error code = ",
                               "Failed to setup COM port communication");
        }
        if (!port.GetState(saved) || saved.length == 0) {
            port.CloseAndThrow("Failed to get current Comm state with error code = ",
                               "Failed to get COM port state");
        }
        port.Line("M Original emulator Baud rate = " + Number(saved.baudRate));
        seen.prescaler = settings.prescaler;
        ModelCalibration(port, saved, settings.traceClock, settings.automatic, seen.prescaler, seen.baudRate);
        DiscardPending();
        ReportLine();
        if (!port.Call("file.Create", settings.fileName)) {
            port.CloseAndThrow("Failed to open binary file " + settings.fileName + " with error code ",
                               "Failed to open binary file for trace data storage");
        }
    }

    void Run() {
        Capture();
        if (settings.sendBreakOnStop) BreakAndDrain();
        seen.finished = true;
    }

    void Destroy() {
        if (!port.Call("port.Purge")) Complain("Purge Comm failed with error code = ", ".");
        if (!port.SetState(saved)) Complain("Restoring communication state failed with error code ");
        if (!port.Call("port.Close")) Complain("Releasing port handle failed with error code ");
        seen.portOpen = false;
        port.Call("file.Close");
    }

  private:
    void Complain(const std::string& text, const std::string& end = std::string()) {
        port.Line("E " + text + Number(port.LastError()) + end);
    }

    void DiscardPending() {
        port.Purge();
        if (!port.Call("port.QueryQueue")) return;
        bool ignored = false;
        for (std::size_t left = port.Waiting(); left > 0; --left) {
            if (port.Call("port.Read", "1")) port.Take(1, ignored);
        }
    }

    void ReportLine() {
        LineState now;
        if (!port.GetState(now) || now.length == 0) {
            port.CloseAndThrow("Failed to get programmed Comm state with error code = ",
                               "Failed to get programmed COM port state");
        }
        port.Line("M UART configuration: Target: Trace Clock = " + std::to_string(settings.traceClock) +
                  ", Baud rate=" + Number(seen.baudRate) + ", Prescalar=" + Number(seen.prescaler));
        port.Line("M UART configuration: Emulator: Baud rate=" + Number(now.baudRate));
    }

    // A read of up to 100 bytes. False when it failed.
    bool Read(std::string& bytes) {
        bytes.clear();
        if (!port.Call("port.Read", "100")) {
            Complain("Reading COM port failed with error code ");
            return false;
        }
        bytes = port.Take(100, stopped);
        return true;
    }
    bool Write(const std::string& bytes) {
        if (world.stopsInWrite.count(port.Count("file.Write") + 1) != 0) stopped = true;
        if (!port.Call("file.Write", std::to_string(bytes.size()))) {
            Complain("Writing to binary file failed with error code ");
            return false;
        }
        seen.content += bytes;
        return true;
    }

    void Capture() {
        std::string bytes;
        while (!stopped && Read(bytes) && Write(bytes)) continue;
    }

    void BreakAndDrain() {
        if (!port.Call("port.SetBreak")) Complain("Failed to send Comm break state with error code = ");
        std::string bytes;
        for (int round = 0; round < 10; ++round) {
            if (!Read(bytes)) return;
            if (!bytes.empty() && !Write(bytes)) return;
        }
    }

    const CollectorSettings& settings;
    const World& world;
    Seen& seen;
    ModelPort port;
    LineState saved;
    bool stopped = false;
};

}  // namespace

Seen ModelCollector(const CollectorSettings& settings, const World& world) {
    Seen seen;
    seen.prescaler = settings.prescaler;
    Collector collector(settings, world, seen);
    try {
        collector.Construct();
    } catch (const Refusal& refusal) {
        seen.error = refusal.text;
        return seen;
    }
    collector.Run();
    collector.Destroy();
    return seen;
}

}  // namespace second_reading
