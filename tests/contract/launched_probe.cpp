#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/contract/probe.h"

namespace {

/// A probe played by the launcher with_com_port.py, which takes its orders as files in a folder and removes
/// each when it is carried out.
class LaunchedProbe : public Probe {
  public:
    LaunchedProbe(std::filesystem::path ordersFolder, uint32_t portNumber)
        : orders(std::move(ordersFolder)), number(portNumber) {
        Order("plug", "");
    }
    ~LaunchedProbe() override {
        std::error_code ignored;
        std::filesystem::remove(orders / "order.part", ignored);
    }
    uint32_t PortNumber() const override { return number; }
    void Send(const std::string& bytes) override { Order("send", bytes); }
    void Unplug() override { Order("unplug", ""); }
    // Wine takes the end of a terminal that was hung up for a port without data; Windows fails the read.
    bool UnpluggingIsSeen() const override { return false; }

  private:
    void Order(const char* name, const std::string& bytes) {
        const std::filesystem::path part = orders / "order.part";
        const std::filesystem::path order = orders / name;
        std::ofstream(part, std::ios::binary) << bytes;
        // Wine calls a renaming failed when the launcher carries the order out, and removes it, in the same
        // moment.
        std::error_code failure;
        std::filesystem::rename(part, order, failure);
        if (failure && std::filesystem::exists(part)) {
            throw std::filesystem::filesystem_error("order", part, failure);
        }
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::filesystem::exists(order)) {
            if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("the launcher is silent");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::filesystem::path orders;
    uint32_t number;
};

}  // namespace

std::unique_ptr<Probe> Probe::Plug() {
    const char* orders = std::getenv("TARNEL_PROBE_ORDERS");
    const char* number = std::getenv("TARNEL_PROBE_PORT");
    if (orders == nullptr || number == nullptr) {
        std::puts("no probe: start this program with with_com_port.py");
        return nullptr;
    }
    return std::make_unique<LaunchedProbe>(orders, static_cast<uint32_t>(std::strtoul(number, nullptr, 10)));
}
