// The sysfs body over a tree of the test's own, laid out as the kernel does: class/tty/ttyACM<N> is a link to
// the device, its "device" a link to the USB interface, whose parent is the USB device.
#include "uart/posix/sysfs_port_devices.h"

#include <dirent.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

/// Entries that a folder gives until it cannot be read further; below 0 all of them.
static int readableEntries = -1;

/// Takes the place of the platform's, which the standard library calls.
extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* folder) {
    static const auto real = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir"));
    if (readableEntries == 0) {
        errno = EIO;
        return nullptr;
    }
    if (readableEntries > 0) --readableEntries;
    return real(folder);
}

namespace Korr::Plim::Trace::Tarnel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class SysfsPortDevices : public testing::Test {
  protected:
    void SetUp() override {
        root = fs::path(testing::TempDir()) / ("sysfs_test_" + std::to_string(getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "class/tty");
    }
    void TearDown() override { fs::remove_all(root); }

    static void Write(const fs::path& file, const std::string& text) { std::ofstream(file) << text; }

    /// A CDC device; empty texts make no attribute file.
    void Plug(const std::string& tty, const std::string& interface, const std::string& product) {
        const fs::path usbDevice = root / "devices" / ("usb-" + tty);
        const fs::path usbInterface = usbDevice / "1-1:1.1";
        const fs::path device = usbInterface / "tty" / tty;
        fs::create_directories(device);
        if (!interface.empty()) Write(usbInterface / "interface", interface + "\n");
        if (!product.empty()) Write(usbDevice / "product", product + "\n");
        fs::create_directory_symlink("../../../1-1:1.1", device / "device");
        fs::create_directory_symlink(fs::relative(device, root / "class/tty"), root / "class/tty" / tty);
    }

    std::vector<std::string> List() const { return ListSysfsPortDevices(root.string()); }

    fs::path root;
};

TEST_F(SysfsPortDevices, InterfaceTextNamesThePort) {
    Plug("ttyACM3", "Brantor User CDC Serial Port", "Probe");
    EXPECT_THAT(List(), ElementsAre("Brantor User CDC Serial Port (COM3)"));
}

TEST_F(SysfsPortDevices, ProductTextNamesAPortWithoutInterfaceText) {
    Plug("ttyACM0", "", "Quiller Class Auxiliary Data Port");
    EXPECT_THAT(List(), ElementsAre("Quiller Class Auxiliary Data Port (COM0)"));
}

TEST_F(SysfsPortDevices, PortWithoutAnyTextIsLeftOut) {
    Plug("ttyACM0", "", "");
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(SysfsPortDevices, PortsComeInTheOrderOfTheirNumbers) {
    Plug("ttyACM10", "a", "");
    Plug("ttyACM9", "b", "");
    Plug("ttyACM100", "c", "");
    EXPECT_THAT(List(), ElementsAre("b (COM9)", "a (COM10)", "c (COM100)"));
}

TEST_F(SysfsPortDevices, OtherTerminalsAreLeftOut) {
    for (const char* name :
         {"ttyS0", "tty1", "ttyUSB0", "ttyACM", "ttyACMx", "ttyACM1x", "ttyACM-1", "xttyACM1"}) {
        Plug(name, "text", "text");
    }
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(SysfsPortDevices, NumberBeyondTheRangeIsLeftOut) {
    Plug("ttyACM4294967296", "text", "");
    Plug("ttyACM4294967295", "text", "");
    EXPECT_THAT(List(), ElementsAre("text (COM4294967295)"));
}

TEST_F(SysfsPortDevices, TerminalWithoutDeviceIsLeftOut) {
    fs::create_directories(root / "class/tty/ttyACM5");
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(SysfsPortDevices, DeviceThatHasGoneIsLeftOut) {
    Plug("ttyACM5", "text", "");
    fs::remove_all(root / "devices");
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(SysfsPortDevices, NameOf199CharactersIsTheLongest) {
    Plug("ttyACM1", std::string(199 - 7, 'x'), "");
    Plug("ttyACM2", std::string(199 - 6, 'x'), "");
    EXPECT_THAT(List(), ElementsAre(std::string(192, 'x') + " (COM1)"));
}

TEST_F(SysfsPortDevices, OnlyTheFirstLineOfATextCounts) {
    Plug("ttyACM1", "first\nsecond", "");
    EXPECT_THAT(List(), ElementsAre("first (COM1)"));
}

TEST_F(SysfsPortDevices, TextThatCannotBeReadCountsAsMissing) {
    Plug("ttyACM1", "", "product");
    Plug("ttyACM2", "", "");
    for (const char* tty : {"ttyACM1", "ttyACM2"}) {
        const fs::path interface = fs::canonical(root / "class/tty" / tty / "device");
        fs::create_directory(interface / "interface");  // it can be opened, and reading it fails
    }
    EXPECT_THAT(List(), ElementsAre("product (COM1)"));
}

TEST_F(SysfsPortDevices, FolderThatCannotBeReadFurtherGivesWhatItGave) {
    Plug("ttyACM1", "text", "");
    Plug("ttyACM2", "text", "");
    for (int entries = 0; entries < 4; ++entries) {
        readableEntries = entries;  // the folder itself and the one above it are entries too
        const std::size_t given = List().size();
        EXPECT_EQ(readableEntries, 0);
        readableEntries = -1;
        EXPECT_LE(given, static_cast<std::size_t>(entries));
        EXPECT_GE(given + 2, static_cast<std::size_t>(entries));
    }
    EXPECT_EQ(List().size(), 2U);
}

TEST_F(SysfsPortDevices, MissingTreeGivesNothing) {
    EXPECT_THAT(ListSysfsPortDevices((root / "missing").string()), IsEmpty());
    fs::remove_all(root / "class");
    EXPECT_THAT(List(), IsEmpty());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
