#include "uart/port_devices.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>

#include "uart/posix/sysfs_port_devices.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxNameLength = 199;
constexpr char kDevicePrefix[] = "ttyACM";

/// N of "ttyACM<N>".
std::optional<uint32_t> DeviceNumber(const std::string& deviceName) {
    if (deviceName.rfind(kDevicePrefix, 0) != 0) return std::nullopt;
    const char* const digits = deviceName.c_str() + sizeof(kDevicePrefix) - 1;
    const char* const end = deviceName.c_str() + deviceName.size();
    uint32_t number = 0;
    const auto [stop, error] = std::from_chars(digits, end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

/// First line of an attribute file, empty when there is none.
std::string ReadAttribute(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

/// `tty` is the device's folder in the tty class; its "device" is the USB interface, the USB device is above.
std::string UsbText(const fs::path& tty) {
    std::error_code error;
    const fs::path interface = fs::canonical(tty / "device", error);
    if (error) return {};
    const std::string text = ReadAttribute(interface / "interface");
    return text.empty() ? ReadAttribute(interface.parent_path() / "product") : text;
}

std::vector<uint32_t> DeviceNumbers(const fs::path& ttyClass) {
    std::vector<uint32_t> numbers;
    std::error_code error;
    for (fs::directory_iterator entry(ttyClass, error), end; !error && entry != end; entry.increment(error)) {
        if (const auto number = DeviceNumber(entry->path().filename().string())) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace

std::vector<std::string> ListSysfsPortDevices(const std::string& root) {
    const fs::path ttyClass = fs::path(root) / "class" / "tty";
    std::vector<std::string> names;
    for (const uint32_t number : DeviceNumbers(ttyClass)) {
        const std::string text = UsbText(ttyClass / (kDevicePrefix + std::to_string(number)));
        const std::string name = text + " (COM" + std::to_string(number) + ")";
        if (!text.empty() && name.size() <= kMaxNameLength) names.push_back(name);
    }
    return names;
}

PlatformCheck CheckPlatformVersion() { return PlatformCheck::kSupported; }

std::vector<std::string> ListPresentPortDevices() { return ListSysfsPortDevices("/sys"); }

}  // namespace Korr::Plim::Trace::Tarnel
